// Who a file of peers lets in, and how often.
#include "services/known_peers.h"

#include <gtest/gtest.h>

#include <cstring>

#include "services/addresses.h"
#include "services/admission.h"

namespace {

using services::KnownPeers;

std::shared_ptr<const KnownPeers> read(const std::string& text, std::string& fault) {
    fault.clear();
    return KnownPeers::parse(text, "", fault);
}

DcSecurityInfo certified(const char* subject, const char* names, char digit) {
    DcSecurityInfo info;
    info.verified = 1;
    std::strcpy(info.subject, subject);
    std::strcpy(info.names, names);
    std::memset(info.fingerprint, digit, 64);
    return info;
}

TEST(KnownPeers, LetInByTitleAddressAndCertificate) {
    std::string fault;
    const auto peers = read(
        "# comment\n\n"
        "OPEN\n"
        "NEAR from 10.1.0.0/16,192.168.7.9,fd00:1::/33 may echo associations 2 object-size 3G # here\r\n"
        "\"CT ROOM 2\" from 0.0.0.0/0 certificate ct.example at [fd00::2]:104\n"
        "PINNED fingerprint " +
            std::string(64, 'A') + "\n",
        fault);
    ASSERT_TRUE(peers != nullptr) << fault;
    DcSecurityInfo ct = certified("CN=x,O=y", "other ct.example", 'a');
    const DcSecurityInfo byName = certified("O=H,CN=ct.example", "", 'b');
    const DcSecurityInfo forged = certified("O=H\\,CN=ct.example,CN=x", "", 'b');
    const struct {
        const char* aet;
        const char* address;
        const DcSecurityInfo* security;
        const char* why;  // "": it comes in
    } rows[] = {{"OPEN", "1.2.3.4", nullptr, ""},
                {"open", "1.2.3.4", nullptr, "nobody knows this peer"},
                {"NEAR", "10.1.255.1", nullptr, ""},
                {"NEAR", "192.168.7.9", nullptr, ""},
                {"NEAR", "10.2.0.1", nullptr, "it may not come from 10.2.0.1"},
                {"NEAR", "::1", nullptr, "it may not come from ::1"},
                {"NEAR", "::ffff:10.1.0.1", nullptr, ""},
                {"NEAR", "fd00:1:7fff::1", nullptr, ""},
                {"NEAR", "fd00:1:8000::1", nullptr, "it may not come from fd00:1:8000::1"},
                {"CT ROOM 2", "9.9.9.9", &ct, ""},
                {"CT ROOM 2", "9.9.9.9", &byName, ""},
                {"CT ROOM 2", "9.9.9.9", &forged, "it has not shown a certificate for ct.example"},
                {"CT ROOM 2", "9.9.9.9", nullptr, "it has not shown a certificate for ct.example"},
                {"PINNED", "1.1.1.1", &ct, ""},
                {"PINNED", "1.1.1.1", &byName, "it has not shown the certificate of its fingerprint"}};
    for (const auto& row : rows) {
        std::string why;
        EXPECT_EQ(peers->admit({row.aet, row.address, row.security}, why) != nullptr, *row.why == '\0')
            << row.aet;
        EXPECT_EQ(why, row.why) << row.aet << " " << row.address;
    }
    ct.verified = 0;
    EXPECT_EQ(peers->admit({"PINNED", "1.1.1.1", &ct}, fault), nullptr)
        << "a certificate that nobody has checked";
    std::string again;
    for (const auto& peer : peers->all()) again += peer.line() + "\n";
    const auto same = read(again, fault);
    ASSERT_TRUE(same != nullptr) << fault << again;
    for (std::size_t i = 0; i < same->all().size(); ++i)
        EXPECT_EQ(same->all()[i].line(), peers->all()[i].line());
    EXPECT_EQ(peers->all()[1].line(),
              "NEAR  from 10.1.0.0/16,192.168.7.9,fd00:1::/33  may echo  associations 2  object-size 3G");
    const auto* const ct2 = peers->find("CT ROOM 2");
    ASSERT_TRUE(ct2 != nullptr && peers->find("CT") == nullptr);
    EXPECT_EQ(ct2->host + " " + std::to_string(ct2->port), "fd00::2 104");
}

TEST(KnownPeers, TellWhichLineIsWrongAndWhy) {
    const struct {
        const char* text;
        const char* fault;
    } rows[] = {
        {"A\n\nB from 10.0.0.256", ":3: '10.0.0.256' is no address, and no network such as 10.0.0.0/24"},
        {"A from 10.0.0.1/24", ":1: '10.0.0.1/24' is no address, and no network such as 10.0.0.0/24"},
        {"A from 10.0.0.0/33", ":1: '10.0.0.0/33' is no address, and no network such as 10.0.0.0/24"},
        {"A from 1.2.3", ":1: '1.2.3' is no address, and no network such as 10.0.0.0/24"},
        {"SEVENTEENCHARACTERS", ":1: 'SEVENTEENCHARACTERS' is not an AE title"},
        {"\"A B", ":1: a quote is not closed"},
        {"A may move", ":1: 'move' is not echo, store, find or retrieve"},
        {"A from fd00::1/64", ":1: 'fd00::1/64' is no address, and no network such as 10.0.0.0/24"},
        {"A bytes 9999999T", ":1: bytes is a number of bytes, such as 500M or 4G"},
        {"A objects 5K", ":1: objects is a number from 1 on"},
        {"A connections 5", ":1: 'connections' is nothing that a peer has"},
        {"A with B", ":1: 'with' is nothing that a peer has"},
        {"A may", ":1: 'may' needs a value"},
        {"A at 104", ":1: '104' is not HOST:PORT"},
        {"A at h:65536", ":1: 'h:65536' is not HOST:PORT"},
        {"A at []:1x", ":1: '[]:1x' is not HOST:PORT"},
        {"A may echo may store", ":1: 'may' stands there twice"},
        {"A fingerprint 12", ":1: a fingerprint (SHA-256) has 64 hexadecimal digits"},
        {"A associations 0", ":1: associations is a number from 1 on"},
        {"A\nA", ":2: 'A' was there before"}};
    for (const auto& row : rows) {
        std::string fault;
        EXPECT_EQ(read(row.text, fault), nullptr) << row.text;
        EXPECT_EQ(fault, row.fault);
    }
    std::string fault;
    for (const auto& [file, what] : {std::pair("/nowhere/peers", "cannot be read"),
                                     std::pair("/dev", "cannot be read"),  // and not the end of a server
                                     std::pair("/dev/zero", "it is too large")}) {
        EXPECT_EQ(KnownPeers::read(file, fault), nullptr);
        EXPECT_EQ(fault, std::string(file) + ": " + what);
    }
}

TEST(Admission, CountsAssociationsByTitleAndAddressesByConnections) {
    services::Limits limits;
    EXPECT_EQ(services::takeLimit(limits, "associations", "1"), "");
    EXPECT_EQ(services::takeLimit(limits, "connections", "2"), "");
    EXPECT_EQ(services::takeLimit(limits, "failures", "3"), "");
    services::Admission admission;
    admission.setLimits(limits);
    std::string fault;
    admission.use(read("A\nB associations 2 may store\n", fault));
    const auto come = [&](const char* aet, int result) {
        DcPduInfoRj reject{};
        std::string why;
        auto ticket = admission.admit({aet, "10.0.0.1", nullptr}, reject, why);
        EXPECT_EQ(reject.result, result) << aet << why;
        return ticket;
    };
    {
        const auto first = come("A", 0);
        EXPECT_TRUE(first.may(services::Right::find));
        (void)come("A", 2);
        const auto second = come("B", 0);
        EXPECT_FALSE(second.may(services::Right::echo));
        const auto third = come("B", 0);
        (void)come("B", 2);
        (void)come("C", 1);
    }
    (void)come("A", 0);

    services::Addresses addresses;
    addresses.setLimits(limits);
    auto one = addresses.enter("a");
    const auto two = addresses.enter("a");
    EXPECT_FALSE(addresses.isUnwelcome(two, "a", fault));
    EXPECT_TRUE(addresses.isUnwelcome(addresses.enter("a"), "a", fault));
    EXPECT_EQ(fault, "there are 2 connections from there already");
    const auto elsewhere = addresses.enter("b");
    EXPECT_FALSE(addresses.isUnwelcome(elsewhere, "b", fault));
    one = {};
    EXPECT_FALSE(addresses.isUnwelcome(addresses.enter("a"), "a", fault)) << "one has left";
    for (int i = 0; i < 3; ++i) addresses.failed("b");
    EXPECT_TRUE(addresses.isUnwelcome(elsewhere, "b", fault));
    EXPECT_EQ(fault, "3 attempts from there have failed within a minute");
    EXPECT_FALSE(addresses.mustWait("b"));
    for (int i = 0; i < 8; ++i) addresses.failed("a", true);
    EXPECT_TRUE(addresses.mustWait("a")) << "who guesses waits";
}

}  // namespace
