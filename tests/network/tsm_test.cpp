// The transport: its state table cell by cell, listening ports, and a bound for every wait.
#include "orvkit/tsm.h"

#include <chrono>
#include <map>
#include <sstream>

#include "network/listening_ports.h"
#include "network/pair.h"
#include "network/pdus.h"
#include "orvkit/datatf.h"
#include "support/capture_log.h"

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
    void endWaitsInASecond() {
        DcTsmTimeoutInfo timeouts = seconds(1);
        setTimeoutInfo(timeouts);
    }
    void* nowhere() { return &nowhere_; }
    unsigned int socket() const { return sockConv_; }
    static bool artimRuns() { return artimTransport() != nullptr; }
    using DcTsm::readNextPduType;
    using DcTsm::sockConvOpenClient;
    using DcTsm::sockConvOpenServer;

  private:
    TsmPeer nowhere_{"127.0.0.1", 1};
};

// ---- the state table ------------------------------------------------------------------------------------

// Evt1 to Evt19 by Sta1 to Sta13 (PS3.8 table 9-10, with this library's own cells).
constexpr const char* kTable = R"(
AE-1>4 AE-1>4  -       -      -       -       -       -       -       -        -       -       -
-      -       -       AE-2>5 -       -       -       -       -       -        -       -       -
-      AA-1>13 AA-8>13 -      AE-3>6  AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
-      AA-1>13 AA-8>13 -      AE-4>1  AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
AE-5>2 -       -       -      -       -       -       -       -       -        -       -       -
-      AE-6>3  AA-8>13 -      AE-4>1  AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-7>13
-      -       AE-7>6  -      -       -       -       -       -       -        -       -       -
-      -       AE-8>13 -      -       -       -       -       -       -        -       -       -
-      -       -       -      -       DT-1>6  -       AR-7>8  -       -        -       -       -
-      AA-1>13 AA-8>13 -      AA-8>13 DT-2>6  AR-6>7  AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
-      -       -       -      -       AR-1>7  -       -       -       -        -       -       -
-      AA-1>13 AA-8>13 -      AA-8>13 AR-2>8  AR-8    AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-6>13
-      AA-1>13 AA-8>13 -      AA-8>13 AA-8>13 AR-3>1  AA-8>13 AA-8>13 AR-10>12 AR-3>1  AA-8>13 AA-6>13
-      -       -       -      -       -       -       AR-4>13 AR-9>11 -        -       AR-4>13 -
-      -       AA-1>13 AA-2>1 AA-1>13 AA-1>13 AA-1>13 AA-1>13 AA-1>13 AA-1>13  AA-1>13 AA-1>13 -
-      AA-2>1  AA-3>1  -      AA-3>1  AA-3>1  AA-3>1  AA-3>1  AA-3>1  AA-3>1   AA-3>1  AA-3>1  AA-2>1
AA-2>1 AA-5>1  AA-4>1  AA-4>1 AA-4>1  AA-4>1  AA-4>1  AA-4>1  AA-4>1  AA-4>1   AA-4>1  AA-4>1  AR-5>1
AA-2>1 AA-2>1  -       -      -       -       none>1  -       -       -        -       -       AA-2>1
AA-2>1 AA-1>13 AA-8>13 -      AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13 AA-8>13  AA-8>13 AA-8>13 AA-7>13
)";

struct Cell {
    int event;  // from 0
    int state;
    std::string action;
    int next;  // where the table leads; the state itself for none
};

std::vector<Cell> cells() {
    std::vector<Cell> all;
    std::istringstream words(kTable);
    for (int event = 0; event < 19; ++event) {
        for (int state = 1; state <= 13; ++state) {
            std::string word;
            words >> word;
            const std::size_t arrow = word.find('>');
            const bool moves = arrow != std::string::npos;
            all.push_back({event, state, word == "-" ? "none" : word.substr(0, arrow),
                           moves ? std::stoi(word.substr(arrow + 1)) : state});
        }
    }
    return all;
}

// What an action does with a connection. `state` 0: that of the table.
struct Deed {
    int result = 0;
    Bytes wire = {};
    bool closes = false;
    bool reads = false;
    int state = 0;
};

