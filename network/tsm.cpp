#include "orvkit/tsm.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>

#include "foundation/fail.h"
#include "network/connection.h"
#include "network/listening_ports.h"
#include "network/pdu_access.h"
#include "network/reception.h"
#include "network/state_table.h"
#include "orvkit/datatf.h"
#include "orvkit/util.h"
#include "platform/socket.h"

using orvkit::fail;
using orvkit::failSocket;
using orvkit::platform::NO_SOCKET;

namespace {

std::mutex& artimMutex() {
    static std::mutex mutex;
    return mutex;
}
DcTsm* artimSlot = nullptr;

constexpr int kMillisecondsMost = 2000000000;
// A time-out for the system: 0 and below wait for nothing.
int milliseconds(int seconds) {
    if (seconds <= 0) return 0;
    return seconds > kMillisecondsMost / 1000 ? kMillisecondsMost : seconds * 1000;
}

}  // namespace

void DcTsmTcpInfo::reset() {
    value[0] = value[1] = 0;
    for (unsigned int& word : handle) word = 0xFFFFFFFF;
    utilDelete(block);
    block = nullptr;
}

const DcTsm::Action DcTsm::actions_[29] = {
    &DcTsm::AA_1_writeAbortPduScu,
    &DcTsm::AA_2_closeTransport,
    &DcTsm::AA_3_abortScpScuIndication,
    &DcTsm::AA_4_abortScpIndication,
    &DcTsm::AA_5_artimStop,
    &DcTsm::AA_6_ignorePdu,
    &DcTsm::AA_7_writeAbortPdu,
    &DcTsm::AA_8_writeAbortPduScp,
    &DcTsm::AE_1_connectScu,
    &DcTsm::AE_2_writeAssoRqPdu,
    &DcTsm::AE_3_readAssoAcPdu,
    &DcTsm::AE_4_readAssoRjPdu,
    &DcTsm::AE_5_connectScp,
    &DcTsm::AE_6_readAssoRqPdu,
    &DcTsm::AE_7_writeAssoAcPdu,
    &DcTsm::AE_8_writeAssoRjPdu,
    &DcTsm::AR_1_writeRelRqPdu,
    &DcTsm::AR_2_relIndication,
    &DcTsm::AR_3_relConfirmation,
    &DcTsm::AR_4_writeRelRpPdu,
    &DcTsm::AR_5_artimStop,
    &DcTsm::AR_6_dataIndication,
    &DcTsm::AR_7_writeDataTfPdu,
    &DcTsm::AR_8_relIndication,
    &DcTsm::AR_9_writeRelRpPdu,
    &DcTsm::AR_10_relConfirmation,
    &DcTsm::DT_1_writeDataTfPdu,
    &DcTsm::DT_2_readDataTfPdu,
    &DcTsm::AE_0_none,
};
static_assert(orvkit::none == 28, "the actions of the state table are indices of the action table");

// ---- life -------------------------------------------------------------------------------------------

DcTsm::DcTsm(TSM_ROLE role, int port, DcTsmArtimCB artimCB)
    : role_(role), port_(port), artimCB_(artimCB), reception_(new orvkit::Reception) {
    if ((role & TSM_ROLE_SCP) != 0) listenResult_ = sockListenOpen(port);
}

DcTsm::~DcTsm() {
    closeSockConv();
    clearArtim(this);
    sockListenRelease();
    delete reception_;
}

int DcTsm::sockListenOpen(int port) {
    if (sockListen_ != NO_SOCKET) return RESULT_OK;
    if (const int result = orvkit::openListeningPort(port, sockListen_); result != RESULT_OK) return result;
    listening_ = true;
    port_ = port;
    return RESULT_OK;
}

void DcTsm::sockListenRelease() {
    if (listening_) orvkit::leaveListeningPort(sockListen_);
    listening_ = false;
    sockListen_ = NO_SOCKET;
}

// ---- settings ---------------------------------------------------------------------------------------

int DcTsm::getTimeoutInfo(DcTsmTimeoutInfo& info) const {
    info = timeouts_;
    return RESULT_OK;
}

int DcTsm::setTimeoutInfo(DcTsmTimeoutInfo& info) {
    timeouts_ = info;
    for (int* seconds : {&timeouts_.connectTimeout, &timeouts_.readTimeout, &timeouts_.writeTimeout}) {
        *seconds = std::max(*seconds, 0);
    }
    return setTimeoutInfo();
}

int DcTsm::setTimeoutInfo() {
    if (currentPdu_ != nullptr) {
        DcPduInfo info{maxPduLen_, static_cast<unsigned int>(timeouts_.readTimeout),
                       static_cast<unsigned int>(timeouts_.writeTimeout)};
        currentPdu_->setInfo(info);
    }
    if (sockConv_ != NO_SOCKET) {
        (void)orvkit::platform::setSocketTimeouts(sockConv_, milliseconds(timeouts_.readTimeout),
                                                  milliseconds(timeouts_.writeTimeout));
    }
    return RESULT_OK;
}

