// DcMsm: an application entity on the network. It opens associations as a service class user or answers
// them as a provider, negotiates presentation contexts (PS3.8 7.1, PS3.7 D.3) and exchanges DIMSE messages.
#ifndef ORVKIT_MSM_H
#define ORVKIT_MSM_H

#include "orvkit/cmd.h"
#include "orvkit/export.h"
#include "orvkit/tul.h"

enum MSM_BLOCK_READ : int { MSM_BLOCK_READ_POLL = 0, MSM_BLOCK_READ_WAIT = 1 };
enum MSM_BLOCK_CONNECT : int { MSM_BLOCK_CONNECT_POLL = 0, MSM_BLOCK_CONNECT_WAIT = 1 };

// Answer to a proposed presentation context (PS3.8 9.3.3.2).
enum PRES_CTX_AC_RESULT : int {
    PRES_CTX_AC_ACCEPT = 0,
    PRES_CTX_AC_USER_REJECTED = 1,
    PRES_CTX_AC_NO_REASON = 2,
    PRES_CTX_AC_SOP_REJECTED = 3,
    PRES_CTX_AC_XFER_SYN_REJECTED = 4,
    PRES_CTX_AC_NO_ANSWER = 5,
};

inline constexpr int MSM_SOP_MAX = 512;       // entries of a support list, and contexts of an association
inline constexpr int MSM_PROPOSAL_MAX = 128;  // presentation contexts that an association can propose
inline constexpr int MSM_XFER_SYN_MAX = 32;
inline constexpr int MSM_AE_ACCEPT_MAX = 64;
// In a provider's support list: every SOP class that the dictionary does not know, such as private ones.
// Those that peers propose get numbers of their own for the rest of the process, 1024 of them at most; DcDict
// answers for these numbers and their UIDs as for any other.
inline constexpr auto MSM_SOP_UNKNOWN = static_cast<DICT_UID>(-1);

// A presentation context to propose, or a SOP class and the transfer syntaxes to support, in order of
// preference.
struct ORVKIT_API DcMsmSopXferSyn {
    DcMsmSopXferSyn() = default;
    // Takes at most 32 transfer syntaxes from a list ended by 0; null means Implicit VR Little Endian.
    DcMsmSopXferSyn(DICT_UID sop, DICT_UID* xfers, TSM_ROLE role = TSM_ROLE_NONE);

    // 0 ends a list. A provider's entry whose 32 transfer syntaxes are not enough goes on in the next one, of
    // the same class.
    DICT_UID sopClass = static_cast<DICT_UID>(0);
    // Role selection (PS3.7 D.3.3.4). A user proposes these roles for itself; none: the default, SCU. A
    // provider grants of what was proposed only these; none: it does not answer role selection, so that the
    // default holds.
    TSM_ROLE role = TSM_ROLE_NONE;
    DICT_UID xferSyn[MSM_XFER_SYN_MAX + 1] = {};  // ended by 0
};

// Opening an association as a user. Texts and lists stay the caller's, and are needed during the call only.
struct ORVKIT_API DcMsmScuInfo {
    DcMsmScuInfo();

    const char* calledAeTitle = nullptr;  // at most 16 printable characters
    DcMsmSopXferSyn* sopList = nullptr;   // ended by SOP class 0; at most 128
    unsigned int maxPduLen = 0;           // to announce, in bytes; 0: the transport's (524288)
    DcTsmTimeoutInfo timeouts;
    const char* implClassUid;  // this library's, unless set
    const char* implVerName;
};

// Answering associations as a provider.
struct ORVKIT_API DcMsmScpInfo {
    DcMsmScpInfo();

    const char** callingAeTitles =
        nullptr;                         // ended by null; at most 64; checked when asked to (setAeTitleCheck)
    DcMsmSopXferSyn* sopList = nullptr;  // ended by SOP class 0
    DcTsmTimeoutInfo timeouts;
    const char* implClassUid;
    const char* implVerName;
    unsigned int maxPduLen = 0;  // to announce; 0: the transport's
};