Deed deedOf(const std::string& action, bool client, const Bytes& own) {
    const unsigned char side = client ? 0 : 2;
    const std::map<std::string, Deed> deeds = {
        {"AA-1", {0, pdu(7, {0, 0, 0, 0})}},
        {"AA-2", {TSM_CLOSED, {}, true, false, 2}},
        {"AA-3", client ? Deed{TSM_ABORT_CLIENT, {}, true} : Deed{TSM_ABORT_INDICATION, {}, true, false, 2}},
        {"AA-4", {TSM_ABORT_INDICATION, {}, true, false, 2}},
        {"AA-5", {}},
        {"AA-6", {}},
        {"AA-7", {0, pdu(7, {0, 0, side, side})}},
        {"AA-8", {TSM_ABORT_INDICATION, pdu(7, {0, 0, 2, 2})}},
        {"AE-1", {}},
        {"AE-2", {0, own}},
        {"AE-3", {0, {}, false, true}},
        {"AE-4", {0, {}, true, true}},
        {"AE-5", {}},
        {"AE-6", {0, {}, false, true}},
        {"AE-7", {0, own}},
        {"AE-8", {0, own}},
        {"AR-1", {0, pdu(5, {0, 0, 0, 0})}},
        {"AR-2", {TSM_RELEASE_INDICATION}},
        {"AR-3", {TSM_RELEASE_CONFIRM, {}, true}},
        {"AR-4", {0, pdu(6, {0, 0, 0, 0})}},
        {"AR-5", {}},
        {"AR-6", {TSM_DATA_INDICATION, {}, false, true}},
        {"AR-7", {0, own}},
        {"AR-8", {TSM_RELEASE_INDICATION, {}, false, false, client ? 9 : 10}},
        {"AR-9", {0, pdu(6, {0, 0, 0, 0})}},
        {"AR-10", {TSM_RELEASE_CONFIRM}},
        {"DT-1", {0, own}},
        {"DT-2", {0, {}, false, true}},
        {"none", {}},
    };
    return deeds.at(action);
}

// A PDU object for an event, and the bytes that the peer has sent of it behind its type.
struct Argument {
    std::unique_ptr<DcPdu> pdu;
    Bytes body;
    Bytes framed;  // what sending it puts on the wire
};

// Sends what it was read from.
template <typename Pdu>
std::unique_ptr<DcPdu> read(const Bytes& bytes) {
    auto made = std::make_unique<Pdu>();
    EXPECT_EQ(readFrom(*made, bytes), RESULT_OK);
    made->setSockConv(PDU_SOCKET_NONE);
    return made;
}

std::unique_ptr<DcPdu> pduFor(int event) {
    switch (event) {
        case 1:
            return read<DcPduAssoRq>(Association().bytes());
        case 6:
            return read<DcPduAssoAc>(acceptance().bytes());
        case 2:
            return std::make_unique<DcPduAssoAc>();
        case 5:
            return std::make_unique<DcPduAssoRq>();
        case 3:
            return std::make_unique<DcPduAssoRj>();
        case 7:
            return read<DcPduAssoRj>(pdu(3, {0, 1, 1, 7}));
        case 8: {
            auto made = std::make_unique<DcPduDataTf>();
            DcPduInfoTf info{1, 0, UID_LITTLE_ENDIAN_EXPLICIT, 16384};
            made->setInfo(info);
            made->add(new DcElem(T_0010_0020_patientId, "P1"));
            return made;
        }
        case 9:
            return std::make_unique<DcPduDataTf>();
        default:
            return nullptr;
    }
}

Argument argumentFor(int event) {
    Argument made{pduFor(event), {}, {}};
    if (event == 1 || event == 6 || event == 7 || event == 8) {
        const auto twin = pduFor(event);
        made.framed = sent(*twin);
    }
    const std::map<int, Bytes> arrived = {{2, acceptance().bytes()},
                                          {3, pdu(3, {0, 1, 1, 7})},
                                          {5, Association().bytes()},
                                          {9, pdu(4, pdv(1, 2, {1, 2, 3, 4}))}};
    if (const auto found = arrived.find(event); found != arrived.end()) {
        made.body.assign(found->second.begin() + 2, found->second.end());
    }
    return made;
}

