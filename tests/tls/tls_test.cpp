// Associations over TLS: who is let in, who is refused and with what words, and what hostile peers can do.
#include "orvkit/tls.h"

#include "network/connection.h"
#include "network/pair.h"
#include "support/system.h"
#include "tls/site.h"
#include "tls/tickets.h"

namespace {

namespace platform = orvkit::platform;
using Bytes = std::vector<unsigned char>;
using platform::Received;

// One side's settings; the usual ones unless they are changed.
struct Side {
    std::string party;  // "" for none
    std::string authority = "ca", revocations, pin;
    TLS_CHECK check = TLS_CHECK_REQUIRE;
    TLS_PROFILE profile = TLS_PROFILE_RFC8996;
    std::string peerName;

    void apply(DcTls& tls) const {
        if (!party.empty()) {
            tls.setCertificate(site().cert(party).c_str(), site().key(party).c_str());
        }
        if (!authority.empty()) tls.addAuthorities(site().cert(authority).c_str());
        if (!revocations.empty()) tls.addRevocations(revocations.c_str());
        EXPECT_EQ(pin.empty() ? 0 : tls.addPin(pin.c_str()), 0);
        if (!peerName.empty()) tls.setPeerName(peerName.c_str());
        tls.setCheck(check);
        tls.setProfile(profile);
        EXPECT_EQ(tls.load(), RESULT_OK) << tls.fault();
    }
};
Side userSide() {
    Side side;
    side.party = "user";
    return side;
}
Side providerSide() {
    Side side;
    side.party = "provider";
    return side;
}

// What an association came to on both sides.
struct Meeting {
    int user = -1, stored = -1;
    DcSecurityInfo ofUser, ofProvider;
};

// An association with two stores, or what becomes of it. Null: without TLS. The provider polls; on the same
// port any two may meet.
Meeting meet(DcTls* userTls, DcMsm& scp, int patience = 10) {
    const QuietLog quiet;
    Meeting meeting;
    auto support = sopList({UID_CT_IMAGE_STORAGE});
    scp.setAeTitleCheck(0);
    std::thread provider([&] {
        DcMsmScpInfo info;
        info.sopList = support.data();
        info.timeouts = seconds(patience);
        if (scp.connect(info, MSM_BLOCK_CONNECT_POLL) != RESULT_OK) return;
        (void)scp.waitReadable(1000 * patience);
        const int answered = scp.read(nullptr, nullptr, MSM_BLOCK_READ_POLL, MSM_BLOCK_CONNECT_POLL);
        if (answered == MSM_REQUEST_ANSWERED) meeting.stored = serveStores(scp);
        scp.closeAssociation();
        scp.getSecurityInfo(meeting.ofProvider);
        EXPECT_TRUE(scp.waitReadable(0)) << "no connection";
    });
    User user(scp.getPort());
    if (userTls != nullptr) user.setSecurity(userTls->security());
    meeting.user = user.open(support, "PROVIDER", patience);
    if (meeting.user == MSM_ACCEPTED) {
        const TempDir dir;
        writeWhole(dir / "pixels", std::string(kPixels, 'p'));
        Bytes pixels(kPixels, 7);
        EXPECT_TRUE(storeOne(user, pixels.data(), nullptr) &&
                    storeOne(user, nullptr, (dir / "pixels").c_str()));
        EXPECT_FALSE(user.waitReadable(0));
        EXPECT_EQ(user.release(), MSM_RELEASED);
    }
    user.closeAssociation();
    user.getSecurityInfo(meeting.ofUser);
    provider.join();
    return meeting;
}
Meeting meet(DcTls* userTls, DcTls* providerTls) {
    DcMsm scp("PROVIDER", TSM_ROLE_SCP, 0);
    if (providerTls != nullptr) scp.setSecurity(providerTls->security());
    return meet(userTls, scp);
}
Meeting meet(const Side& user, const Side& provider) {
    DcTls ofUser, ofProvider;
    user.apply(ofUser);
    provider.apply(ofProvider);
    return meet(&ofUser, &ofProvider);
}

TEST(Tls, CarriesAssociationsInEveryProfile) {
    for (int profile = TLS_PROFILE_RFC8996; profile <= TLS_PROFILE_EXTENDED; ++profile) {
        Side user = userSide();
        user.profile = static_cast<TLS_PROFILE>(profile);
        const Meeting meeting = meet(user, providerSide());
        EXPECT_EQ(meeting.stored, 2) << profile << meeting.ofUser.fault << meeting.ofProvider.fault;
        EXPECT_STREQ(meeting.ofUser.version, "TLSv1.3");
        EXPECT_STREQ(meeting.ofUser.names, "127.0.0.1 localhost");
        EXPECT_STREQ(meeting.ofProvider.subject, "CN=user.example");
        EXPECT_TRUE(meeting.ofUser.verified && meeting.ofProvider.verified);
        EXPECT_STREQ(meeting.ofUser.fault, "");
    }
}

// Who is refused hears why, in the words on both sides.
TEST(Tls, LetsInWhomItsSettingsAllowAndSaysWhyNot) {
    site().pair("old", {"127.0.0.1"});
    site().redate("old", -7200, -3600);
    site().pair("early", {"127.0.0.1"});
    site().redate("early", 3600, 7200);
    site().pair("elsewhere", {"example.org"});
    site().authority("stranger");
    site().pair("strange", {"127.0.0.1"}, "stranger");
    Side user, provider;
    const auto pin = [](Side& side, const char* party) {
        side.authority = "";
        side.pin = site().fingerprint(party);
    };
    // clang-format off
    const struct {
        const char* what;
        std::function<void()> change;
        const char* user = nullptr;  // null: the association comes about
        const char* provider = "";
    } rows[] = {
        {"fingerprints alone", [&] { pin(user, "provider"), pin(provider, "user"); }},
        {"no certificate where none is needed", [&] { user.party = "", provider.check = TLS_CHECK_ACCEPT; }},
        {"a certificate that nobody wants", [&] { provider.check = TLS_CHECK_NONE; }},
        {"no check", [&] { user.authority = "", user.check = TLS_CHECK_NONE; }},
        {"the peer itself among the authorities", [&] { user.authority = "provider"; }},
        {"by its name, and not revoked",
         [&] { provider.peerName = "user.example", provider.revocations = site().revoke(""); }},
        {"expired", [&] { provider.party = "old"; },
         "the peer's certificate (CN=127.0.0.1) has expired: ", "this side's certificate has expired"},
        {"not yet valid", [&] { provider.party = "early"; }, "is not valid before "},
        {"unknown issuer", [&] { provider.party = "strange"; },
         "(CN=127.0.0.1) was issued by CN=stranger", "does not know the authority"},
        {"self-signed", [&] { provider.party = "stranger"; },
         "(CN=stranger) is self-signed and not known here", "does not know the authority"},
        {"another name", [&] { provider.party = "elsewhere"; }, "is for example.org, not for 127.0.0.1"},
        {"another name than was told", [&] { user.peerName = "pacs"; }, "is for 127.0.0.1 localhost, not for pacs"},
        {"another fingerprint", [&] { user.pin = site().fingerprint("user"); }, "has another fingerprint: "},
        {"an expired one by its fingerprint", [&] { provider.party = "old", pin(user, "old"); }, "has expired"},
        {"no certificate", [&] { user.party = ""; },
         "it wants a certificate of this side", "has shown no certificate"},
        {"a strange user", [&] { user.party = "strange"; }, "does not know the authority", "was issued by CN=stranger"},
        {"a revoked user", [&] { provider.revocations = site().revoke("user"); },
         "this side's certificate is revoked", "the peer's certificate (CN=user.example) is revoked"},
        {"an old list", [&] { provider.revocations = site().revoke("", -3600); },
         "", "the revocation list of CN=ca has expired"},
        {"another user", [&] { provider.peerName = "other.example"; }, "", "is for user.example, not for"},
    };
    // clang-format on
    const auto remarkOf = [](const char* party) {
        DcTls tls;
        Side side;
        side.party = party;
        side.apply(tls);
        return std::string(tls.remark());
    };
    EXPECT_EQ(remarkOf("user"), "");
    EXPECT_TRUE(remarkOf("old").starts_with("this side's certificate (CN=127.0.0.1) has expired, and "));
    EXPECT_TRUE(remarkOf("early").starts_with("this side's certificate (CN=127.0.0.1) is not valid before "));
    for (const auto& row : rows) {
        user = userSide();
        provider = providerSide();
        row.change();
        const Meeting meeting = meet(user, provider);
        SCOPED_TRACE(std::string(row.what) + ": " + meeting.ofUser.fault + "; " + meeting.ofProvider.fault);
        if (row.user == nullptr) {
            EXPECT_EQ(meeting.stored, 2);
            EXPECT_EQ(meeting.ofUser.verified != 0, user.check != TLS_CHECK_NONE);
            EXPECT_EQ(meeting.ofUser.askedForOwn != 0, user.party.empty());
            EXPECT_EQ(meeting.ofProvider.verified != 0,
                      provider.check != TLS_CHECK_NONE && !user.party.empty());
            continue;
        }
        EXPECT_NE(meeting.user, MSM_ACCEPTED);
        EXPECT_EQ(meeting.stored, -1);
        EXPECT_NE(std::string(meeting.ofUser.fault).find(row.user), std::string::npos);
        EXPECT_NE(std::string(meeting.ofProvider.fault).find(row.provider), std::string::npos);
    }
}

TEST(Tls, KnowsPlainDicomByItsFirstBytes) {
    DcTls tls;
    providerSide().apply(tls);
    Meeting meeting = meet(nullptr, &tls);
    EXPECT_STREQ(meeting.ofProvider.fault, "the peer speaks plain DICOM, without TLS");
    DcTls none;
    const Meeting unset = meet(&none, &tls);
    EXPECT_EQ(unset.user, TSM_SECURITY);
    EXPECT_STREQ(unset.ofUser.fault, "TLS was not set up") << "and nothing crosses in clear";
    userSide().apply(none);
    EXPECT_EQ(meet(&none, nullptr).user, TSM_SECURITY);
}

TEST(Tls, ResumesSessionsUntilItsFilesAreReadAgain) {
    DcTls user, provider;
    userSide().apply(user);
    providerSide().apply(provider);
    DcMsm scp("PROVIDER", TSM_ROLE_SCP, 0);
    scp.setSecurity(provider.security());
    const int resumed[] = {0, 1, 1, 0};
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(i == 3 ? provider.load() : 0, RESULT_OK);
        const Meeting meeting = meet(&user, scp);
        EXPECT_EQ(meeting.stored, 2);
        EXPECT_EQ(meeting.ofUser.resumed, resumed[i]) << i;
        EXPECT_EQ(meeting.ofUser.verified, 1);
    }
}