// What was negotiated. Entries of the arrays belong together; a context that was not accepted has xferSyn 0.
struct ORVKIT_API DcMsmAssoInfo {
    unsigned char presCtxId[MSM_SOP_MAX] = {};
    DICT_UID xferSyn[MSM_SOP_MAX] = {};
    DICT_UID sopClass[MSM_SOP_MAX] = {};
    int result[MSM_SOP_MAX] = {};  // PRES_CTX_AC_RESULT
    int role[MSM_SOP_MAX] =
        {};           // 0 none negotiated; bits as DcMsmSopXferSyn::role, of the association's user
    int assoNum = 0;  // contexts proposed
    unsigned int maxPduLen = 0;  // of the peer; 0 no limit
    char implClassUid[65] = {};  // of the peer
    char implVerName[17] = {};
    char callingAeTitle[17] = {};
    char calledAeTitle[17] = {};
    char peerAddress[65] = {};
    DcPduInfoRj reject = {0, 0, 0};  // why the peer, or this side, rejected the association (PS3.8 9.3.4)
};

// A provider's look at a request whose titles are accepted and whose contexts have their answers (getAssoInfo
// tells them), before it is answered: the identity of its user and what else its negotiation() holds. What is
// to be answered of that goes into `answer`, which is empty. 0 accepts the association; any other result
// refuses it with `reject`, which holds "permanent, by the service user, no reason given" (1, 1, 1) and may
// be changed; PS3.8 9.3.4 has no reason for an identity of its own. Nothing else may be done with the object
// meanwhile.
typedef int (*DcMsmRequestCB)(void* user, DcPduAssoRq& request, DcPduNegotiation& answer,
                              DcPduInfoRj& reject);

// One object stands for one application entity in one or both roles; it is used by one thread at a time.
// Outcomes of the calls, to branch on: MSM_ABORTED aborted, MSM_ACCEPTED accepted, MSM_REJECTED rejected,
// MSM_REQUEST_ANSWERED request answered, MSM_MESSAGE message received, MSM_RELEASED release response,
// MSM_RELEASE_REQUESTED the peer asked for release (and has its answer), MSM_NO_CONNECTION no connection,
// MSM_READ_TIMEOUT nothing arrived within the read time-out, MSM_CLOSED closed after an error of the peer's,
// MSM_RECEIVE receiving failed, MSM_CONNECT_TIMEOUT nobody connected in time. When both sides ask for release
// at once, the user gets MSM_RELEASE_REQUESTED and then MSM_RELEASED; the provider answers after it has its
// own answer, and gets MSM_RELEASED alone.
class ORVKIT_API DcMsm : public DcTul {
  public:
    DcMsm(const char* aeTitle, TSM_ROLE role, int port);
    DcMsm(const DcMsm&) = default;
    DcMsm& operator=(const DcMsm&) = default;
    ~DcMsm() override;

    // User: connects, proposes and waits for the answer: MSM_ACCEPTED accepted, MSM_REJECTED rejected; 0 and
    // nothing sent when already connected. MSM_PRINT null host, MSM_SOP_CLASS no proposals or more than 128,
    // TUL_NOT_SCU without the user role, ELEM_ILLEGAL_CHAR bad identification, MSM_ABORTED, MSM_NO_CONNECTION
    // to MSM_RECEIVE, or the transport's code (TSM_SOCKET_STARTUP to TSM_SOCKET). After any result but
    // MSM_ACCEPTED, closeAssociation.
    int connect(const char* host, DcMsmScuInfo& info);
    // The same over a connected socket, which becomes the transport's.
    int connect(unsigned int socket, DcMsmScuInfo& info);
    // Provider: prepares the support table and accepts a connection, within the connect time-out (POLL) or
    // without end. 0; MSM_NO_SUPPORT_LIST empty support list, TUL_NOT_SCP without the provider role,
    // ELEM_ILLEGAL_CHAR, MSM_CONNECT_TIMEOUT, or the transport's code.
    int connect(DcMsmScpInfo& info, MSM_BLOCK_CONNECT block);
    int connect(unsigned int connection, unsigned int listener, DcMsmScpInfo& info, MSM_BLOCK_CONNECT block);

