// The PDUs of the upper layer (PS3.8 9.3) that set up, refuse, release and abort an association, and their
// base. A PDU object lives for one PDU. Integers on the wire are big-endian; lengths count bytes.
#ifndef ORVKIT_PDU_H
#define ORVKIT_PDU_H

#include "orvkit/export.h"
#include "orvkit/negotiation.h"
#include "orvkit/uids.h"

namespace orvkit {
struct PduAccess;
class Reception;
}  // namespace orvkit

// The type byte on the wire; 0 is no PDU.
enum PDU_TYPE : int {
    PDU_TYPE_NONE = 0,
    PDU_TYPE_ASSO_RQ = 1,
    PDU_TYPE_ASSO_AC = 2,
    PDU_TYPE_ASSO_RJ = 3,
    PDU_TYPE_DATA_TF = 4,
    PDU_TYPE_RELEASE_RQ = 5,
    PDU_TYPE_RELEASE_RP = 6,
    PDU_TYPE_ABORT = 7,
    PDU_TYPE_INVALID = 255,  // a type byte of 0 or above 7
};

// How a read waits: for each chunk up to the read time-out, or not at all (any other value than WAIT).
enum PDU_BLOCK : int { PDU_BLOCK_POLL = 0, PDU_BLOCK_WAIT = 1 };

// Items and sub-items of the association PDUs (PS3.8 9.3.2, D.3).
enum PDU_ASSO_ITEM : int {
    PDU_ASSO_ITEM_APP_CTX = 0x10,
    PDU_ASSO_ITEM_PRES_RQ = 0x20,
    PDU_ASSO_ITEM_PRES_AC = 0x21,
    PDU_ASSO_ITEM_ABST_SYN = 0x30,
    PDU_ASSO_ITEM_XFER_SYN = 0x40,
    PDU_ASSO_ITEM_USER_INFO = 0x50,
    PDU_ASSO_ITEM_MAX_LEN = 0x51,
    PDU_ASSO_ITEM_IMPL_CLASS_UID = 0x52,
    PDU_ASSO_ITEM_ASYNC_OPS = 0x53,  // read and ignored, never written
    PDU_ASSO_ITEM_ROLE_SEL = 0x54,
    PDU_ASSO_ITEM_IMPL_VER_NAME = 0x55,
    PDU_ASSO_ITEM_SOP_EXT_NEG = 0x56,        // read and ignored, unless the reader is tolerant
    PDU_ASSO_ITEM_COMMON_EXT_NEG = 0x57,     // this and the following are refused, unless it is
    PDU_ASSO_ITEM_IDENTITY = 0x58,           // in a request
    PDU_ASSO_ITEM_IDENTITY_RESPONSE = 0x59,  // in its answer
    PRES_CTX_TYPE_RQ = PDU_ASSO_ITEM_PRES_RQ,
    PRES_CTX_TYPE_AC = PDU_ASSO_ITEM_PRES_AC,
};

// Bit 0 dumps every received PDU, bit 1 every sent one, each to a file "_pdu.<thread>.<number>.<code>.rcv" or
// ".snd" in the current directory. One counter numbers both directions, for the whole process. In items 58H
// and 59H, asterisks take the place of passcodes, tickets, assertions, tokens and of what confirms them.
extern ORVKIT_API int PduDumpFlag;

inline constexpr unsigned int PDU_SOCKET_NONE = 0xFFFFFFFF;
inline constexpr int PDU_PRES_CTX_MAX = 512;  // presentation contexts, and role selections, of a PDU
inline constexpr int PDU_XFER_SYN_MAX = 32;   // transfer syntaxes of a presentation context
// The largest association PDU: fixed part, application context, full contexts with UIDs of 64 characters, and
// user information.
inline constexpr unsigned int PDU_FRAME_ROOM =
    74 + 68 + PDU_PRES_CTX_MAX * (8 + 68 + PDU_XFER_SYN_MAX * 68) + (4 + PDU_USER_INFO_MAX);

struct DcPduInfo {
    unsigned int maxPduLen;
    unsigned int readTimeout;   // seconds
    unsigned int writeTimeout;  // seconds; of the connection, and of sockets that do not block
};

// The association data of an A-ASSOCIATE-RQ or -AC (PS3.8 9.3.2, 9.3.3). Texts hold one character more than
// their limit, for the NUL.
struct ORVKIT_API DcPduInfoAcRq {
    char calledAeTitle[17] = {};
    char callingAeTitle[17] = {};
    char appCtxName[65] = {};
    unsigned int maxPduLen = 0;  // what the sender of this PDU accepts as P-DATA-TF; 0 means no limit
    char implClassUid[65] = {};
    char implVerName[17] = {};
};

