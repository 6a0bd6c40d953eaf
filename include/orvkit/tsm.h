// DcTsm: the TCP connection of one association and the state machine of the upper layer (PS3.8 9.2).
#ifndef ORVKIT_TSM_H
#define ORVKIT_TSM_H

#include <cstdint>

#include "orvkit/export.h"
#include "orvkit/pdu.h"
#include "orvkit/security.h"

// What a transport may be; bits.
enum TSM_ROLE : int {
    TSM_ROLE_NONE = 0,
    TSM_ROLE_SCP = 1,  // provider: listens on its port from construction
    TSM_ROLE_SCU = 2,  // user: may connect
    TSM_ROLE_SCP_SCU = 3,
};

// What a transport is connected as.
enum TSM_CONNECTION : int {
    TSM_CONNECTION_NONE = 0,
    TSM_CONNECTION_CLIENT = 1,
    TSM_CONNECTION_SERVER = 2,
};

// How accepting waits: for the connect time-out, or without end (any other value).
enum TSM_BLOCK : int { TSM_BLOCK_POLL = 0, TSM_BLOCK_WAIT = 1 };

// Sta1 to Sta13 of PS3.8 9.2.
enum TSM_STATE : int {
    TSM_STATE_01_IDLE = 1,
    TSM_STATE_02_AWAIT_RQ = 2,
    TSM_STATE_03_AWAIT_LOCAL_AC = 3,
    TSM_STATE_04_AWAIT_CONNECTION = 4,
    TSM_STATE_05_AWAIT_AC_RJ = 5,
    TSM_STATE_06_ASSOCIATED = 6,
    TSM_STATE_07_AWAIT_REL_RP = 7,
    TSM_STATE_08_AWAIT_LOCAL_REL_RP = 8,
    TSM_STATE_09_COLLISION_SCU = 9,
    TSM_STATE_10_COLLISION_SCP = 10,
    TSM_STATE_11_COLLISION_SCU_RP = 11,
    TSM_STATE_12_COLLISION_SCP_RP = 12,
    TSM_STATE_13_AWAIT_CLOSE = 13,
};

// Evt1 to Evt19 of PS3.8 9.2, counted from 0.
enum TSM_EVENT : int {
    TSM_EVENT_00_ASSO_REQUEST = 0,
    TSM_EVENT_01_CONNECTED = 1,
    TSM_EVENT_02_AC_PDU = 2,
    TSM_EVENT_03_RJ_PDU = 3,
    TSM_EVENT_04_CONNECTION_INDICATION = 4,
    TSM_EVENT_05_RQ_PDU = 5,
    TSM_EVENT_06_ACCEPT = 6,
    TSM_EVENT_07_REJECT = 7,
    TSM_EVENT_08_DATA_REQUEST = 8,
    TSM_EVENT_09_DATA_TF_PDU = 9,
    TSM_EVENT_10_RELEASE_REQUEST = 10,
    TSM_EVENT_11_RELEASE_RQ_PDU = 11,
    TSM_EVENT_12_RELEASE_RP_PDU = 12,
    TSM_EVENT_13_RELEASE_RESPONSE = 13,
    TSM_EVENT_14_ABORT_REQUEST = 14,
    TSM_EVENT_15_ABORT_PDU = 15,
    TSM_EVENT_16_CLOSED = 16,
    TSM_EVENT_17_ARTIM = 17,
    TSM_EVENT_18_INVALID_PDU = 18,
};

// Seconds.
struct ORVKIT_API DcTsmTimeoutInfo {
    DcTsmTimeoutInfo() = default;
    int connectTimeout = 15;  // connecting, and waiting for a connection without blocking
    int readTimeout = 45;     // each receive
    int writeTimeout = 15;    // each send; 0: without a bound
};

// Seven words that applications keep with a transport; it does not use them. Copied whole: `block` is then
// shared, and freed by the reset of one copy only.
struct ORVKIT_API DcTsmTcpInfo {
    DcTsmTcpInfo() = default;
    void reset();

    unsigned int value[2] = {0, 0};
    unsigned int handle[4] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
    unsigned char* block = nullptr;  // from utilNew
};

// The form of a multimedia timer's callback: timer, message, user value, two reserved values.
typedef void (*DcTsmArtimCB)(unsigned int timer, unsigned int message, std::uintptr_t user,
                             std::uintptr_t reserved1, std::uintptr_t reserved2);

// The listening ports of the process, shared by the transports that use the same port; entries of the three
// belong together. Look only: they are changed under a lock of the library's own.
inline constexpr int TSM_LISTEN_MAX = 4;
extern ORVKIT_API unsigned int DcScpSockListen[TSM_LISTEN_MAX];  // 0xFFFFFFFF free
extern ORVKIT_API int DcScpPort[TSM_LISTEN_MAX];                 // -1 free
extern ORVKIT_API int DcScpListenRefCount[TSM_LISTEN_MAX];       // transports that use the port

