// The transport: its settings and its connection.
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
#include "orvkit/util.h"
#include "platform/socket.h"

using namespace orvkit;
using platform::kNoSocket;

namespace {

std::mutex& artimMutex() {
    static std::mutex mutex;
    return mutex;
}
DcTsm* artimSlot = nullptr;

constexpr int kHandshakeTimeout = 15;  // seconds, where there is no connect time-out
constexpr int kMillisecondsMost = 2000000000;
// A time-out for the system: 0 and below wait for nothing.
int milliseconds(int seconds) {
    if (seconds <= 0) return 0;
    return seconds > kMillisecondsMost / 1000 ? kMillisecondsMost : seconds * 1000;
}

// Before a connection is the transport's: it is closed when this throws, and never goes on in clear.
void secureNext(Reception& reception, DcSecurity::End end, const DcTsmTimeoutInfo& timeouts) {
    reception.secures = reception.security != nullptr;
    if (!reception.secures) return;
    end.patience = milliseconds(timeouts.connectTimeout > 0 ? timeouts.connectTimeout : kHandshakeTimeout);
    reception.secured = DcSecurityInfo();
    putLayer(end.socket, reception.security->layer(end));
}

}  // namespace

void DcTsmTcpInfo::reset() {
    value[0] = value[1] = 0;
    for (unsigned int& word : handle) word = 0xFFFFFFFF;
    utilDelete(block);
    block = nullptr;
}

// ---- life -------------------------------------------------------------------------------------------

DcTsm::DcTsm(TSM_ROLE role, int port, DcTsmArtimCB artimCB)
    : role_(role), port_(port), artimCB_(artimCB), reception_(new Reception) {
    if ((role & TSM_ROLE_SCP) != 0) listenResult_ = sockListenOpen(port);
}

DcTsm::~DcTsm() {
    closeSockConv();
    clearArtim(this);
    sockListenRelease();
    delete reception_;
}

int DcTsm::sockListenOpen(int port) {
    if (sockListen_ != kNoSocket) return RESULT_OK;
    if (const int result = openListeningPort(port, sockListen_); result != RESULT_OK) return result;
    listening_ = true;
    port_ = port;
    return RESULT_OK;
}

