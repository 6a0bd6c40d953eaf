#include "network/cmd_table.h"

#include <algorithm>
#include <iterator>

#include "orvkit/result.h"

namespace orvkit {
namespace {

consteval unsigned int hexDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned int>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned int>(c - 'A' + 10);
    throw "not a digit";
}

consteval int usageOf(char letter) {
    switch (letter) {
        case 'R':
            return CMD_USAGE_REQUIRED;
        case 'O':
            return CMD_USAGE_OPTIONAL;
        case 'C':
            return CMD_USAGE_CONDITIONAL;
        default:
            throw "not a usage";
    }
}

// Element numbers of group 0000 and their usage, "0000R 0002R 1030O", as a parameter list.
consteval std::array<DcCmdParm, kMostParms> parms(const char* text) {
    std::array<DcCmdParm, kMostParms> list{};
    std::size_t count = 0;
    for (const char* c = text; *c != '\0';) {
        unsigned int element = 0;
        for (int i = 0; i < 4; ++i) element = element << 4 | hexDigit(*c++);
        list.at(count++) = {element, usageOf(*c++)};
        while (*c == ' ') ++c;
    }
    list.at(count) = {TAG_LIST_END, 0};
    return list;
}

template <typename Class>
DcCmd* make() {
    return new Class;
}

constexpr const char* kSopClass = "T_0000_0002_affectedSopClassUid";
constexpr const char* kMessageId = "T_0000_0110_messageId";
constexpr const char* kSopInstance = "T_0000_1000_affectedSopInstanceUid";

// clang-format off
//                                  request  response  name of a missing one
constexpr RspCopy kClassAndId[] = {{0x0002, 0x0002, kSopClass},
                                   {0x0110, 0x0120, kMessageId}};
constexpr RspCopy kStored[]     = {{0x0002, 0x0002, kSopClass},
                                   {0x0200, 0x0300, nullptr},  // initiator and receiver change places
                                   {0x0300, 0x0200, nullptr},
                                   {0x0110, 0x0120, kMessageId},
                                   {0x1000, 0x1000, kSopInstance}};
constexpr RspCopy kEvent[]      = {{0x0002, 0x0002, kSopClass},
                                   {0x0110, 0x0120, kMessageId},
                                   {0x1000, 0x1000, kSopInstance},
                                   {0x1002, 0x1002, "T_0000_1002_eventTypeId"}};
constexpr RspCopy kSet[]        = {{0x0110, 0x0120, kMessageId},
                                   {0x0003, 0x0002, kSopClass},  // told by the response's name
                                   {0x1001, 0x1000, "T_0000_1001_requestedSopInstanceUid"}};
constexpr RspCopy kAction[]     = {{0x0110, 0x0120, kMessageId},
                                   {0x1008, 0x1008, "T_0000_1008_actionTypeId"}};
constexpr RspCopy kCreated[]    = {{0x0110, 0x0120, kMessageId},
                                   {0x0002, 0x0002, kSopClass},
                                   {0x1000, 0x1000, nullptr}};  // the performer may choose the instance
constexpr RspCopy kId[]         = {{0x0110, 0x0120, kMessageId}};

constexpr RspCodes kCodes    = {RSP_FIELD_MISSING, RSP_NULL_REQUEST, RSP_WRONG_REQUEST};
constexpr RspCodes kNAction  = {N_ACTION_FIELD_MISSING, N_ACTION_NULL_REQUEST, N_ACTION_WRONG_REQUEST};
constexpr RspCodes kNDelete  = {N_DELETE_FIELD_MISSING, N_DELETE_NULL_REQUEST, N_DELETE_WRONG_REQUEST};
constexpr RspCodes kNGet     = {N_GET_FIELD_MISSING, N_GET_NULL_REQUEST, N_GET_WRONG_REQUEST};

constexpr CMD_DATASET absent = CMD_DATASET_ABSENT;
constexpr CMD_DATASET present = CMD_DATASET_PRESENT;
constexpr CMD_DATASET either = CMD_DATASET_EITHER;
constexpr CMD_TYPE none = static_cast<CMD_TYPE>(0);

// R required, O optional, C conditional. The retired fields 0001, 0200 and 0300 are listed so that they pass.
constexpr CmdRow kTable[] = {
    {DICT_MSG_C_STORE_RQ, present, parms("0000R 0002R 0100R 0110R 0200O 0300O 0700R 0800R 1000R 1030O 1031O"),
     make<DcCmdCStoreRq>, nullptr, none, {}, {}},
    {DICT_MSG_C_STORE_RSP, absent, parms("0000R 0001O 0002O 0100R 0120R 0200O 0300O 0800R 0900R 1000O"),
     make<DcCmdCStoreRsp>, "DcCmdCStoreRsp::parseRequest", DICT_MSG_C_STORE_RQ, kStored, kCodes},
    {DICT_MSG_C_GET_RQ, present, parms("0000R 0002R 0100R 0110R 0700R 0800R"),
     make<DcCmdCGetRq>, nullptr, none, {}, {}},
    {DICT_MSG_C_GET_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1020C 1021C 1022C 1023C"),
     make<DcCmdCGetRsp>, "DcCmdCGetRsp::parseRequest", DICT_MSG_C_GET_RQ, kClassAndId, kCodes},
    {DICT_MSG_C_FIND_RQ, present, parms("0000R 0002R 0100R 0110R 0700R 0800R"),
     make<DcCmdCFindRq>, nullptr, none, {}, {}},
    {DICT_MSG_C_FIND_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R"),
     make<DcCmdCFindRsp>, "DcCmdCFindRsp::parseRequest", DICT_MSG_C_FIND_RQ, kClassAndId, kCodes},
    {DICT_MSG_C_MOVE_RQ, present, parms("0000R 0002R 0100R 0110R 0600R 0700R 0800R"),
     make<DcCmdCMoveRq>, nullptr, none, {}, {}},
    {DICT_MSG_C_MOVE_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1020C 1021C 1022C 1023C"),
     make<DcCmdCMoveRsp>, "DcCmdCMoveRsp::parseRequest", DICT_MSG_C_MOVE_RQ, kClassAndId, kCodes},
    {DICT_MSG_C_ECHO_RQ, absent, parms("0000R 0002R 0100R 0110R 0800R"),
     make<DcCmdCEchoRq>, nullptr, none, {}, {}},
    {DICT_MSG_C_ECHO_RSP, absent, parms("0000R 0002O 0100R 0120R 0800R 0900R"),
     make<DcCmdCEchoRsp>, "DcCmdCEchoRsp::parseRequest", DICT_MSG_C_ECHO_RQ, kClassAndId, kCodes},
    {DICT_MSG_C_CANCEL_RQ, absent, parms("0000R 0100R 0110R 0800R"),
     make<DcCmdCCancelRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_EVENT_RQ, either, parms("0000R 0002R 0100R 0110R 0800R 1000R 1002R"),
     make<DcCmdNEventRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_EVENT_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1002C"),
     make<DcCmdNEventRsp>, "DcCmdNEventRsp::parseRequest", DICT_MSG_N_EVENT_RQ, kEvent, kCodes},
    {DICT_MSG_N_GET_RQ, absent, parms("0000R 0003R 0100R 0110R 0800R 1001R 1005O"),
     make<DcCmdNGetRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_GET_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1000O"),
     make<DcCmdNGetRsp>, "DcCmdNGetRsp::parseRequest", DICT_MSG_N_GET_RQ, kId, kNGet},
    {DICT_MSG_N_SET_RQ, present, parms("0000R 0003R 0100R 0110R 0800R 1001R"),
     make<DcCmdNSetRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_SET_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1000O"),
     make<DcCmdNSetRsp>, "DcCmdNSetRsp::parseRequest", DICT_MSG_N_SET_RQ, kSet, kCodes},
    {DICT_MSG_N_ACTION_RQ, either, parms("0000R 0003O 0100R 0110R 0800R 1001R 1008R"),
     make<DcCmdNActionRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_ACTION_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1000O 1008C"),
     make<DcCmdNActionRsp>, "DcCmdNActionRsp::parseRequest", DICT_MSG_N_ACTION_RQ, kAction, kNAction},
    {DICT_MSG_N_CREATE_RQ, present, parms("0000R 0002R 0100R 0110R 0800R 1000O"),
     make<DcCmdNCreateRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_CREATE_RSP, either, parms("0000R 0002O 0100R 0120R 0800R 0900R 1000C"),
     make<DcCmdNCreateRsp>, "DcCmdNCreateRsp::parseRequest", DICT_MSG_N_CREATE_RQ, kCreated, kCodes},
    {DICT_MSG_N_DELETE_RQ, absent, parms("0000R 0003R 0100R 0110R 0800R 1001R"),
     make<DcCmdNDeleteRq>, nullptr, none, {}, {}},
    {DICT_MSG_N_DELETE_RSP, absent, parms("0000R 0002O 0100R 0120R 0800R 0900R 1000O"),
     make<DcCmdNDeleteRsp>, "DcCmdNDeleteRsp::parseRequest", DICT_MSG_N_DELETE_RQ, kId, kNDelete},
};
// clang-format on
static_assert(std::size(kTable) == 23);

}  // namespace

std::span<const CmdRow> cmdTable() {
    return kTable;
}

const CmdRow* cmdRow(int type) {
    const auto* row =
        std::ranges::find(kTable, type, [](const CmdRow& r) { return static_cast<int>(r.type); });
    return row != std::end(kTable) ? row : nullptr;
}

}  // namespace orvkit