// A transport is used by one thread at a time; different transports by different threads at once, also on
// the same port. It owns its connection. A copy shares it, and only one of the two may be destroyed.
class ORVKIT_API DcTsm {
  public:
    // With the provider role, listens at once: see getListenResult. Port 0 lets the system choose one: see
    // getPort.
    DcTsm(TSM_ROLE role, int port, DcTsmArtimCB artimCB);
    DcTsm(const DcTsm&) = default;
    DcTsm& operator=(const DcTsm&) = default;
    virtual ~DcTsm();

    int getTimeoutInfo(DcTsmTimeoutInfo& info) const;
    // For this connection and the next ones. Always 0.
    int setTimeoutInfo(DcTsmTimeoutInfo& info);
    int setTimeoutInfo();  // the stored ones again
    // Bounds that hold whatever the peer sends, for this connection and the next ones. The read time-out is
    // for each wait alone: a peer that sends a byte now and then would hold its reader for days. Each is a
    // number of seconds, 0 or less for none (unless set), and one second more for every `bytesPerSecond`
    // bytes that have come; 0: bytes give no more time. Always 0.
    //
    // The waits for all parts of one PDU together, from its first byte on. A PDU that takes longer is one
    // that could not be read: DATATF_NOT_READY from reading it, which DcMsm tells as MSM_CLOSED and closes
    // the association.
    int setPduTimeout(int seconds, unsigned int bytesPerSecond = 0);
    // A call of DcMsm::read, receiveMessage or connect, until the whole message with its data set, or the
    // answer to the association request, has come: also where nothing is waited for because bytes come all
    // the time. DcMsm closes the association (LOG_ERROR) and gives MSM_READ_TIMEOUT.
    int setMessageTimeout(int seconds, unsigned int bytesPerSecond = 0);
    // Secures the next connections, those that are made, accepted and adopted alike; null: none any more. The
    // object stays the caller's, and outlives the transport. Always 0.
    //
    // The handshake of a connection that this transport makes belongs to connecting, within the connect
    // time-out. That of any other one goes on whenever something is to be received or sent, and as a whole
    // within the connect time-out (15 seconds where that is 0) from the beginning of the connection. A
    // connection whose handshake fails is as one that breaks.
    int setSecurity(DcSecurity* security);
    // Goes on with the handshake, for that many milliseconds at most: 0 it is done, or there is none;
    // DATATF_NOT_READY not yet; TSM_SECURITY it failed (LOG_ERROR); TSM_NO_CONNECTION.
    int secure(int milliseconds);
    // What is known of the connection, or of the last one after its end. TSM_NO_CONNECTION when it was not
    // to be secured.
    int getSecurityInfo(DcSecurityInfo& info) const;
    int getTcpInfo(DcTsmTcpInfo& info) const;
    int setTcpInfo(DcTsmTcpInfo info);
    // Adopts sockets that were opened elsewhere. The connection, if not 0xFFFFFFFF, becomes the transport's
    // as that of a user (SCU) or of a provider (any other role), in place of the one that it had; it closes
    // it. A listener, if not 0xFFFFFFFF, is used for accepting from now on; it stays the caller's to close.
    // Always 0.
    int setSockHandles(TSM_ROLE role, unsigned int connection, unsigned int listener);

    TSM_STATE getState() const { return state_; }
    // The port that a user connects to, and that this transport listens on; for a provider alone also that of
    // an adopted listener.
    int getPort() const { return port_; }
    // What became of listening at construction: 0, TSM_SOCKET_STARTUP to TSM_RESOLVE, TSM_SOCKET, TSM_BIND to
    // TSM_LISTEN (logged).
    int getListenResult() const { return listenResult_; }
    bool isConnected() const { return connectionRole_ != TSM_CONNECTION_NONE; }
    // Waits until something has come from the peer, or its connection has ended: false after that many
    // milliseconds (negative: without end), and when waiting fails. True without a connection.
    bool waitReadable(int milliseconds) const;
    // Looks at what comes next from the peer, 16384 bytes of it at most, without taking it or waiting:
    // `count` tells how many bytes are there. 0 as many as were asked for; DATATF_NOT_READY fewer;
    // TSM_NO_CONNECTION fewer, and nothing will come behind them.
    int peek(void* data, unsigned int length, unsigned int& count) const;