int DcTsm::setPduTimeout(int seconds, unsigned int bytesPerSecond) {
    reception_->pdu = {std::max(seconds, 0), bytesPerSecond};
    return RESULT_OK;
}

int DcTsm::setMessageTimeout(int seconds, unsigned int bytesPerSecond) {
    reception_->message = {std::max(seconds, 0), bytesPerSecond};
    return RESULT_OK;
}

int DcTsm::getTcpInfo(DcTsmTcpInfo& info) const {
    info = tcpInfo_;
    return RESULT_OK;
}

int DcTsm::setTcpInfo(DcTsmTcpInfo info) {
    tcpInfo_ = info;
    return RESULT_OK;
}

int DcTsm::setSockHandles(TSM_ROLE role, unsigned int connection, unsigned int listener) {
    if (listener != NO_SOCKET && listener != sockListen_) {
        sockListenRelease();
        sockListen_ = listener;
        orvkit::platform::Address own;
        // A user connects to the port that it was made with.
        if ((role_ & TSM_ROLE_SCU) == 0 && orvkit::platform::ownAddress(listener, own)) {
            port_ = orvkit::platform::addressPort(own);
        }
    }
    if (connection == NO_SOCKET || connection == sockConv_) return RESULT_OK;
    closeSockConv();
    orvkit::platform::Address peer;
    (void)orvkit::platform::peerAddress(connection, peer);
    std::memcpy(peerAddress_, peer.bytes, sizeof peerAddress_);
    peerAddressLen_ = peer.length;
    orvkit::platform::adoptSocket(connection);
    const bool client = role == TSM_ROLE_SCU;
    if (client) (void)orvkit::platform::startSockets();
    connected(client ? 1 : 2, connection);
    state_ = client ? TSM_STATE_04_AWAIT_CONNECTION : TSM_STATE_02_AWAIT_RQ;
    return RESULT_OK;
}

// ---- connections ------------------------------------------------------------------------------------

void DcTsm::connected(int connectionRole, unsigned int socket) {
    sockConv_ = socket;
    connectionRole_ = connectionRole;
    delete currentPdu_;
    currentPdu_ = new DcPdu(socket, PDU_TYPE_NONE);
    orvkit::PduAccess::setReception(*currentPdu_, reception_);
    (void)setTimeoutInfo();
}

int DcTsm::sockConvOpenClient(const char* host, int port) {
    namespace net = orvkit::platform;
    constexpr const char* reporter = "DcTsm::sockConvOpenClient";
    if (sockConv_ != NO_SOCKET) return RESULT_OK;
    if (host == nullptr) return fail(TSM_NULL_ARGUMENT, LOG_ERROR, reporter, "Null argument passed");
    if (port < 0 || port > 65535) {
        return fail(TSM_CONNECT, LOG_ERROR, reporter, "Port number %d out of range", port);
    }
    if (!net::startSockets()) {
        return fail(TSM_SOCKET_STARTUP, LOG_ERROR, reporter, "WSAStartup failed for WinSock ver 2.2");
    }
    const auto refuse = [](int result) {
        net::endSockets();
        return result;
    };
    net::Address address;
    if (!net::resolve(host, port, address)) {
        return refuse(failSocket(TSM_RESOLVE, "DcTsm::sockConvOpenClient - gethostbyname"));
    }
    net::Socket socket = net::openSocket(address);
    if (!socket) return refuse(failSocket(TSM_SOCKET, "DcTsm::sockConvOpenClient - socket"));
    // Bounded by the connect time-out: a host that swallows packets would hold the caller for minutes. 0,
    // which an application sets to poll for connections, leaves it to the system.
    const int bound = timeouts_.connectTimeout > 0 ? milliseconds(timeouts_.connectTimeout) : -1;
    if (!net::connectSocket(socket.get(), address, bound)) {
        socket.reset();
        return refuse(failSocket(TSM_CONNECT, "DcTsm::sockConvOpenClient - connect"));
    }
    std::memcpy(peerAddress_, address.bytes, sizeof peerAddress_);
    peerAddressLen_ = address.length;
    connected(1, socket.release());
    return RESULT_OK;
}

int DcTsm::sockConvOpenServer(TSM_BLOCK block) {
    namespace net = orvkit::platform;
    if (sockConv_ != NO_SOCKET) return RESULT_OK;
    if (sockListen_ == NO_SOCKET) return TSM_LISTEN_LIMIT;
    const bool wait = block != TSM_BLOCK_POLL;
    net::Address peer;
    net::Socket socket =
        net::acceptSocket(sockListen_, peer, wait ? -1 : milliseconds(timeouts_.connectTimeout));
    if (!socket) return net::lastSocketError() == net::TIMED_OUT ? TSM_ACCEPT_TIMEOUT : TSM_ACCEPT;
    std::memcpy(peerAddress_, peer.bytes, sizeof peerAddress_);
    peerAddressLen_ = peer.length;
    connected(2, socket.release());
    return RESULT_OK;
}