Bytes arrivedAt(unsigned int socket, bool& closed) {
    Bytes all(65536);
    std::size_t count = 0;
    const net::Received received = net::receive(socket, all.data(), all.size(), 0, count);
    closed = received == net::Received::closed;
    all.resize(count);
    return all;
}

TEST(StateTable, EveryCellDoesWhatItSays) {
    for (const Cell& cell : cells()) {
        for (const bool client : {true, false}) {
            SCOPED_TRACE("Evt" + std::to_string(cell.event + 1) + " in Sta" + std::to_string(cell.state) +
                         (client ? " as client" : " as server"));
            Argument argument = argumentFor(cell.event);
            const Deed deed = deedOf(cell.action, client, argument.framed);
            SocketPair sockets;
            Transport transport(sockets, client);
            sockets.send(argument.body);
            void* const arg = cell.event == 0 ? transport.nowhere() : argument.pdu.get();
            EXPECT_EQ(transport.stepIn(cell.state, cell.event, arg), deed.result);
            EXPECT_EQ(transport.getState(), deed.state != 0 ? deed.state : cell.next);
            EXPECT_EQ(transport.isConnected(), !deed.closes);
            if (!deed.closes) {
                Bytes rest(65536);
                const std::int64_t left = net::peekArrived(transport.socket(), rest.data(), rest.size());
                const auto unread = static_cast<std::int64_t>(argument.body.size());
                EXPECT_EQ(left, deed.reads || unread == 0 ? -1 : unread);
            }
            bool closed = false;
            EXPECT_EQ(arrivedAt(sockets.peer(), closed), deed.wire);
            if (deed.closes) {
                EXPECT_TRUE(closed || deed.reads);
            } else {
                EXPECT_FALSE(closed);
            }
        }
    }
    EXPECT_FALSE(Transport::artimRuns());
}

// The state moves on all the same.
TEST(StateTable, NothingIsDoneWithoutWhatAnActionNeeds) {
    for (const Cell& cell : cells()) {
        SCOPED_TRACE("Evt" + std::to_string(cell.event + 1) + " in Sta" + std::to_string(cell.state));
        const Argument argument = argumentFor(cell.event);
        const bool alone = cell.action == "none" || cell.action == "AE-1" || cell.action == "AE-5";
        Transport unconnected;
        const int without = cell.action == "AE-1" ? 16390 : cell.action == "AE-5" ? 16408 : 0;
        EXPECT_EQ(unconnected.stepIn(cell.state, cell.event, nullptr), alone ? without : 16388);
        EXPECT_EQ(unconnected.getState(), cell.next);
        SocketPair sockets;
        Transport connected(sockets, true);
        const bool takesPdu = !argument.framed.empty() || deedOf(cell.action, true, {}).reads;
        if (takesPdu && cell.action.substr(0, 2) != "AA" && cell.action != "AR-6" && cell.action != "none") {
            EXPECT_EQ(connected.stepIn(cell.state, cell.event, nullptr), 16390);
            EXPECT_EQ(net::peekArrived(sockets.peer(), &sockets, 1), -1);
        }
    }
}