// Those of a server that runs for years.
TEST(Tls, KeysOfTicketsAreChangedAndForgotten) {
    orvkit::tls::TicketKeys keys;
    orvkit::tls::TicketKeys::Key first, key;
    const auto begun = orvkit::tls::TicketKeys::Clock::now();
    const auto hours = [&](double number) {
        return begun + std::chrono::seconds(static_cast<int>(3600 * number));
    };
    ASSERT_TRUE(keys.current(begun, first) && keys.current(hours(0.9), key));
    EXPECT_EQ(key.name, first.name);
    ASSERT_TRUE(keys.current(hours(1.1), key));
    EXPECT_TRUE(key.name != first.name && key.cipher != first.cipher && key.code != first.code);
    EXPECT_TRUE(keys.find(hours(1.9), first.name, key) && key.cipher == first.cipher) << "its tickets hold";
    EXPECT_FALSE(keys.find(hours(2.2), first.name, key));
    ASSERT_TRUE(keys.current(hours(2.2), first));
    EXPECT_FALSE(keys.find(hours(9), first.name, key)) << "nobody came meanwhile";
}

int givePassword(void* user, const char*, char* password, int room) {
    const auto& text = *static_cast<const std::string*>(user);
    return static_cast<int>(text.copy(password, static_cast<std::size_t>(room)));
}

