// DIMSE messages and commands (PS3.7): DcMsg, DcCmd, and a class for every request and response.
#ifndef ORVKIT_CMD_H
#define ORVKIT_CMD_H

#include "orvkit/datatf.h"
#include "orvkit/dict.h"
#include "orvkit/export.h"
#include "orvkit/tags.h"

// The values of the command field, DICT_MSG_C_STORE_RQ and so on, and the two that are none.
using CMD_TYPE = DICT_MSG;
using MSG_TYPE = DICT_MSG;
inline constexpr MSG_TYPE MSG_TYPE_UNKNOWN = static_cast<MSG_TYPE>(0);
inline constexpr MSG_TYPE MSG_TYPE_DATASET = static_cast<MSG_TYPE>(0xFFFF);  // no command: a data set

// Whether a data set follows the command.
enum CMD_DATASET : int {
    CMD_DATASET_ABSENT = 257,
    CMD_DATASET_PRESENT = 258,
    CMD_DATASET_EITHER = 259,
};

// What becomes of a command that lacks a parameter. Both kinds of required ones are checked; a conditional
// one is not.
enum CMD_USAGE : int {
    CMD_USAGE_CONDITIONAL = 0,
    CMD_USAGE_REQUIRED = 1,
    CMD_USAGE_REQUIRED_ALSO = 2,
    CMD_USAGE_OPTIONAL = 3,
};

// A parameter of a command. The tag TAG_LIST_END closes a list of them.
struct DcCmdParm {
    unsigned int tag;
    int usage;  // CMD_USAGE
};

// A message: a command, its elements in group 0000, and its data set if there is one, in one list; or a data
// set alone, as it was received. Copies are member-wise: they share elements, and only one of the two may be
// destroyed.
class ORVKIT_API DcMsg : public DcPduDataTf {
  public:
    DcMsg() = default;
    DcMsg(const DcMsg&) = default;
    DcMsg& operator=(const DcMsg&) = default;
    ~DcMsg() override;

    MSG_TYPE getType() const { return type_; }
    int getType(MSG_TYPE& type) const;
    // "C-STORE-RQ"; `text` needs room for 61 characters. RESULT_DICT_NOT_FOUND, and an empty text, for a type
    // without a name.
    int getDesc(char* text) const;
    // Sets the type by the command field (0000,0100), or to MSG_TYPE_DATASET where there is none. A value
    // that is no command makes it MSG_TYPE_UNKNOWN: MSG_COMMAND_TYPE (LOG_ERROR).
    int parseType();

  protected:
    explicit DcMsg(MSG_TYPE type) : type_(type) {}

  private:
    MSG_TYPE type_ = MSG_TYPE_UNKNOWN;
};

// A command. A new one holds its group length (0000,0000) and its command field (0000,0100).
class ORVKIT_API DcCmd : public DcMsg {
  public:
    DcCmd(const DcCmd&) = default;
    DcCmd& operator=(const DcCmd&) = default;
    ~DcCmd() override;

    // Completes and checks the command; writing it does this first. A missing message ID is generated. Each
    // other required parameter that is missing is told.
    // CMD_DATASET_RULE data set absent or present against the rule, CMD_FIELD_MISSING parameters missing
    // (both LOG_VALIDATION).
    int elemListVerify() override;
    // Fills a response from its request, on whose presentation context it will travel: tells each field that
    // the request lacks, and stops when that is its SOP class. Does nothing here.
    // RSP_FIELD_MISSING a field that is missing (LOG_ERROR), RSP_NULL_REQUEST null, RSP_WRONG_REQUEST another
    // command's request (LOG_VALIDATION); the responses to N-ACTION N_ACTION_FIELD_MISSING,
    // N_ACTION_NULL_REQUEST, N_ACTION_WRONG_REQUEST, to N-DELETE N_DELETE_FIELD_MISSING,
    // N_DELETE_NULL_REQUEST, N_DELETE_WRONG_REQUEST, to N-GET N_GET_FIELD_MISSING, N_GET_NULL_REQUEST,
    // N_GET_WRONG_REQUEST.
    virtual int parseRequest(DcCmd* request);
    // Replaces the parameter list by a copy of the caller's, which TAG_LIST_END closes. Null: no list; group
    // 0000 takes no elements then. Always 0.
    virtual int setParmList(const DcCmdParm* parms);