void DcTsm::closeSockConv() {
    if (sockConv_ != NO_SOCKET) {
        orvkit::Connection(sockConv_).close();
        if (connectionRole_ == 1) orvkit::platform::endSockets();
    }
    delete currentPdu_;
    currentPdu_ = nullptr;
    sockConv_ = NO_SOCKET;
    connectionRole_ = 0;
    artimStop();
}

bool DcTsm::waitReadable(int milliseconds) const {
    return connectionRole_ == 0 || orvkit::Connection(sockConv_).waitReadable(milliseconds);
}

int DcTsm::readNextPduType(PDU_TYPE& type, PDU_BLOCK block) {
    if (connectionRole_ == 0 || currentPdu_ == nullptr) return TSM_NO_CONNECTION;
    if (block != PDU_BLOCK_WAIT) {
        orvkit::Connection connection(sockConv_);
        unsigned char begun[2];
        // Half of what tells a PDU's type stays where it is, unless nothing will follow it.
        if (connection.peek(begun, sizeof begun) == 1 && !connection.peerIsDone()) return DATATF_NOT_READY;
    }
    return currentPdu_->readType(type, block);
}

// ---- ARTIM ------------------------------------------------------------------------------------------

// There is no timer of its own: what the standard closes when it expires is closed when it is stopped.
void DcTsm::artimStart() {
    artimStarted_ = true;
    const std::lock_guard lock(artimMutex());
    artimSlot = this;
}

void DcTsm::artimStop() {
    if (!artimStarted_) return;
    artimStarted_ = false;
    clearArtim(this);
    closeSockConv();
    state_ = TSM_STATE_02_AWAIT_RQ;
}

DcTsm* DcTsm::artimTransport() {
    const std::lock_guard lock(artimMutex());
    return artimSlot;
}

void DcTsm::clearArtim(const DcTsm* transport) {
    const std::lock_guard lock(artimMutex());
    if (artimSlot == transport) artimSlot = nullptr;
}

// ---- one step ---------------------------------------------------------------------------------------

int DcTsm::stateMachine(TSM_EVENT event, void* arg) {
    if (event < 0 || event >= orvkit::kTsmEvents) {
        return fail(TSM_EVENT_RANGE, LOG_ERROR, "DcTsm::stateMachine", "Event number %d out of range",
                    static_cast<int>(event));
    }
    // setState takes any number.
    if (state_ < 1 || state_ > orvkit::kTsmStates) return RESULT_OK;
    const orvkit::TsmCell& cell = orvkit::kTsmTable[event][state_ - 1];
    if (cell.next != 0) state_ = static_cast<TSM_STATE>(cell.next);
    return (this->*actions_[cell.action])(arg);
}

// ---- actions ----------------------------------------------------------------------------------------

int DcTsm::writePdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    auto* pdu = static_cast<DcPdu*>(arg);
    (void)pdu->attach(sockConv_);
    return pdu->write();
}

int DcTsm::writeAbort(int source, int reason) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    DcPduAbort pdu(sockConv_);
    DcPduInfoAbort info{source, reason};
    (void)pdu.setInfo(&info);
    return pdu.write();
}

int DcTsm::readAssoPdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    auto* pdu = dynamic_cast<DcPduAssoAcRq*>(static_cast<DcPdu*>(arg));
    if (pdu == nullptr) return TSM_NULL_ARGUMENT;
    (void)pdu->attach(sockConv_);
    return pdu->read(PDU_BLOCK_WAIT);
}

int DcTsm::discardBody(void* arg) {
    auto* pdu = static_cast<DcPdu*>(arg);
    (void)pdu->attach(sockConv_);
    return orvkit::PduAccess::skipBody(*pdu, PDU_BLOCK_WAIT) == RESULT_OK ? RESULT_OK : DATATF_READ;
}

int DcTsm::AA_1_writeAbortPduScu(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    const int result = writeAbort(0, 0);
    artimStart();
    return result;
}

int DcTsm::AA_2_closeTransport(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    artimStop();
    closeSockConv();
    state_ = TSM_STATE_02_AWAIT_RQ;
    return TSM_CLOSED;
}

int DcTsm::AA_3_abortScpScuIndication(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    const bool server = connectionRole_ == 2;
    if (server) state_ = TSM_STATE_02_AWAIT_RQ;
    closeSockConv();
    return server ? TSM_ABORT_INDICATION : TSM_ABORT_CLIENT;
}

