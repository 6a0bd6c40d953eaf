// What a peer that means no good can cost: the bounds on time and memory that an application may set.

#include "network/pair.h"
#include "network/pdus.h"
#include "support/allocation_meter.h"
#include "support/stream.h"

namespace {

namespace platform = orvkit::platform;
using Clock = std::chrono::steady_clock;

void rest(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// One end of an association of Verification in context 1, while a thread plays the peer at the other end. The
// peer is stopped by the end of the connection.
class Victim : public DcMsm {
  public:
    using Peer = std::function<void(Victim&)>;

    explicit Victim(bool asUser) : DcMsm("VICTIM", asUser ? TSM_ROLE_SCU : TSM_ROLE_NONE, 0) {
        if (!asUser) role_ = TSM_ROLE_SCP;  // without a port of its own
        setAeTitleCheck(0);
    }
    ~Victim() override { close(); }

    void close() {
        closeAssociation();
        gone_ = true;
        if (peer_.joinable()) peer_.join();
    }
    // As a user: the result of proposing. As a provider: that of reading the request, which the peer sends.
    int open(Peer peer, int readTimeout = 5) {
        const unsigned int socket = sockets_.giveOurs();
        // Not every system ends a send that waits when the other side goes.
        (void)platform::setSocketTimeouts(sockets_.peer(), 0, 5000);
        peer_ = std::thread([this, peer = std::move(peer)] {
            peer(*this);
            while (!gone_ && !left()) rest(5);
            sockets_.closePeer();
        });
        auto list = sopList({UID_VERIFICATION});
        if (role_ == TSM_ROLE_SCU) {
            DcMsmScuInfo info;
            info.calledAeTitle = "PEER";
            info.sopList = list.data();
            info.timeouts = seconds(readTimeout);
            return connect(socket, info);
        }
        DcMsmScpInfo info;
        info.sopList = list.data();
        info.timeouts = seconds(readTimeout);
        EXPECT_EQ(connect(socket, PDU_SOCKET_NONE, info, MSM_BLOCK_CONNECT_POLL), 0);
        return read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    }
    // As a user, associated, with an echo asked for: the result of waiting for a message, which is kept.
    int ask(Peer peer) {
        const int opened = open([peer = std::move(peer)](Victim& v) {
            v.say(acceptance(kExplicitUid).bytes());
            peer(v);
        });
        DcCmdCEchoRq request;
        if (opened != MSM_ACCEPTED || write(UID_VERIFICATION, &request) != RESULT_OK) return -1;
        begun = Clock::now();
        const AllocationMeter meter;
        const int result = receive();
        peak = meter.peak();
        return result;
    }
    int receive() { return ::receive(*this, message); }

    Message message;
    Clock::time_point begun = Clock::now();
    std::size_t peak = 0;  // while it waited

    // The peer's part. False when the victim has left.
    bool say(const Bytes& bytes) {
        return !left() && platform::sendTwo(sockets_.peer(), bytes.data(), bytes.size(), nullptr, 0) ==
                              static_cast<std::int64_t>(bytes.size());
    }
    bool left() const { return gone_ || platform::peerIsDone(sockets_.peer()); }

  private:
    SocketPair sockets_;
    std::thread peer_;
    std::atomic<bool> gone_ = false;
};

Bytes command(unsigned short field, bool dataset, int control = 3) {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    s.ui(0x00000002, kVerificationUid).us(0x00000100, field).us(0x00000120, 1);
    s.us(0x00000800, dataset ? 0x0102 : 0x0101).us(0x00000900, 0);
    return pdv(1, control, s.bytes());
}

constexpr unsigned short kEchoRsp = 0x8030;
constexpr unsigned short kFindRsp = 0x8020;

Bytes response(unsigned short field, bool dataset) {
    return pdu(4, command(field, dataset));
}
// Comments of 1,000 bytes, `size` in all.
Bytes dataset(std::size_t size) {
    Stream s(UID_LITTLE_ENDIAN_EXPLICIT);
    for (unsigned int tag = 0x00091000; s.bytes().size() < size; ++tag)
        s.elem(tag, "LT", std::string(std::min<std::size_t>(992, size - s.bytes().size() - 8), 'x'));
    return s.bytes();
}

// Each wait has the read time-out; together they are bounded when that is asked for. Those of all cases pass
// at the same time.
TEST(Bounds, APduThatTricklesInEndsWithItsTimeout) {
    struct Case {
        int seconds;
        unsigned int bytesPerSecond;
        bool read;
    };
    const QuietLog quiet;
    const auto expect = [](const Case& c) {
        Victim provider(false);
        provider.setPduTimeout(c.seconds, c.bytesPerSecond);
        const auto begun = Clock::now();
        const int result = provider.open(
            [&c](Victim& v) {
                const Bytes request = Association().bytes();
                const std::size_t slow = request.size() - (c.read ? 12 : 100);
                rest(600);  // which does not count
                v.say({request.begin(), request.begin() + static_cast<std::ptrdiff_t>(slow)});
                for (std::size_t i = slow; i < request.size() && !v.left(); ++i) {
                    rest(150);
                    v.say({request[i]});
                }
            },
            1);
        EXPECT_EQ(result, c.read ? MSM_REQUEST_ANSWERED : MSM_CLOSED) << c.seconds;
        expectTook(0.6 + (c.read ? 1.8 : 1.0), begun);
    };
    std::vector<std::thread> cases;
    for (const Case& c : {Case{0, 0, true}, Case{1, 0, false}, Case{20, 0, true}, Case{1, 8, true}})
        cases.emplace_back(expect, c);
    for (std::thread& each : cases) each.join();
}

// Neither fragments that bring a little now and then, nor a flood, nor an answer to the request that never
// ends, hold the caller longer.
TEST(Bounds, AMessageEndsWithItsTimeoutWhateverComes) {
    struct Case {
        Bytes again;
        int pause;
        bool connects;
    };
    for (const Case& c : {Case{pdu(4, pdv(1, 0, Bytes(100))), 20, true},
                          Case{pdu(4, pdv(1, 0, Bytes(60000))), 0, true}, Case{Bytes(10), 20, false}}) {
        CaptureLog log;
        Victim user(true);
        user.setMessageTimeout(1);
        // Slower than a flood, so that something has always come.
        user.registerDataSetCB(nullptr, [](void*, const unsigned char*, unsigned int length, DICT_UID, int) {
            if (length > 1000) rest(5);
            return 0;
        });
        const auto peer = [&](Victim& v) {
            v.say(c.connects ? response(kFindRsp, true) : Bytes{2, 0, 0, 1, 0, 0});
            for (int i = 0; i < 4000 && v.say(c.again); ++i) rest(c.pause);
        };
        EXPECT_EQ(c.connects ? user.ask(peer) : user.open(peer), MSM_READ_TIMEOUT);
        expectTook(1.0, user.begun);
        EXPECT_TRUE(user.message == nullptr && !user.isConnected());
        EXPECT_EQ(log.lines().back(),
                  (LogLine{LOG_ERROR, "DcMsm::read",
                           "No whole message received within 1 seconds, Association will be closed"}));
    }
    // Bytes may give time.
    Victim user(true);
    user.setMessageTimeout(1, 1000);
    EXPECT_EQ(user.ask([](Victim& v) {
        v.say(response(kFindRsp, true));
        const Bytes data = dataset(8000);
        for (auto at = data.begin(); at != data.end(); at += 1000) {
            v.say(pdu(4, pdv(1, at + 1000 == data.end() ? 2 : 0, {at, at + 1000})));
            rest(200);
        }
    }),
              MSM_MESSAGE);
}

// Waiting for somebody to connect does not count.
TEST(Bounds, TheTimeForAMessageBeginsWithItsConnection) {
    DcMsm provider("PROVIDER", TSM_ROLE_SCP, 0);
    provider.setMessageTimeout(1);
    std::thread peer([port = provider.getPort()] {
        rest(1100);
        platform::Address address;
        const bool known = platform::resolve("127.0.0.1", port, address);
        const platform::Socket socket = platform::openSocket(address);
        EXPECT_TRUE(known && platform::connectSocket(socket.get(), address, 1000));
        Association request;
        request.called = "PROVIDER        ";
        const Bytes bytes = request.bytes();
        (void)platform::sendTwo(socket.get(), bytes.data(), bytes.size(), nullptr, 0);
        EXPECT_TRUE(platform::waitReadable(socket.get(), 3000));
    });
    EXPECT_EQ(provider.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_WAIT),
              MSM_REQUEST_ANSWERED);
    peer.join();
}

TEST(Bounds, ADataSetLargerThanTheLimitIsRefusedBeforeItIsRead) {
    constexpr std::size_t kLimit = 100000;
    const std::string text = "Data set of more than 100000 bytes received, Association will be closed";
    const auto inFragments = [](std::size_t size) { return inPieces(dataset(size), 7000); };
    Bytes huge{4, 0, 0xFF, 0xFF, 0xFF, 0xF0, 0xFF, 0xFF, 0xFF, 0xEC, 1, 0};
    huge.resize(2000000);
    const Bytes find = response(kFindRsp, true);
    const auto inOne = [](std::size_t size) {
        return pdu(4, joined({command(kFindRsp, true), pdv(1, 2, dataset(size))}));
    };
    const struct {
        Bytes said;
        bool refused;
        bool whole = true;  // a message where there is no limit
    } cases[] = {{joined({find, inFragments(kLimit)}), false},
                 {joined({find, inFragments(kLimit + 1)}), true},
                 {joined({find, huge}), true, false},
                 {inOne(kLimit), false},
                 {inOne(kLimit + 1), true}};
    for (const auto& c : cases) {
        for (const bool limited : {true, false}) {
            if (!limited && !c.whole) continue;
            SCOPED_TRACE(c.said.size());
            CaptureLog log;
            Victim user(true);
            if (limited) user.setReceiveLimit(kLimit);
            const bool refused = limited && c.refused;
            EXPECT_EQ(user.ask([&](Victim& v) { v.say(c.said); }), refused ? MSM_CLOSED : MSM_MESSAGE);
            if (!refused) continue;
            EXPECT_LT(user.peak, 4 * kLimit);
            EXPECT_EQ(log.lines().front(), (LogLine{LOG_ERROR, "DcTul::readPduDataTf", text}));
        }
    }
    // What goes elsewhere does not count.
    Victim user(true);
    user.setReceiveLimit(kLimit);
    user.registerDataSetCB(nullptr,
                           [](void*, const unsigned char*, unsigned int, DICT_UID, int) { return 0; });
    EXPECT_EQ(user.ask([&](Victim& v) { v.say(joined({find, inFragments(3 * kLimit)})); }), MSM_MESSAGE);

    // The answer to the request is bounded, too: one byte too much by its length, and as much as may come.
    for (const bool more : {true, false}) {
        CaptureLog log;
        Victim other(true);
        other.setReceiveLimit(kLimit);
        const Bytes answer = more ? Bytes{2, 0, 0, 1, 0x86, 0xA1, 0} : pdu(2, Bytes(kLimit));
        EXPECT_EQ(other.open([&](Victim& v) { v.say(answer); }), MSM_CLOSED);
        const std::string said = log.lines().front().reporter + log.lines().front().text;
        EXPECT_EQ(said == "DcPdu::readBodyPDU of 100001 bytes received, more than 100000", more) << said;
    }
}

// A command is small, wherever its bytes stand; nothing needs to be set for that.
TEST(Bounds, ALargeCommandIsRefusedBeforeItIsRead) {
    Bytes huge{4, 0, 0x7F, 0xFF, 0xFF, 0xF0, 0x7F, 0xFF, 0xFF, 0xEC, 1, 1};
    huge.resize(3000000);
    const Bytes piece = pdu(4, pdv(1, 1, Bytes(60000)));
    for (const Bytes& again : {huge, piece}) {
        CaptureLog log;
        Victim user(true);
        EXPECT_EQ(user.ask([&](Victim& v) {
            while (v.say(again)) {
            }
        }),
                  MSM_CLOSED);
        EXPECT_LT(user.peak, 2500000u);
        EXPECT_EQ(log.lines().front(),
                  (LogLine{LOG_ERROR, "DcTul::readPduDataTf",
                           "Command of more than 1048576 bytes received, Association will be closed"}));
    }
    // As much as that is taken, whatever it means.
    CaptureLog log;
    Victim user(true);
    (void)user.ask([&](Victim& v) { v.say(pdu(4, pdv(1, 3, Bytes(1 << 20)))); });
    for (const LogLine& line : log.take()) EXPECT_FALSE(line.text.starts_with("Command of more than"));
}

TEST(Bounds, ADataSetThatNobodyAskedForIsRefusedByItsFirstFragment) {
    const Bytes small = dataset(100);
    const Bytes begun = pdu(4, pdv(1, 0, small));
    const Bytes whole = pdu(4, pdv(1, 2, small));
    const Bytes echo = response(kEchoRsp, false);
    const auto inOne = [&](bool announced, int control) {
        return pdu(4, joined({command(kFindRsp, announced), pdv(1, control, small)}));
    };
    const struct {
        const char* what;
        Bytes said;
        int first;   // result of the first message
        int second;  // of the next; 0: not read
    } cases[] = {{"asked for", joined({response(kFindRsp, true), whole, echo}), MSM_MESSAGE, MSM_MESSAGE},
                 {"in one PDU with its command", joined({inOne(true, 2), echo}), MSM_MESSAGE, MSM_MESSAGE},
                 {"of a command that has none", joined({response(kEchoRsp, true), begun}), MSM_CLOSED, 0},
                 {"not announced", joined({response(kFindRsp, false), begun}), MSM_MESSAGE, MSM_CLOSED},
                 {"not announced, in one PDU", inOne(false, 0), MSM_MESSAGE, MSM_CLOSED},
                 {"a second one", joined({response(kFindRsp, true), whole, begun}), MSM_MESSAGE, MSM_CLOSED},
                 {"without a command", begun, MSM_CLOSED, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const CaptureLog log;
        Victim user(true);
        user.setDataSetCheck(1);
        EXPECT_EQ(user.ask([&](Victim& v) { v.say(c.said); }), c.first);
        EXPECT_TRUE(c.second == 0 || user.receive() == c.second);
        EXPECT_EQ(user.isConnected(), c.second == MSM_MESSAGE);
        EXPECT_EQ(log.lines().empty(), user.isConnected());
    }
    // As it was: received to its end, and refused then.
    CaptureLog log;
    Victim user(true);
    EXPECT_EQ(user.ask([&](Victim& v) { v.say(joined({begun, pdu(4, pdv(1, 2, {}))})); }), MSM_CLOSED);
    log.expect(LOG_ERROR, "DcMsm::receiveMessage",
               "Data set without a command received, Association will be closed");
}

}  // namespace