TEST(Tls, RefusesSettingsThatAreOfNoUse) {
    const QuietLog quiet;
    const std::string encrypted = site().encrypted("user", "secret");
    const std::string garbage = site().file("garbage");
    std::ofstream(garbage) << "no PEM";
    std::filesystem::permissions(garbage, std::filesystem::perms::owner_read);
    const std::string open = site().file("open.key");
    std::filesystem::copy_file(site().key("user"), open);
    std::filesystem::permissions(open, std::filesystem::perms(0644));
    std::string password = "wrong";
    const std::string cert = site().cert("user");
    const struct {
        std::string certificate, key, authority, revocations;
        int result;
        const char* words;
    } rows[] = {
        {"nowhere", site().key("user"), "", "", TLS_FILE, "nowhere: cannot be read"},
        {garbage, site().key("user"), "", "", TLS_FILE, "there is no certificate in it"},
        {cert, garbage, "", "", TLS_FILE, "there is no private key in it"},
        {cert, open, "", "", TLS_KEY_EXPOSED, "everybody can read this private key"},
        {cert, site().key("provider"), "", "", TLS_KEY_MISMATCH, "it is not the private key of"},
        {cert, encrypted, "", "", TLS_PASSWORD, "password of the private key is wrong"},
        {cert, site().key("user"), garbage, "", TLS_FILE, "there is no certificate in it"},
        {cert, site().key("user"), site().cert("ca"), garbage, TLS_FILE, "there is no revocation list in it"},
        {cert, site().key("user"), "", "", TLS_SETTING, "nothing tells how to know the peer"}};
    for (const auto& row : rows) {
        DcTls tls;
        tls.setPasswordCB(&password, givePassword);
        tls.setCertificate(row.certificate.c_str(), row.key.c_str());
        if (!row.authority.empty()) tls.addAuthorities(row.authority.c_str());
        if (!row.revocations.empty()) tls.addRevocations(row.revocations.c_str());
        EXPECT_EQ(tls.load(), row.result) << row.words;
        EXPECT_NE(std::string(tls.fault()).find(row.words), std::string::npos) << tls.fault();
    }
    DcTls tls;
    EXPECT_EQ(tls.addPin("12:34"), TLS_SETTING);
    EXPECT_EQ(tls.addPin(nullptr), TLS_NULL_ARGUMENT);
    EXPECT_EQ(tls.setProfile(static_cast<TLS_PROFILE>(5)), TLS_SETTING);
    EXPECT_EQ(tls.setCheck(static_cast<TLS_CHECK>(3)), TLS_SETTING);
    tls.addAuthorities(site().cert("ca").c_str());
    tls.setCertificate(cert.c_str(), encrypted.c_str());
    EXPECT_EQ(tls.load(), TLS_PASSWORD);
    password = "secret";
    tls.setPasswordCB(&password, givePassword);
    EXPECT_EQ(tls.load(), RESULT_OK) << tls.fault();
    const char* const bad = "a,b";
    EXPECT_EQ(tlsMakePair(site().cert("ca").c_str(), site().key("ca").c_str(), &bad, 1, 10, "x", "y"),
              TLS_SETTING);
    EXPECT_EQ(tlsMakeAuthority("again", 10, site().cert("ca").c_str(), site().key("ca").c_str()), TLS_FILE)
        << "files that exist stay";
}