    using DcElemList::add;
    using DcMsg::getType;
    // The element belongs to the command from now on. Null for a null element, and for one that is refused
    // (and destroyed): outside group 0000 when the command has no data set.
    DcElem* add(DcElem* element);
    // Attaches a data set: moves every element over and destroys `dataset`, also when a command without data
    // set refuses it, with null. The result is only good as a test for null.
    DcElemList* add(DcElemList* dataset);
    using DcMsg::operator+;
    DcCmd& operator+(DcElem* element);
    DcCmd& operator+(DcElemList* dataset);

  protected:
    DcCmd(CMD_TYPE type, CMD_DATASET dataset);
    // One of the standard's commands, with its rule and parameter list.
    explicit DcCmd(CMD_TYPE type);
    // Generates a message ID if there is none.
    void completeMessageId();
    // parseRequest of the standard's responses.
    int fillFrom(DcCmd* request);

  private:
    void initialize(CMD_TYPE type);
    bool hasDataset() const;
    const char* refusalOf(const DcElem& first, const DcElem& last) const;

    DcCmdParm* parms_ = nullptr;  // owned
    CMD_DATASET dataset_;
};

// The commands of the standard (PS3.7 9.3, 10.3), requests before their responses. The constructor of a
// response from its request runs parseRequest; where its result matters, construct an empty response and call
// that yourself.

class ORVKIT_API DcCmdCStoreRq : public DcCmd {
  public:
    DcCmdCStoreRq() : DcCmd(DICT_MSG_C_STORE_RQ) {}
    DcCmdCStoreRq(const DcCmdCStoreRq&) = default;
    DcCmdCStoreRq& operator=(const DcCmdCStoreRq&) = default;
    ~DcCmdCStoreRq() override;
    // First takes from the data set what is missing: the SOP class, which must be registered, and the SOP
    // instance; a missing priority is medium. The result of reading the SOP class, or as above.
    int elemListVerify() override;
};