// Reject (PS3.8 9.3.4): result 1 permanent, 2 transient; source 1 service user, 2 provider (ACSE), 3 provider
// (presentation).
struct DcPduInfoRj {
    int result;
    int source;
    int reason;
};

// Abort (PS3.8 9.3.8): source 0 service user, 2 service provider.
struct DcPduInfoAbort {
    int source;
    int reason;
};

// One presentation context of a request or its answer.
struct ORVKIT_API DcPduPresCtx {
    // Appends a transfer syntax; one beyond PDU_XFER_SYN_MAX does nothing.
    void addXferSyn(DICT_UID xferSyn);

    int itemType = 0;                                    // PRES_CTX_TYPE_RQ or PRES_CTX_TYPE_AC
    int presCtxId = 0;                                   // odd, 1 to 255; not checked here
    DICT_UID abstractSyntax = static_cast<DICT_UID>(0);  // 0 when none
    int result = 5;  // of an answer: 0 accepted, 1 user rejection, 2 no reason, 3 abstract syntax, 4 transfer
                     // syntaxes not supported; 5 not answered
    int role = 0;    // bit 1 (2) SCU, bit 0 (1) SCP; 0 no role selection
    DICT_UID xferSyn[PDU_XFER_SYN_MAX] = {};  // filled from the front, ended by the first 0
    int xferSynEnd = 0;                       // always 0: ends a full list
};

// Role selection of an abstract syntax (PS3.7 D.3.3.4); bits as DcPduPresCtx::role.
struct DcPduScpScuRole {
    DICT_UID abstractSyntax;
    int role;
};

// The base of every PDU: its type and its connection. The socket belongs to others and is never closed here.
class ORVKIT_API DcPdu {
  public:
    DcPdu();
    explicit DcPdu(PDU_TYPE type);
    DcPdu(unsigned int sockConv, PDU_TYPE type);
    // Copy all fields.
    DcPdu(const DcPdu&) = default;
    DcPdu& operator=(const DcPdu&) = default;

  protected:
    // Frames the whole PDU and sets its length; `buf` holds PDU_FRAME_ROOM bytes, or the maximum if that is
    // more. This one frames nothing.
    virtual int frameAsso(unsigned char* buf);

  public:
    virtual ~DcPdu();
    // Frames and sends in one call. A socket that does not block, and has no time-out for sends, is waited
    // for up to the write time-out (0: without end). DATATF_SOCKET not sent, ELEM_NO_MEMORY, or the code of
    // framing.
    virtual int write();

    // Sets the socket only where none is attached. Always 0.
    int attach(unsigned int sockConv);
    unsigned int getSockConv() const { return sockConv_; }
    void setSockConv(unsigned int sockConv) { sockConv_ = sockConv; }
    PDU_TYPE getType() const { return type_; }
    void setInfo(DcPduInfo& info);
    // Reads the first two bytes of the next PDU. A type byte out of range is PDU_TYPE_INVALID, with result 0.
    // DATATF_NOT_READY nothing arrived in time, DATATF_SOCKET closed or failed: `type` is PDU_TYPE_INVALID
    // then.
    int readType(PDU_TYPE& type, PDU_BLOCK block);
    // Does nothing, returns 0.
    int iflush(unsigned char* buf, int length);

  protected:
    // The length of the whole PDU, its header of 6 bytes included.
    unsigned int getLength() const { return length_; }
    void setLength(unsigned int length) { length_ = length; }
    unsigned int getProtocolVersion() const { return protocolVersion_; }

    // The length field behind the type.
    int readLength(unsigned int& bodyLength, PDU_BLOCK block);
    // Reads exactly `len` bytes; `len` receives the number read. DATATF_NOT_READY, DATATF_SOCKET as above.
    // Each wait has the read time-out; DcTsm::setPduTimeout and setMessageTimeout bound them together
    // (DATATF_NOT_READY).
    int readBuf(unsigned char* buf, unsigned int& len, PDU_BLOCK block);
    // The same into a new block, which the caller frees with utilDelete. The block grows as bytes arrive,
    // from at most 1 MiB: an announced length costs nothing. Null on failure; ELEM_NO_MEMORY.
    int readBlock(unsigned char*& data, unsigned int len, PDU_BLOCK block);
    // The rest of the PDU after its type: its length, then its bytes, in a new block for the caller to free
    // with utilDelete. Null on failure, and for more bytes than DcTul::setReceiveLimit allows (LOG_ERROR).
    unsigned char* readBody(PDU_BLOCK block);
    unsigned char* readBody(unsigned int len, PDU_BLOCK block);
    // The rest of a PDU of which only the first `room` bytes matter: those go to `start` (zeros where the PDU
    // is shorter), what follows is read and forgotten.
    int readStart(unsigned char* start, unsigned int room, unsigned int& bodyLength, PDU_BLOCK block);