  protected:
    // One step: looks the event up for the state, moves on, runs the action. TSM_EVENT_RANGE event out of
    // range, else the result of the action: TSM_NO_CONNECTION no connection, TSM_NULL_ARGUMENT,
    // TSM_ABORT_INDICATION to TSM_CLOSED (outcomes), or that of reading or writing. The argument is a TsmPeer
    // for event 0 and a DcPdu otherwise, or null.
    int stateMachine(TSM_EVENT event, void* arg);
    // TSM_NO_CONNECTION no connection, or the result of DcPdu::readType. A PDU whose first byte has come is
    // waited for, also by a caller who polls.
    int readNextPduType(PDU_TYPE& type, PDU_BLOCK block);
    // TSM_SOCKET_STARTUP, TSM_RESOLVE, TSM_CONNECT (also when connecting takes longer than the connect
    // time-out), TSM_SOCKET, TSM_SECURITY the handshake failed.
    int sockConvOpenClient(const char* host, int port);
    // TSM_ACCEPT, TSM_LISTEN_LIMIT not listening, TSM_ACCEPT_TIMEOUT nobody connected in time.
    int sockConvOpenServer(TSM_BLOCK block);
    void closeSockConv();
    // Sends an A-ABORT over the connection (PS3.8 9.3.8). The result of the write.
    int writeAbort(int source, int reason);
    orvkit::Reception& reception() const { return *reception_; }

    struct TsmPeer {
        const char* host;
        int port;
    };

    TSM_ROLE role_;
    DcPdu* currentPdu_ = nullptr;  // owned: reads the types of the PDUs that arrive
    TSM_STATE state_ = TSM_STATE_01_IDLE;
    TSM_CONNECTION connectionRole_ = TSM_CONNECTION_NONE;
    TSM_BLOCK acceptMode_ = TSM_BLOCK_POLL;
    DcTsmTcpInfo tcpInfo_;
    int port_;
    unsigned int sockConv_ = 0xFFFFFFFF;
    unsigned int sockListen_ = 0xFFFFFFFF;
    int readDumpHandle_ = -1;  // receives the data of every P-DATA-TF; the application's
    unsigned int streamHandle_ = 0xFFFFFFFF;
    unsigned int maxPduLen_ = 524288;
    DcTsmTimeoutInfo timeouts_;
    unsigned char peerAddress_[128] = {};  // the system's record
    unsigned int peerAddressLen_ = 0;
    DcTsmArtimCB artimCB_;

    // The transport whose ARTIM timer was started last in this process; null when none.
    static DcTsm* artimTransport();
    static void clearArtim(const DcTsm* transport);

  private:
    // What an action cannot do without; a PDU only with a connection.
    enum class Needs : unsigned char { nothing, connection, pdu };
    struct ActionRow {
        const char* name;
        int (DcTsm::*member)(void* arg);
        Needs needs;
    };
    static const ActionRow actions_[29];

    int sockListenOpen(int port);
    void sockListenRelease();
    void connected(int connectionRole, unsigned int socket);
    void artimStart();
    void artimStop();
    int writePdu(void* arg);
    int readAssoPdu(void* arg);

    int AA_1_writeAbortPduScu(void* arg);
    int AA_2_closeTransport(void* arg);
    int AA_3_abortScpScuIndication(void* arg);
    int AA_4_abortScpIndication(void* arg);
    int AA_5_artimStop(void* arg);
    int AA_6_ignorePdu(void* arg);
    int AA_7_writeAbortPdu(void* arg);
    int AA_8_writeAbortPduScp(void* arg);
    int AE_1_connectScu(void* arg);
    int AE_2_writeAssoRqPdu(void* arg);
    int AE_3_readAssoAcPdu(void* arg);
    int AE_4_readAssoRjPdu(void* arg);
    int AE_5_connectScp(void* arg);
    int AE_6_readAssoRqPdu(void* arg);
    int AE_7_writeAssoAcPdu(void* arg);
    int AE_8_writeAssoRjPdu(void* arg);
    int AR_1_writeRelRqPdu(void* arg);
    int AR_2_relIndication(void* arg);
    int AR_3_relConfirmation(void* arg);
    int AR_4_writeRelRpPdu(void* arg);
    int AR_5_artimStop(void* arg);
    int AR_6_dataIndication(void* arg);
    int AR_7_writeDataTfPdu(void* arg);
    int AR_8_relIndication(void* arg);
    int AR_9_writeRelRpPdu(void* arg);
    int AR_10_relConfirmation(void* arg);
    int DT_1_writeDataTfPdu(void* arg);
    int DT_2_readDataTfPdu(void* arg);
    int AE_0_none(void* arg);

    int discardBody(void* arg);

    int listenResult_ = 0;
    bool listening_ = false;  // sockListen_ is an entry of the table that counts this transport
    bool artimStarted_ = false;
    orvkit::Reception* reception_;  // owned: what bounds the receiving
};

#endif
