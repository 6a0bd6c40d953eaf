// The texts of DIMSE message types.
#include <algorithm>
#include <iterator>

#include "dictionary/builtin.h"
#include "dictionary/failures.h"
#include "foundation/text.h"
#include "orvkit/dict.h"

using namespace orvkit;

namespace {

struct MessageRow {
    DICT_MSG message;
    const char* text;
};

constexpr MessageRow messages[] = {
    {DICT_MSG_C_STORE_RQ, "C-STORE-RQ"},     {DICT_MSG_C_STORE_RSP, "C-STORE-RSP"},
    {DICT_MSG_C_GET_RQ, "C-GET-RQ"},         {DICT_MSG_C_GET_RSP, "C-GET-RSP"},
    {DICT_MSG_C_FIND_RQ, "C-FIND-RQ"},       {DICT_MSG_C_FIND_RSP, "C-FIND-RSP"},
    {DICT_MSG_C_MOVE_RQ, "C-MOVE-RQ"},       {DICT_MSG_C_MOVE_RSP, "C-MOVE-RSP"},
    {DICT_MSG_C_ECHO_RQ, "C-ECHO-RQ"},       {DICT_MSG_C_ECHO_RSP, "C-ECHO-RSP"},
    {DICT_MSG_C_CANCEL_RQ, "C-CANCEL-RQ"},   {DICT_MSG_N_EVENT_RQ, "N-EVENT-RQ"},
    {DICT_MSG_N_EVENT_RSP, "N-EVENT-RSP"},   {DICT_MSG_N_GET_RQ, "N-GET-RQ"},
    {DICT_MSG_N_GET_RSP, "N-GET-RSP"},       {DICT_MSG_N_SET_RQ, "N-SET-RQ"},
    {DICT_MSG_N_SET_RSP, "N-SET-RSP"},       {DICT_MSG_N_ACTION_RQ, "N-ACTION-RQ"},
    {DICT_MSG_N_ACTION_RSP, "N-ACTION-RSP"}, {DICT_MSG_N_CREATE_RQ, "N-CREATE-RQ"},
    {DICT_MSG_N_CREATE_RSP, "N-CREATE-RSP"}, {DICT_MSG_N_DELETE_RQ, "N-DELETE-RQ"},
    {DICT_MSG_N_DELETE_RSP, "N-DELETE-RSP"},
};
static_assert(std::size(messages) == 23);

}  // namespace

int DcDict::getDesc(DICT_MSG message, char* text) const {
    if (text == nullptr) return failNull("DcDict::getDesc");
    const auto* row = std::ranges::find(messages, message, &MessageRow::message);
    if (row == std::end(messages)) {
        *text = '\0';
        return failNoEnum("MSG", message, "DcDict::getDesc");
    }
    copyText(text, row->text, maxNameLength);
    return RESULT_OK;
}
