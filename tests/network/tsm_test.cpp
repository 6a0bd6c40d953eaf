// The transport: its state table cell by cell, listening ports, and a bound for every wait.
#include "orvkit/tsm.h"

#include "network/listening_ports.h"
#include "network/pair.h"
#include "network/pdus.h"

namespace net = orvkit::platform;

namespace {

class Transport : public DcTsm {
  public:
    explicit Transport(TSM_ROLE role = TSM_ROLE_NONE, int port = 0) : DcTsm(role, port, nullptr) {}
    Transport(SocketPair& sockets, bool client) : Transport() {
        setSockHandles(client ? TSM_ROLE_SCU : TSM_ROLE_SCP, sockets.giveOurs(), PDU_SOCKET_NONE);
    }
    int step(int event, void* arg = nullptr) { return stateMachine(static_cast<TSM_EVENT>(event), arg); }
    int stepIn(int state, int event, void* arg) {
        state_ = static_cast<TSM_STATE>(state);
        return step(event, arg);
    }
    std::string peer() const {
        net::Address address;
        std::memcpy(address.bytes, peerAddress_, sizeof address.bytes);
        address.length = peerAddressLen_;
        return net::addressText(address);
    }
    void endWaitsInASecond() {
        DcTsmTimeoutInfo timeouts = seconds(1);
        setTimeoutInfo(timeouts);
    }
    using DcTsm::readNextPduType;
    using DcTsm::sockConvOpenClient;
    using DcTsm::sockConvOpenServer;
};

// ---- the state table ------------------------------------------------------------------------------------

// Where Evt1 to Evt19 lead from Sta1 to Sta13 (PS3.8 table 9-10, with this library's own cells), in
// hexadecimal digits; '.' stays.
constexpr std::string_view kNext[19] = {"44...........", "...5.........", ".DD.6DDDDDDDD", ".DD.1DDDDDDDD",
                                        "2............", ".3D.1DDDDDDDD", "..6..........", "..D..........",
                                        ".....6.8.....", ".DD.D67DDDDDD", ".....7.......", ".DD.D8.DDDDDD",
                                        ".DD.DD1DDC1DD", ".......DB..D.", "..D1DDDDDDDD.", ".11.111111111",
                                        "1111111111111", "11....1.....1", "1DD.DDDDDDDDD"};

// The state moves on without a connection and without what its action needs.
TEST(StateTable, EveryCellLeadsWhereItSays) {
    const QuietLog quiet;
    for (int event = 0; event < 19; ++event) {
        for (int state = 1; state <= 13; ++state) {
            SCOPED_TRACE("Evt" + std::to_string(event + 1) + " in Sta" + std::to_string(state));
            const char next = kNext[event][static_cast<std::size_t>(state) - 1];
            const int expected = next == '.' ? state : std::stoi(std::string(1, next), nullptr, 16);
            Transport unconnected;
            (void)unconnected.stepIn(state, event, nullptr);
            EXPECT_EQ(unconnected.getState(), expected);
        }
    }
    Transport transport;
    EXPECT_EQ(transport.step(19), TSM_EVENT_RANGE);
    EXPECT_EQ(transport.step(-1), TSM_EVENT_RANGE);
}

// Whatever comes where it must not is answered by an abort.
TEST(StateTable, WhatComesWhereItMustNotIsAborted) {
    for (const int state : {3, 5, 6, 7, 8, 9, 10, 11, 12}) {
        for (const int event : {TSM_EVENT_18_INVALID_PDU, TSM_EVENT_14_ABORT_REQUEST}) {
            const bool asked = event == TSM_EVENT_14_ABORT_REQUEST;
            SocketPair sockets;
            Transport transport(sockets, true);
            EXPECT_EQ(transport.stepIn(state, event, nullptr), asked ? 0 : TSM_ABORT_INDICATION) << state;
            EXPECT_EQ(sockets.arrived(), pdu(7, asked ? Bytes{0, 0, 0, 0} : Bytes{0, 0, 2, 2})) << state;
        }
    }
}

// ---- listening ------------------------------------------------------------------------------------------

int usersOf(int port) {
    for (int i = 0; i < TSM_LISTEN_MAX; ++i) {
        if (DcScpPort[i] == port) return DcScpListenRefCount[i];
    }
    return 0;
}

net::Address loopback(int port) {
    net::Address address;
    EXPECT_TRUE(net::resolve("127.0.0.1", port, address));
    return address;
}

bool canConnect(int port) {
    const net::Address address = loopback(port);
    const net::Socket socket = net::openSocket(address);
    return net::connectSocket(socket.get(), address, 1000);
}

TEST(ListeningPorts, AreSharedCountedAndLimited) {
    std::vector<std::unique_ptr<Transport>> transports;
    for (int i = 0; i < TSM_LISTEN_MAX; ++i) {
        transports.push_back(std::make_unique<Transport>(TSM_ROLE_SCP, 0));
        ASSERT_EQ(transports.back()->getListenResult(), 0);
    }
    {
        CaptureLog log;
        Transport fifth(TSM_ROLE_SCP, 0);
        EXPECT_EQ(fifth.getListenResult(), TSM_LISTEN_LIMIT);
        log.expect(LOG_ERROR, "DcTsm::sockListenOpen", "Limit of 4 listening ports exceeded");
        EXPECT_EQ(fifth.sockConvOpenServer(TSM_BLOCK_POLL), TSM_LISTEN_LIMIT);
    }
    const int port = transports[0]->getPort();
    auto second = std::make_unique<Transport>(TSM_ROLE_SCP_SCU, port);
    EXPECT_EQ(second->getListenResult(), 0) << "the port is open already";
    EXPECT_EQ(usersOf(port), 2);
    transports.clear();
    EXPECT_EQ(usersOf(port), 1);
    EXPECT_TRUE(canConnect(port));
    second.reset();
    EXPECT_EQ(usersOf(port), 0);
    EXPECT_FALSE(canConnect(port));
}

TEST(ListeningPorts, TakeBothKindsOfAddressesAndTellThemAsTheyAre) {
    for (const std::string host : {"127.0.0.1", "::1"}) {
        Transport provider(TSM_ROLE_SCP, 0);
        net::Address address;
        ASSERT_TRUE(net::resolve(host.c_str(), provider.getPort(), address));
        const net::Socket user = net::openSocket(address);
        if (!user || !net::connectSocket(user.get(), address, 5000)) {
            EXPECT_EQ(host, "::1") << "there may be no IPv6 here";
            continue;
        }
        ASSERT_EQ(provider.sockConvOpenServer(TSM_BLOCK_POLL), RESULT_OK) << host;
        EXPECT_EQ(provider.peer(), host);
    }
}

const bool socketsStarted = net::startSockets();

struct Listener {
    explicit Listener(int queue) {
        net::Address at;
        EXPECT_TRUE(socketsStarted && net::bindAny(socket.get(), 0) &&
                    net::listenSocket(socket.get(), queue) && net::ownAddress(socket.get(), at));
        port = net::addressPort(at);
    }
    net::Socket socket = net::openSocket({});
    int port = 0;
};

// A pair over loopback, with the buffers that such a connection has.
struct TcpPair {
    TcpPair() {
        const Listener listener(1);
        net::Address from;
        EXPECT_TRUE(net::connectSocket(ours.get(), loopback(listener.port), 1000));
        peer = net::acceptSocket(listener.socket.get(), from, 1000);
    }
    net::Socket ours = net::openSocket({}), peer;
};

TEST(ListeningPorts, WhatCannotBeOpenedIsTold) {
    const Transport first(TSM_ROLE_SCP, 0);
    const Listener taken(1);
    CaptureLog log;
    const Transport second(TSM_ROLE_SCP, taken.port);
    EXPECT_EQ(second.getListenResult(), TSM_BIND);
    log.expect(LOG_ERROR, "DcTsm::sockListenOpen - bind", "winSock error WSAEADDRINUSE");
}

TEST(ListeningPorts, TheirNumbersEndAt65535) {
    CaptureLog log;
    const Transport last(TSM_ROLE_SCP, 65535);
    EXPECT_EQ(last.getListenResult(), 0);
    Transport user;
    EXPECT_EQ(user.sockConvOpenClient("127.0.0.1", 65535), 0);
    EXPECT_EQ(log.take(), LogLines{});
    EXPECT_EQ(Transport().sockConvOpenClient(nullptr, 104), TSM_NULL_ARGUMENT);
    log.expect(LOG_ERROR, "DcTsm::sockConvOpenClient", "Null argument passed");
    for (const int port : {65536, -1}) {
        const Transport beyond(TSM_ROLE_SCP, port);
        EXPECT_EQ(beyond.getListenResult(), TSM_BIND);
        log.expect(LOG_ERROR, "DcTsm::sockListenOpen - bind", "winSock error WSAEINVAL");
        Transport other;
        EXPECT_EQ(other.sockConvOpenClient("127.0.0.1", port), TSM_CONNECT);
        log.expect(LOG_ERROR, "DcTsm::sockConvOpenClient",
                   "Port number " + std::to_string(port) + " out of range");
    }
}

// ---- waits ----------------------------------------------------------------------------------------------

// Each ends after one second; without the limit, after 15.
TEST(Waits, EndInTheirTime) {
    const auto endsInASecond = [](int result, Transport& transport, auto work) {
        transport.endWaitsInASecond();
        const auto begun = std::chrono::steady_clock::now();
        EXPECT_EQ(work(), result);
        expectTook(1, begun);
    };
    CaptureLog log;
    // Connecting to a host that does not answer: its queue is full.
    const Listener busy(0);
    const net::Address address = loopback(busy.port);
    std::vector<net::Socket> waiting;
    do {
        ASSERT_LT(waiting.size(), 64u);
        waiting.push_back(net::openSocket({}));
    } while (net::connectSocket(waiting.back().get(), address, 100));
    Transport user, reader, writer, provider(TSM_ROLE_SCP, 0);
    log.clear();
    endsInASecond(TSM_CONNECT, user, [&] { return user.sockConvOpenClient("127.0.0.1", busy.port); });
    log.expect(LOG_ERROR, "DcTsm::sockConvOpenClient - connect", "winSock error WSAETIMEDOUT");
    // Accepting where nobody connects.
    endsInASecond(TSM_ACCEPT_TIMEOUT, provider, [&] { return provider.sockConvOpenServer(TSM_BLOCK_POLL); });
    // Reading from a silent peer, and writing to one that does not read.
    TcpPair silent, deaf;
    PDU_TYPE type;
    reader.setSockHandles(TSM_ROLE_SCP, silent.ours.release(), PDU_SOCKET_NONE);
    EXPECT_EQ(reader.readNextPduType(type, PDU_BLOCK_POLL), DATATF_NOT_READY);
    endsInASecond(DATATF_NOT_READY, reader, [&] { return reader.readNextPduType(type, PDU_BLOCK_WAIT); });
    writer.setSockHandles(TSM_ROLE_SCU, deaf.ours.release(), PDU_SOCKET_NONE);
    DcPduDataTf message;
    DcPduInfoTf info{1, 0, UID_LITTLE_ENDIAN_EXPLICIT, 64u << 20};
    message.setInfo(info);
    std::vector<unsigned char> pixels(48u << 20);
    message.add(new DcElem(T_7fe0_0010_pixelData, pixels.data(), 48u << 20, info.xferSyn, VR_OW, 0));
    endsInASecond(DATATF_SOCKET, writer,
                  [&] { return writer.stepIn(6, TSM_EVENT_08_DATA_REQUEST, static_cast<DcPdu*>(&message)); });
}

}  // namespace