// ---- below associations -----------------------------------------------------------------------------------

// Two layers over a pair of sockets, the handshake done.
class TlsLayers : public ::testing::Test {
  protected:
    TlsLayers() {
        userSide().apply(userTls_);
        providerSide().apply(providerTls_);
        connect(10000);
    }
    // Anew; the user's handshake may take so long.
    void connect(int handshake) {
        one.reset();
        other.reset();
        ends = connectedSockets();
        one = userTls_.security()->layer({ends.one.get(), true, "127.0.0.1", 1, handshake});
        other = providerTls_.security()->layer({ends.other.get(), false, nullptr, 0, 10000});
    }
    void shakeHands() {
        std::thread peer([&] { EXPECT_EQ(other->open(10000), Received::data); });
        EXPECT_EQ(one->open(10000), Received::data);
        peer.join();
    }

    QuietLog quiet_;
    ConnectedSockets ends;
    DcTls userTls_, providerTls_;
    std::unique_ptr<orvkit::ConnectionLayer> one, other;
};

TEST_F(TlsLayers, WhatOpenSslHoldsIsReadable) {
    shakeHands();
    EXPECT_FALSE(one->waitReadable(0)) << "tickets of the handshake are no bytes of the association";
    EXPECT_EQ(one->peek(nullptr, 0), -1);
    const Bytes first(40000, 1);
    const Bytes second(3, 2);
    const platform::Run runs[] = {{first.data(), first.size()}, {nullptr, 0}, {second.data(), second.size()}};
    ASSERT_EQ(other->send(runs, 3, 1000), 40003);
    unsigned char seen[4] = {};
    ASSERT_TRUE(one->waitReadable(1000));
    EXPECT_EQ(one->peek(seen, 2), 2);
    Bytes all;
    for (std::size_t count = 0; all.size() < 40003;) {
        ASSERT_TRUE(one->waitReadable(0)) << all.size();
        ASSERT_EQ(one->receive(seen, sizeof seen, 0, count), Received::data);
        all.insert(all.end(), seen, seen + count);
    }
    EXPECT_TRUE(std::equal(first.begin(), first.end(), all.begin()) && all.back() == 2);
    EXPECT_FALSE(one->waitReadable(0));
    other->close();
    std::size_t count = 0;
    EXPECT_EQ(one->receive(seen, 1, 1000, count), Received::closed);
    EXPECT_TRUE(one->peerIsDone());
    EXPECT_EQ(one->peek(seen, 1), 0);
}