int DcTsm::AA_4_abortScpIndication(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    artimStop();
    closeSockConv();
    state_ = TSM_STATE_02_AWAIT_RQ;
    return TSM_ABORT_INDICATION;
}

int DcTsm::AA_5_artimStop(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    artimStop();
    return RESULT_OK;
}

int DcTsm::AA_6_ignorePdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    return arg == nullptr ? RESULT_OK : static_cast<DcPdu*>(arg)->iflush(nullptr, 0);
}

int DcTsm::AA_7_writeAbortPdu(void*) {
    return writeAbort(connectionRole_ == 1 ? 0 : 2, 2);
}

int DcTsm::AA_8_writeAbortPduScp(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    (void)writeAbort(2, 2);
    artimStart();
    return TSM_ABORT_INDICATION;
}

int DcTsm::AE_1_connectScu(void* arg) {
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    const auto* peer = static_cast<const TsmPeer*>(arg);
    return sockConvOpenClient(peer->host, peer->port);
}

int DcTsm::AE_2_writeAssoRqPdu(void* arg) {
    return writePdu(arg);
}
int DcTsm::AE_3_readAssoAcPdu(void* arg) {
    return readAssoPdu(arg);
}

// Also run for a request that arrives where its answer is expected: its body is read as a reject's.
int DcTsm::AE_4_readAssoRjPdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    DcPduAssoRj other;
    auto* pdu = dynamic_cast<DcPduAssoRj*>(static_cast<DcPdu*>(arg));
    if (pdu == nullptr) {
        pdu = &other;
        DcPduInfo info{maxPduLen_, static_cast<unsigned int>(timeouts_.readTimeout),
                       static_cast<unsigned int>(timeouts_.writeTimeout)};
        pdu->setInfo(info);
        orvkit::PduAccess::setReception(other, reception_);
    }
    (void)pdu->attach(sockConv_);
    (void)pdu->read(PDU_BLOCK_WAIT);
    closeSockConv();
    return RESULT_OK;
}

int DcTsm::AE_5_connectScp(void*) {
    return sockConvOpenServer(acceptMode_);
}
int DcTsm::AE_6_readAssoRqPdu(void* arg) {
    return readAssoPdu(arg);
}
int DcTsm::AE_7_writeAssoAcPdu(void* arg) {
    return writePdu(arg);
}

int DcTsm::AE_8_writeAssoRjPdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    const int result = writePdu(arg);
    artimStart();
    return result;
}

int DcTsm::AR_1_writeRelRqPdu(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    DcPduReleaseRq pdu(sockConv_);
    return pdu.write();
}

int DcTsm::AR_2_relIndication(void*) {
    return connectionRole_ == 0 ? TSM_NO_CONNECTION : TSM_RELEASE_INDICATION;
}

int DcTsm::AR_3_relConfirmation(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    closeSockConv();
    return TSM_RELEASE_CONFIRM;
}

int DcTsm::AR_4_writeRelRpPdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    const int result = AR_9_writeRelRpPdu(arg);
    artimStart();
    return result;
}

int DcTsm::AR_5_artimStop(void* arg) {
    return AA_5_artimStop(arg);
}

// Data that arrives after the request for release is of no use any more, but what follows it is.
int DcTsm::AR_6_dataIndication(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    const int result = arg == nullptr ? RESULT_OK : discardBody(arg);
    return result == RESULT_OK ? TSM_DATA_INDICATION : result;
}

int DcTsm::AR_7_writeDataTfPdu(void* arg) {
    return writePdu(arg);
}

int DcTsm::AR_8_relIndication(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    state_ = connectionRole_ == 1 ? TSM_STATE_09_COLLISION_SCU : TSM_STATE_10_COLLISION_SCP;
    return TSM_RELEASE_INDICATION;
}

int DcTsm::AR_9_writeRelRpPdu(void*) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    DcPduReleaseRp pdu(sockConv_);
    return pdu.write();
}

int DcTsm::AR_10_relConfirmation(void*) {
    return connectionRole_ == 0 ? TSM_NO_CONNECTION : TSM_RELEASE_CONFIRM;
}

int DcTsm::DT_1_writeDataTfPdu(void* arg) {
    return writePdu(arg);
}

int DcTsm::DT_2_readDataTfPdu(void* arg) {
    if (connectionRole_ == 0) return TSM_NO_CONNECTION;
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    auto* pdu = dynamic_cast<DcPduDataTf*>(static_cast<DcPdu*>(arg));
    if (pdu == nullptr) return TSM_NULL_ARGUMENT;
    (void)pdu->attach(sockConv_);
    return pdu->read(readDumpHandle_, PDU_BLOCK_WAIT);
}

int DcTsm::AE_0_none(void*) {
    return RESULT_OK;
}