TEST(StateTable, EventsOutOfRangeAreRefused) {
    CaptureLog log;
    Transport transport;
    EXPECT_EQ(transport.step(19), TSM_EVENT_RANGE);
    log.expect(LOG_ERROR, "DcTsm::stateMachine", "Event number 19 out of range");
    EXPECT_EQ(transport.step(-1), TSM_EVENT_RANGE);
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
    net::resolve("127.0.0.1", port, address);
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

TEST(ListeningPorts, WhatCannotBeOpenedIsTold) {
    Transport first(TSM_ROLE_SCP, 0);
    net::Socket taken = net::openSocket({});
    net::Address address;
    ASSERT_TRUE(net::bindAny(taken.get(), 0) && net::listenSocket(taken.get(), 1) &&
                net::ownAddress(taken.get(), address));
    CaptureLog log;
    Transport second(TSM_ROLE_SCP, net::addressPort(address));
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

const bool socketsStarted = net::startSockets();

// A pair over loopback, with the buffers that such a connection has.
struct TcpPair {
    TcpPair() {
        const net::Socket listener = net::openSocket({});
        net::Address at;
        net::bindAny(listener.get(), 0);
        net::listenSocket(listener.get(), 1);
        net::ownAddress(listener.get(), at);
        ours = net::openSocket({});
        EXPECT_TRUE(socketsStarted && net::connectSocket(ours.get(), loopback(net::addressPort(at)), 1000));
        net::Address from;
        peer = net::acceptSocket(listener.get(), from, 1000);
    }
    net::Socket ours;
    net::Socket peer;
};

// The work ends after one second; without the limit, after 15.
template <typename Work>
void expectOneSecond(Work work) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begun = Clock::now();
    work();
    const std::chrono::duration<double> took = Clock::now() - begun;
    EXPECT_GE(took.count(), 0.995);
    EXPECT_LE(took.count(), 10);
}

TEST(Waits, ConnectingToAHostThatDoesNotAnswer) {
    const net::Socket listener = net::openSocket({});
    net::Address at;
    ASSERT_TRUE(net::bindAny(listener.get(), 0) && net::listenSocket(listener.get(), 0) &&
                net::ownAddress(listener.get(), at));
    const net::Address address = loopback(net::addressPort(at));
    std::vector<net::Socket> waiting;  // until its queue is full
    do {
        ASSERT_LT(waiting.size(), 64u);
        waiting.push_back(net::openSocket({}));
    } while (net::connectSocket(waiting.back().get(), address, 100));
    Transport transport;
    transport.endWaitsInASecond();
    CaptureLog log;
    expectOneSecond(
        [&] { EXPECT_EQ(transport.sockConvOpenClient("127.0.0.1", net::addressPort(at)), TSM_CONNECT); });
    log.expect(LOG_ERROR, "DcTsm::sockConvOpenClient - connect", "winSock error WSAETIMEDOUT");
}

TEST(Waits, AcceptingWhereNobodyConnects) {
    Transport transport(TSM_ROLE_SCP, 0);
    transport.endWaitsInASecond();
    expectOneSecond([&] { EXPECT_EQ(transport.sockConvOpenServer(TSM_BLOCK_POLL), TSM_ACCEPT_TIMEOUT); });
}

TEST(Waits, ReadingFromASilentPeer) {
    TcpPair sockets;
    Transport transport;
    transport.endWaitsInASecond();
    transport.setSockHandles(TSM_ROLE_SCP, sockets.ours.release(), PDU_SOCKET_NONE);
    PDU_TYPE type;
    EXPECT_EQ(transport.readNextPduType(type, PDU_BLOCK_POLL), DATATF_NOT_READY);
    expectOneSecond([&] { EXPECT_EQ(transport.readNextPduType(type, PDU_BLOCK_WAIT), DATATF_NOT_READY); });
}

TEST(Waits, WritingToAPeerThatDoesNotRead) {
    TcpPair sockets;
    Transport transport;
    transport.endWaitsInASecond();
    transport.setSockHandles(TSM_ROLE_SCU, sockets.ours.release(), PDU_SOCKET_NONE);
    DcPduDataTf message;
    DcPduInfoTf info{1, 0, UID_LITTLE_ENDIAN_EXPLICIT, 64u << 20};
    message.setInfo(info);
    const std::vector<unsigned char> pixels(48u << 20);
    auto* const element = new DcElem(T_7fe0_0010_pixelData, nullptr, 0u, UID_NONE, VR_OW, 0);
    element->addValue(pixels.data(), static_cast<unsigned int>(pixels.size()), info.xferSyn);
    message.add(element);
    const QuietLog quiet;
    expectOneSecond([&] {
        EXPECT_EQ(transport.stepIn(6, TSM_EVENT_08_DATA_REQUEST, static_cast<DcPdu*>(&message)),
                  DATATF_SOCKET);
    });
}

}  // namespace