class ORVKIT_API DcCmdCStoreRsp : public DcCmd {
  public:
    DcCmdCStoreRsp() : DcCmd(DICT_MSG_C_STORE_RSP) {}
    explicit DcCmdCStoreRsp(DcCmdCStoreRq* request);
    DcCmdCStoreRsp(const DcCmdCStoreRsp&) = default;
    DcCmdCStoreRsp& operator=(const DcCmdCStoreRsp&) = default;
    ~DcCmdCStoreRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdCGetRq : public DcCmd {
  public:
    DcCmdCGetRq() : DcCmd(DICT_MSG_C_GET_RQ) {}
    DcCmdCGetRq(const DcCmdCGetRq&) = default;
    DcCmdCGetRq& operator=(const DcCmdCGetRq&) = default;
    ~DcCmdCGetRq() override;
};

class ORVKIT_API DcCmdCGetRsp : public DcCmd {
  public:
    DcCmdCGetRsp() : DcCmd(DICT_MSG_C_GET_RSP) {}
    explicit DcCmdCGetRsp(DcCmdCGetRq* request);
    DcCmdCGetRsp(const DcCmdCGetRsp&) = default;
    DcCmdCGetRsp& operator=(const DcCmdCGetRsp&) = default;
    ~DcCmdCGetRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdCFindRq : public DcCmd {
  public:
    DcCmdCFindRq() : DcCmd(DICT_MSG_C_FIND_RQ) {}
    DcCmdCFindRq(const DcCmdCFindRq&) = default;
    DcCmdCFindRq& operator=(const DcCmdCFindRq&) = default;
    ~DcCmdCFindRq() override;
};

class ORVKIT_API DcCmdCFindRsp : public DcCmd {
  public:
    DcCmdCFindRsp() : DcCmd(DICT_MSG_C_FIND_RSP) {}
    explicit DcCmdCFindRsp(DcCmdCFindRq* request);
    DcCmdCFindRsp(const DcCmdCFindRsp&) = default;
    DcCmdCFindRsp& operator=(const DcCmdCFindRsp&) = default;
    ~DcCmdCFindRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdCMoveRq : public DcCmd {
  public:
    DcCmdCMoveRq() : DcCmd(DICT_MSG_C_MOVE_RQ) {}
    DcCmdCMoveRq(const DcCmdCMoveRq&) = default;
    DcCmdCMoveRq& operator=(const DcCmdCMoveRq&) = default;
    ~DcCmdCMoveRq() override;
};

class ORVKIT_API DcCmdCMoveRsp : public DcCmd {
  public:
    DcCmdCMoveRsp() : DcCmd(DICT_MSG_C_MOVE_RSP) {}
    explicit DcCmdCMoveRsp(DcCmdCMoveRq* request);
    DcCmdCMoveRsp(const DcCmdCMoveRsp&) = default;
    DcCmdCMoveRsp& operator=(const DcCmdCMoveRsp&) = default;
    ~DcCmdCMoveRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdCEchoRq : public DcCmd {
  public:
    DcCmdCEchoRq() : DcCmd(DICT_MSG_C_ECHO_RQ) {}
    DcCmdCEchoRq(const DcCmdCEchoRq&) = default;
    DcCmdCEchoRq& operator=(const DcCmdCEchoRq&) = default;
    ~DcCmdCEchoRq() override;
    // A missing SOP class is Verification.
    int elemListVerify() override;
};

class ORVKIT_API DcCmdCEchoRsp : public DcCmd {
  public:
    DcCmdCEchoRsp() : DcCmd(DICT_MSG_C_ECHO_RSP) {}
    explicit DcCmdCEchoRsp(DcCmdCEchoRq* request);
    DcCmdCEchoRsp(const DcCmdCEchoRsp&) = default;
    DcCmdCEchoRsp& operator=(const DcCmdCEchoRsp&) = default;
    ~DcCmdCEchoRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdCCancelRq : public DcCmd {
  public:
    DcCmdCCancelRq() : DcCmd(DICT_MSG_C_CANCEL_RQ) {}
    DcCmdCCancelRq(const DcCmdCCancelRq&) = default;
    DcCmdCCancelRq& operator=(const DcCmdCCancelRq&) = default;
    ~DcCmdCCancelRq() override;
};

class ORVKIT_API DcCmdNEventRq : public DcCmd {
  public:
    DcCmdNEventRq() : DcCmd(DICT_MSG_N_EVENT_RQ) {}
    DcCmdNEventRq(const DcCmdNEventRq&) = default;
    DcCmdNEventRq& operator=(const DcCmdNEventRq&) = default;
    ~DcCmdNEventRq() override;
};

class ORVKIT_API DcCmdNEventRsp : public DcCmd {
  public:
    DcCmdNEventRsp() : DcCmd(DICT_MSG_N_EVENT_RSP) {}
    explicit DcCmdNEventRsp(DcCmdNEventRq* request);
    DcCmdNEventRsp(const DcCmdNEventRsp&) = default;
    DcCmdNEventRsp& operator=(const DcCmdNEventRsp&) = default;
    ~DcCmdNEventRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdNGetRq : public DcCmd {
  public:
    DcCmdNGetRq() : DcCmd(DICT_MSG_N_GET_RQ) {}
    DcCmdNGetRq(const DcCmdNGetRq&) = default;
    DcCmdNGetRq& operator=(const DcCmdNGetRq&) = default;
    ~DcCmdNGetRq() override;
};

class ORVKIT_API DcCmdNGetRsp : public DcCmd {
  public:
    DcCmdNGetRsp() : DcCmd(DICT_MSG_N_GET_RSP) {}
    explicit DcCmdNGetRsp(DcCmdNGetRq* request);
    DcCmdNGetRsp(const DcCmdNGetRsp&) = default;
    DcCmdNGetRsp& operator=(const DcCmdNGetRsp&) = default;
    ~DcCmdNGetRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdNSetRq : public DcCmd {
  public:
    DcCmdNSetRq() : DcCmd(DICT_MSG_N_SET_RQ) {}
    DcCmdNSetRq(const DcCmdNSetRq&) = default;
    DcCmdNSetRq& operator=(const DcCmdNSetRq&) = default;
    ~DcCmdNSetRq() override;
};

class ORVKIT_API DcCmdNSetRsp : public DcCmd {
  public:
    DcCmdNSetRsp() : DcCmd(DICT_MSG_N_SET_RSP) {}
    explicit DcCmdNSetRsp(DcCmdNSetRq* request);
    DcCmdNSetRsp(const DcCmdNSetRsp&) = default;
    DcCmdNSetRsp& operator=(const DcCmdNSetRsp&) = default;
    ~DcCmdNSetRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdNActionRq : public DcCmd {
  public:
    DcCmdNActionRq() : DcCmd(DICT_MSG_N_ACTION_RQ) {}
    DcCmdNActionRq(const DcCmdNActionRq&) = default;
    DcCmdNActionRq& operator=(const DcCmdNActionRq&) = default;
    ~DcCmdNActionRq() override;
};

class ORVKIT_API DcCmdNActionRsp : public DcCmd {
  public:
    DcCmdNActionRsp() : DcCmd(DICT_MSG_N_ACTION_RSP) {}
    explicit DcCmdNActionRsp(DcCmdNActionRq* request);
    DcCmdNActionRsp(const DcCmdNActionRsp&) = default;
    DcCmdNActionRsp& operator=(const DcCmdNActionRsp&) = default;
    ~DcCmdNActionRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdNCreateRq : public DcCmd {
  public:
    DcCmdNCreateRq() : DcCmd(DICT_MSG_N_CREATE_RQ) {}
    DcCmdNCreateRq(const DcCmdNCreateRq&) = default;
    DcCmdNCreateRq& operator=(const DcCmdNCreateRq&) = default;
    ~DcCmdNCreateRq() override;
};

class ORVKIT_API DcCmdNCreateRsp : public DcCmd {
  public:
    DcCmdNCreateRsp() : DcCmd(DICT_MSG_N_CREATE_RSP) {}
    explicit DcCmdNCreateRsp(DcCmdNCreateRq* request);
    DcCmdNCreateRsp(const DcCmdNCreateRsp&) = default;
    DcCmdNCreateRsp& operator=(const DcCmdNCreateRsp&) = default;
    ~DcCmdNCreateRsp() override;
    int parseRequest(DcCmd* request) override;
};

class ORVKIT_API DcCmdNDeleteRq : public DcCmd {
  public:
    DcCmdNDeleteRq() : DcCmd(DICT_MSG_N_DELETE_RQ) {}
    DcCmdNDeleteRq(const DcCmdNDeleteRq&) = default;
    DcCmdNDeleteRq& operator=(const DcCmdNDeleteRq&) = default;
    ~DcCmdNDeleteRq() override;
};

class ORVKIT_API DcCmdNDeleteRsp : public DcCmd {
  public:
    DcCmdNDeleteRsp() : DcCmd(DICT_MSG_N_DELETE_RSP) {}
    explicit DcCmdNDeleteRsp(DcCmdNDeleteRq* request);
    DcCmdNDeleteRsp(const DcCmdNDeleteRsp&) = default;
    DcCmdNDeleteRsp& operator=(const DcCmdNDeleteRsp&) = default;
    ~DcCmdNDeleteRsp() override;
    int parseRequest(DcCmd* request) override;
};

#endif