void DcTsm::sockListenRelease() {
    if (listening_) leaveListeningPort(sockListen_);
    listening_ = false;
    sockListen_ = kNoSocket;
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
    if (sockConv_ != kNoSocket) {
        (void)platform::setSocketTimeouts(sockConv_, milliseconds(timeouts_.readTimeout),
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
    if (listener != kNoSocket && listener != sockListen_) {
        sockListenRelease();
        sockListen_ = listener;
        platform::Address own;
        // A user connects to the port that it was made with.
        if ((role_ & TSM_ROLE_SCU) == 0 && platform::ownAddress(listener, own)) {
            port_ = platform::addressPort(own);
        }
    }
    if (connection == kNoSocket || connection == sockConv_) return RESULT_OK;
    closeSockConv();
    platform::Address peer;
    (void)platform::peerAddress(connection, peer);
    std::memcpy(peerAddress_, peer.bytes, sizeof peerAddress_);
    peerAddressLen_ = peer.length;
    platform::adoptSocket(connection);
    const bool client = role == TSM_ROLE_SCU;
    secureNext(*reception_, {connection, client, nullptr, 0, 0}, timeouts_);
    if (client) (void)platform::startSockets();
    connected(client ? TSM_CONNECTION_CLIENT : TSM_CONNECTION_SERVER, connection);
    state_ = client ? TSM_STATE_04_AWAIT_CONNECTION : TSM_STATE_02_AWAIT_RQ;
    return RESULT_OK;
}

// ---- connections ------------------------------------------------------------------------------------

void DcTsm::connected(int connectionRole, unsigned int socket) {
    sockConv_ = socket;
    connectionRole_ = static_cast<TSM_CONNECTION>(connectionRole);
    delete currentPdu_;
    currentPdu_ = new DcPdu(socket, PDU_TYPE_NONE);
    PduAccess::setReception(*currentPdu_, reception_);
    (void)setTimeoutInfo();
}

int DcTsm::sockConvOpenClient(const char* host, int port) {
    namespace net = platform;
    constexpr const char* reporter = "DcTsm::sockConvOpenClient";
    if (sockConv_ != kNoSocket) return RESULT_OK;
    if (host == nullptr) return failNull(TSM_NULL_ARGUMENT, reporter, LOG_ERROR);
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
    secureNext(*reception_, {socket.get(), true, host, port, 0}, timeouts_);
    connected(TSM_CONNECTION_CLIENT, socket.release());
    // As long as the layer allows.
    const int result = secure(-1);
    if (result != RESULT_OK) closeSockConv();
    return result;
}

int DcTsm::sockConvOpenServer(TSM_BLOCK block) {
    namespace net = platform;
    if (sockConv_ != kNoSocket) return RESULT_OK;
    if (sockListen_ == kNoSocket) return TSM_LISTEN_LIMIT;
    const bool wait = block != TSM_BLOCK_POLL;
    net::Address peer;
    net::Socket socket =
        net::acceptSocket(sockListen_, peer, wait ? -1 : milliseconds(timeouts_.connectTimeout));
    if (!socket) return net::lastSocketError() == net::kTimedOut ? TSM_ACCEPT_TIMEOUT : TSM_ACCEPT;
    std::memcpy(peerAddress_, peer.bytes, sizeof peerAddress_);
    peerAddressLen_ = peer.length;
    secureNext(*reception_, {socket.get(), false, nullptr, 0, 0}, timeouts_);
    connected(TSM_CONNECTION_SERVER, socket.release());
    return RESULT_OK;
}

void DcTsm::closeSockConv() {
    if (sockConv_ != kNoSocket) {
        Connection connection(sockConv_);
        if (reception_->secures) (void)connection.describe(reception_->secured);
        connection.close();
        if (connectionRole_ == TSM_CONNECTION_CLIENT) platform::endSockets();
    }
    delete currentPdu_;
    currentPdu_ = nullptr;
    sockConv_ = kNoSocket;
    connectionRole_ = TSM_CONNECTION_NONE;
    artimStop();
}

int DcTsm::setSecurity(DcSecurity* security) {
    reception_->security = security;
    return RESULT_OK;
}

int DcTsm::secure(int milliseconds) {
    if (!isConnected()) return TSM_NO_CONNECTION;
    switch (Connection(sockConv_).open(milliseconds)) {
        case platform::Received::data:
            return RESULT_OK;
        case platform::Received::timeout:
            return DATATF_NOT_READY;
        default:
            return TSM_SECURITY;
    }
}

int DcTsm::getSecurityInfo(DcSecurityInfo& info) const {
    if (!reception_->secures) return TSM_NO_CONNECTION;
    info = reception_->secured;
    if (isConnected()) (void)Connection(sockConv_).describe(info);
    return RESULT_OK;
}

bool DcTsm::waitReadable(int milliseconds) const {
    return !isConnected() || Connection(sockConv_).waitReadable(milliseconds);
}

int DcTsm::peek(void* data, unsigned int length, unsigned int& count) const {
    count = 0;
    if (!isConnected()) return TSM_NO_CONNECTION;
    Connection connection(sockConv_);
    const std::int64_t seen = connection.peek(data, length);
    if (seen > 0) count = static_cast<unsigned int>(seen);
    if (count == length) return RESULT_OK;
    return seen == 0 || seen == -2 || connection.peerIsDone() ? TSM_NO_CONNECTION : DATATF_NOT_READY;
}

int DcTsm::readNextPduType(PDU_TYPE& type, PDU_BLOCK block) {
    if (!isConnected() || currentPdu_ == nullptr) return TSM_NO_CONNECTION;
    if (block != PDU_BLOCK_WAIT) {
        Connection connection(sockConv_);
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