  private:
    friend struct orvkit::PduAccess;

    PDU_TYPE type_;
    unsigned int length_ = 0;
    unsigned int sockConv_;
    unsigned int protocolVersion_ = 1;
    unsigned int maxPduLen_ = 524288;  // also the most that is asked of one receive
    unsigned int readTimeout_ = 45;
    unsigned int writeTimeout_ = 15;
    orvkit::Reception* reception_ = nullptr;  // of the transport that reads it; not owned

    int patience(PDU_BLOCK block) const;
    int sendPatience() const;  // milliseconds, where the socket does not block; -1 without end
};

// A-ASSOCIATE-RQ and -AC. Owns its data; copies share it (only one of the two may be destroyed).
class ORVKIT_API DcPduAssoAcRq : public DcPdu {
  public:
    explicit DcPduAssoAcRq(PDU_TYPE type);
    DcPduAssoAcRq(unsigned int sockConv, PDU_TYPE type);
    DcPduAssoAcRq(const DcPduAssoAcRq&) = default;
    DcPduAssoAcRq& operator=(const DcPduAssoAcRq&) = default;
    ~DcPduAssoAcRq() override;

    using DcPdu::setInfo;
    int setInfo(DcPduInfoAcRq* info);  // ACRQ_NULL_ARGUMENT null
    int getInfo(DcPduInfoAcRq* info);  // ACRQ_INVALID no data yet, ACRQ_NULL_ARGUMENT null
    // The rest of the PDU after readType. ACRQ_INVALID malformed, or not read in full; what was read before
    // the fault stays.
    int read(PDU_BLOCK block);
    // Not 0: items and sub-items of types that are not known are stepped over wherever they stand (PS3.8
    // 9.3.1), and those of types 56H to 59H are read into negotiation(). One of 57H to 59H whose lengths do
    // not add up, and a second 58H or 59H, makes the PDU malformed; a damaged 56H is ignored, and so is a 59H
    // in a request, and a 57H or 58H in an answer. 0 unless set. Always 0.
    int setTolerant(int flag);
    // What was read of such items, and what is written: in a request all but the identity response, in an
    // answer the extended negotiation and the identity response.
    DcPduNegotiation& negotiation();
    const DcPduNegotiation& negotiation() const;

    // Puts a copy into the first free slot. ACRQ_INVALID of another PDU's kind, ACRQ_NULL_ARGUMENT null,
    // ACRQ_CONTEXT_EXISTS ID already there, ACRQ_CONTEXT_LIMIT full.
    int presCtxItemAdd(DcPduPresCtx* context);
    // Copies of all PDU_PRES_CTX_MAX slots, for the caller to delete; null for an empty slot. Always 0,
    // ACRQ_NULL_ARGUMENT null.
    int getPresCtxList(DcPduPresCtx** contexts) const;
    int deletePresCtxList();
    // All PDU_PRES_CTX_MAX entries of the role table, filled from the front. Always 0, ACRQ_NULL_ARGUMENT
    // null.
    int getScpScuRoleList(DcPduScpScuRole* roles) const;

  protected:
    int frameAsso(unsigned char* buf) override;
    // Frames one context at `buf`, which has room for a full one. ACRQ_INVALID; nothing is written then.
    int presCtxItemFrame(DcPduPresCtx* context, unsigned char* buf, unsigned int& length);
    // Checks the order and the lengths of all items of a variable part, and counts the presentation contexts.
    int varItemWalk(unsigned char* buf, unsigned int length, int& contexts);
    // Parse one item at `item`, which must not reach beyond `room` bytes. `used` receives the bytes up to the
    // next item.
    int parsePresCtxItem(unsigned char* item, unsigned int room, DcPduPresCtx* context, unsigned int& used);
    // `text` holds maxLength + 1 bytes and receives the stripped text, `length` the length on the wire.
    int parseSubItem(unsigned char* item, unsigned int room, int type, unsigned int maxLength, char* text,
                     unsigned int& length);
    int parseScpScuRole(unsigned char* item, unsigned int room, unsigned int maxLength);

  private:
    friend struct orvkit::PduAccess;

    struct Body;  // role table, association data and presentation contexts