TEST_F(TlsLayers, AnEndWithoutItsMarkAndGarbageAreFailures) {
    const Bytes garbage(100, 0x17);
    const platform::Run run{garbage.data(), garbage.size()};
    unsigned char byte = 0;
    std::size_t count = 0;
    for (const bool cut : {true, false}) {
        connect(10000);
        shakeHands();
        if (cut) {
            other.reset();
            ends.other.reset();
        } else {
            ASSERT_EQ(platform::sendRuns(ends.other.get(), &run, 1), 100);
        }
        EXPECT_EQ(one->receive(&byte, 1, 1000, count), Received::failed);
        DcSecurityInfo info;
        one->describe(info);
        EXPECT_EQ(cut, std::string(info.fault) == "the peer closed the connection without ending TLS");
    }
    EXPECT_EQ(one->send(&run, 1, 1000), -1);
}

TEST_F(TlsLayers, EveryWaitIsBounded) {
    connect(100);
    EXPECT_EQ(one->open(0), Received::timeout) << "only asked";
    EXPECT_EQ(one->open(-1), Received::failed) << "the handshake as a whole";
    DcSecurityInfo info;
    one->describe(info);
    EXPECT_STREQ(info.fault, "the peer does not answer the TLS handshake");
    connect(10000);
    shakeHands();
    unsigned char byte = 0;
    std::size_t count = 0;
    EXPECT_EQ(one->receive(&byte, 1, 50, count), Received::timeout);
    const Bytes much(20 << 20, 1);
    const platform::Run run{much.data(), much.size()};
    platform::setSocketTimeouts(ends.one.get(), 0, 60000);
    EXPECT_EQ(one->send(&run, 1, 0), -1) << "no part gets the time-out of the socket anew";
    one->describe(info);
    EXPECT_STREQ(info.fault, "the peer does not read in time");
    connect(10000);
    shakeHands();
    platform::setSocketTimeouts(ends.one.get(), 0, 50);
    EXPECT_EQ(one->send(&run, 1, 50), -1) << "nobody reads";
    one->close();
}

// A handshake that comes a byte at a time, and one that ends at any byte.
TEST_F(TlsLayers, HalvesOfHandshakesNeverOpenAConnection) {
    ASSERT_EQ(one->open(0), Received::timeout);
    std::array<unsigned char, 4096> hello{};
    std::size_t count = 0;
    ASSERT_EQ(platform::receive(ends.other.get(), hello.data(), hello.size(), 1000, count), Received::data);
    for (std::size_t length = 0; length < count; length += length < 12 ? 1 : 37) {
        ConnectedSockets cut = connectedSockets();
        const auto layer = providerTls_.security()->layer({cut.other.get(), false, nullptr, 0, 10000});
        for (std::size_t i = 0; i < length; ++i) {
            const platform::Run run{hello.data() + i, 1};
            ASSERT_EQ(platform::sendRuns(cut.one.get(), &run, 1), 1);
            EXPECT_EQ(i < 12 ? layer->open(0) : Received::timeout, Received::timeout);
        }
        cut.one.reset();
        EXPECT_EQ(layer->open(1000), Received::failed) << length;
        EXPECT_EQ(layer->peek(hello.data(), 1), -2);
    }
}

// For ThreadSanitizer too: sixteen at once, and settings that are read again while they begin.
TEST(Threads, AssociationsOverTlsSideBySide) {
    DcTls user, provider;
    userSide().apply(user);
    providerSide().apply(provider);
    const DcMsm listener("PROVIDER", TSM_ROLE_SCP, 0);
    std::atomic<int> stored = 0;
    std::vector<std::thread> pairs;
    for (int i = 0; i < 16; ++i) {
        pairs.emplace_back([&] {
            DcMsm scp("PROVIDER", TSM_ROLE_SCP, listener.getPort());
            scp.setSecurity(provider.security());
            stored += std::max(meet(&user, scp, 60).stored, 0);
        });
    }
    for (int i = 0; i < 5; ++i) EXPECT_EQ(provider.load(), RESULT_OK);
    for (std::thread& pair : pairs) pair.join();
    EXPECT_EQ(stored, 32);
}

}  // namespace