    // Acts on the next PDU. MSM_MESSAGE: `msg` receives a command, or a data set as a DcMsg of type 0xFFFF,
    // and `sop` the SOP class of its presentation context; the message is the caller's to delete. Otherwise
    // `msg` receives null. Either may be null when nothing is to be received.
    int read(DICT_UID* sop, DcMsg** msg, MSM_BLOCK_READ block, MSM_BLOCK_CONNECT connectBlock);
    // The next message with its data set, if its command announces one: its elements follow those of the
    // command in `msg`. The class of the object is that of the command (cmd.h).
    int receiveMessage(DICT_UID* sop, DcMsg** msg, MSM_BLOCK_READ block, MSM_BLOCK_CONNECT connectBlock);

    // Send a message; it stays the caller's and may be sent again. MSM_CONTEXT_ID unknown context,
    // MSM_CONTEXT_SYNTAX no accepted context for it, MSM_PRINT null, TSM_NO_CONNECTION the association has
    // ended, or the code of DcPduDataTf::write. After a failure in the middle of sending, the association is
    // closed.
    int write(unsigned char presCtxId, DcMsg* msg);
    // `xfer` 0: that of the message's Pixel Data, or Explicit VR Little Endian.
    int write(DICT_UID sop, DcMsg* msg, DICT_UID xfer = static_cast<DICT_UID>(0));
    int sendMessage(DICT_UID sop, DcMsg* msg, DICT_UID xfer = static_cast<DICT_UID>(0));
    // C-STORE-RQ of a Part 10 file as it is on disk. The codes of dirReadFileMetaInfo and of write.
    int sendMessage(const char* path);

    int releaseAssociation();
    int abortAssociation();
    int closeAssociation();

    // Negotiation beside contexts and roles (negotiation.h). Providers read what users send of it, and users
    // the answers, only after setTolerant(1).
    //
    // What the requests of a user carry, from the next one on.
    DcPduNegotiation& ownNegotiation();
    // What came with the peer's request or acceptance of this association, or the last one.
    const DcPduNegotiation& peerNegotiation() const;
    // Null ends it. Without a callback, or without an answer of its, a provider answers nothing: the defaults
    // of the service classes hold, and an identity has no confirmation. Always 0.
    int registerRequestCB(void* user, DcMsmRequestCB callback);

    int getAssoInfo(DcMsmAssoInfo& info) const;
    int printAssoInfo(const char* file, const char* mode);  // MSM_PRINT the file cannot be opened
    int getReadDumpHandle(int& handle) const;
    int setReadDumpHandle(int handle);
    int getStreamHandle(unsigned int& handle) const;
    unsigned int setStreamHandle(unsigned int handle);
    // Checks of an association request: 0 none; any other value: the called AE title must be this entity's;
    // bit 0: the calling AE title must be one of the accepted ones. 2 unless set.
    int setAeTitleCheck(int flags);

  private:
    int setAeTitle(const char* aeTitle);
    int setAeTitleAccept(const char** titles);
    int setSopSupport();
    int setSopXferAccept(DcMsmSopXferSyn* list);
    int acceptAssoInfo(DcPduInfoAcRq& info);
    int acceptAeTitle(DcPduInfoAcRq& info);
    int acceptSopXfer(const DcPduPresCtx& proposal, DICT_UID chosen[2], PRES_CTX_AC_RESULT& result,
                      int& role);
    int prepareScu(DcMsmScuInfo& info);
    int scuAssoRq(DcMsmScuInfo& info);
    int scuAssoAcRsp(DcPduAssoAc* pdu);
    int scpAssoRqRsp(DcPduAssoRq* pdu);
    int scpAssoRqRspAc(DcPduAssoRq* pdu, const DcPduInfoAcRq& request);
    int scpAssoRqRspRj(int result);
    int askApplication(DcPduAssoRq& request, DcPduAssoAc& answer, DcPduInfoRj& refusal);
    int reject(const DcPduInfoRj& info);
    int makeMsg(DcPduDataTf* pdu, DcMsg** msg, DICT_UID* sop);
    int processMsg(DcMsg& message);
    int actOn(DcPdu& pdu);
    int accept(MSM_BLOCK_CONNECT block);
    int propose(DcMsmScuInfo& info);
    int readNext(DICT_UID* sop, DcMsg** msg, MSM_BLOCK_READ block, MSM_BLOCK_CONNECT connectBlock);
    int outcome(int result, MSM_BLOCK_READ block);
    bool isTooLate(int result);
    void closeTransport();
    void resetAssoInfo();

    struct Own;  // support table, negotiated contexts, titles
    Own* own_;
};

#endif