    int parseVariable(unsigned char* part, unsigned int length);
    int parseUserInfo(unsigned char* part, unsigned int length);
    int parseNegotiation(unsigned char* item, unsigned int room);

    Body* body_;  // owned
};

class ORVKIT_API DcPduAssoRq : public DcPduAssoAcRq {
  public:
    DcPduAssoRq() : DcPduAssoAcRq(PDU_TYPE_ASSO_RQ) {}
    explicit DcPduAssoRq(unsigned int sockConv) : DcPduAssoAcRq(sockConv, PDU_TYPE_ASSO_RQ) {}
};

class ORVKIT_API DcPduAssoAc : public DcPduAssoAcRq {
  public:
    DcPduAssoAc() : DcPduAssoAcRq(PDU_TYPE_ASSO_AC) {}
    explicit DcPduAssoAc(unsigned int sockConv) : DcPduAssoAcRq(sockConv, PDU_TYPE_ASSO_AC) {}
};

// A-ASSOCIATE-RJ. The getters give 0 until data is set or read.
class ORVKIT_API DcPduAssoRj : public DcPdu {
  public:
    DcPduAssoRj() : DcPdu(PDU_TYPE_ASSO_RJ) {}
    explicit DcPduAssoRj(unsigned int sockConv) : DcPdu(sockConv, PDU_TYPE_ASSO_RJ) {}
    DcPduAssoRj(const DcPduAssoRj&) = default;
    DcPduAssoRj& operator=(const DcPduAssoRj&) = default;
    ~DcPduAssoRj() override;

    using DcPdu::setInfo;
    int setInfo(DcPduInfoRj* info);  // RJ_NULL_ARGUMENT null
    int read(PDU_BLOCK block);       // RJ_ABSENT
    int getResult() const { return info_ ? info_->result : 0; }
    int getSource() const { return info_ ? info_->source : 0; }
    int getReason() const { return info_ ? info_->reason : 0; }

  protected:
    int frameAsso(unsigned char* buf) override;  // RJ_ABSENT without data

  private:
    DcPduInfoRj* info_ = nullptr;  // owned
};

// A-RELEASE-RQ and -RP, without data of their own.
class ORVKIT_API DcPduReleaseRpRq : public DcPdu {
  public:
    explicit DcPduReleaseRpRq(PDU_TYPE type) : DcPdu(type) {}
    DcPduReleaseRpRq(unsigned int sockConv, PDU_TYPE type) : DcPdu(sockConv, type) {}
    ~DcPduReleaseRpRq() override;

    int read(PDU_BLOCK block);  // RELEASE_READ

  protected:
    int frameAsso(unsigned char* buf) override;
};

class ORVKIT_API DcPduReleaseRq : public DcPduReleaseRpRq {
  public:
    DcPduReleaseRq() : DcPduReleaseRpRq(PDU_TYPE_RELEASE_RQ) {}
    explicit DcPduReleaseRq(unsigned int sockConv) : DcPduReleaseRpRq(sockConv, PDU_TYPE_RELEASE_RQ) {}
};

class ORVKIT_API DcPduReleaseRp : public DcPduReleaseRpRq {
  public:
    DcPduReleaseRp() : DcPduReleaseRpRq(PDU_TYPE_RELEASE_RP) {}
    explicit DcPduReleaseRp(unsigned int sockConv) : DcPduReleaseRpRq(sockConv, PDU_TYPE_RELEASE_RP) {}
};

// A-ABORT. Writing puts source and reason into bytes 8 and 9 (PS3.8 9.3.8); reading takes them from bytes 6
// and 7, which peers leave zero: applications are used to both. The getters give 0 until data is set or read.
class ORVKIT_API DcPduAbort : public DcPdu {
  public:
    DcPduAbort() : DcPdu(PDU_TYPE_ABORT) {}
    explicit DcPduAbort(unsigned int sockConv) : DcPdu(sockConv, PDU_TYPE_ABORT) {}
    DcPduAbort(const DcPduAbort&) = default;
    DcPduAbort& operator=(const DcPduAbort&) = default;
    ~DcPduAbort() override;

    using DcPdu::setInfo;
    int setInfo(DcPduInfoAbort* info);  // ABORT_NULL_ARGUMENT null
    int read(PDU_BLOCK block);          // ABORT_READ
    int getSource() const { return info_ ? info_->source : 0; }
    int getReason() const { return info_ ? info_->reason : 0; }

  protected:
    // ABORT_ABSENT without data; a reason of source 0 is written as 0
    int frameAsso(unsigned char* buf) override;

  private:
    DcPduInfoAbort* info_ = nullptr;  // owned
};

#endif
