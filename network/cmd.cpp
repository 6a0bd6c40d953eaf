// DcMsg and DcCmd: types, parameters, what may be added, and the check before sending.
#include "orvkit/cmd.h"

#include <algorithm>

#include "dataset/elemlist_access.h"
#include "foundation/fail.h"
#include "network/cmd_table.h"
#include "network/pdu_access.h"

using namespace orvkit;

namespace {

constexpr unsigned int kGroupLength = 0x00000000;
constexpr DcCmdParm kMinimalParms[] = {
    {kGroupLength, CMD_USAGE_REQUIRED}, {T_0000_0100_commandField, CMD_USAGE_REQUIRED}, {TAG_LIST_END, 0}};

bool inGroup0000(const DcElem& e) {
    return ElemAccess::tag(e) <= 0xFFFF;
}

// Texts keep UIDs that no dictionary knows.
bool isSopClass(unsigned int tag) {
    return tag == T_0000_0002_affectedSopClassUid || tag == T_0000_0003_requestedSopClassUid;
}

int copyField(const DcElemList& from, unsigned int tag, DcCmd& to, unsigned int toTag) {
    if (Dict.facts(tag).vr == VR_US) {
        unsigned short number = 0;
        const int result = ElemListAccess::firstValue(from, tag, number);
        if (result == RESULT_OK) (void)to.add(new DcElem(toTag, number));
        return result;
    }
    char text[65] = "";
    const int result = ElemListAccess::firstValue(from, tag, text, 64);
    if (result == RESULT_OK) (void)to.add(new DcElem(toTag, text));
    return result;
}

}  // namespace

// ---- DcMsg ------------------------------------------------------------------------------------------------

DcMsg::~DcMsg() = default;

int DcMsg::getType(MSG_TYPE& type) const {
    type = type_;
    return RESULT_OK;
}

int DcMsg::getDesc(char* text) const {
    return Dict.getDesc(type_, text);
}

int DcMsg::parseType() {
    if (ElemListAccess::find(*this, T_0000_0100_commandField) == nullptr) {
        type_ = MSG_TYPE_DATASET;
        return RESULT_OK;
    }
    unsigned short field = 0;
    (void)ElemListAccess::firstValue(*this, T_0000_0100_commandField, field);
    const CmdRow* row = cmdRow(field);
    type_ = row != nullptr ? row->type : MSG_TYPE_UNKNOWN;
    if (row != nullptr) return RESULT_OK;
    return fail(MSG_COMMAND_TYPE, LOG_ERROR, "DcMsg::parseType", "Invalid Command Type 0x%04x", field);
}

// ---- making a command -------------------------------------------------------------------------------------

DcCmd::DcCmd(CMD_TYPE type, CMD_DATASET dataset) : DcMsg(type), dataset_(dataset) {
    initialize(type);
}

DcCmd::DcCmd(CMD_TYPE type) : DcMsg(type), dataset_(CMD_DATASET_EITHER) {
    initialize(type);
    const CmdRow* row = cmdRow(type);
    if (row == nullptr) return;
    dataset_ = row->dataset;
    (void)DcCmd::setParmList(row->parms.data());
}

DcCmd::~DcCmd() {
    delete[] parms_;
}

void DcCmd::initialize(CMD_TYPE type) {
    (void)DcCmd::setParmList(kMinimalParms);
    (void)add(new DcElem(kGroupLength, 0u));
    (void)add(new DcElem(T_0000_0100_commandField, static_cast<unsigned short>(type)));
}

int DcCmd::setParmList(const DcCmdParm* parms) {
    DcCmdParm* copy = nullptr;
    if (parms != nullptr) {
        const DcCmdParm* end = parms;
        while (end->tag != TAG_LIST_END) ++end;
        copy = new DcCmdParm[static_cast<std::size_t>(end - parms) + 1];
        std::copy(parms, end + 1, copy);
    }
    delete[] parms_;
    parms_ = copy;
    return RESULT_OK;
}

// ---- adding -----------------------------------------------------------------------------------------------

// Why elements in the order of their tags cannot be added; null when they can.
const char* DcCmd::refusalOf(const DcElem& first, const DcElem& last) const {
    if (!inGroup0000(last) && dataset_ == CMD_DATASET_ABSENT) return "Dataset not allowed for this command";
    if (inGroup0000(first) && parms_ == nullptr) return "Parameter list not initialized for this command";
    return nullptr;
}

DcElem* DcCmd::add(DcElem* element) {
    constexpr const char* reporter = "DcCmd::add";
    if (element == nullptr) {
        logReport(LOG_VALIDATION, reporter, "Null argument passed for element");
        return nullptr;
    }
    const char* const refusal = refusalOf(*element, *element);
    if (refusal == nullptr) return DcElemList::add(element);
    logReport(LOG_VALIDATION, reporter, "%s", refusal);
    if (element->list() != nullptr) (void)element->list()->subtract(element);
    delete element;
    return nullptr;
}

DcElemList* DcCmd::add(DcElemList* dataset) {
    if (dataset == nullptr || dataset->last() == nullptr) return DcElemList::add(dataset);
    const char* const refusal = refusalOf(*dataset->first(), *dataset->last());
    if (refusal == nullptr) return DcElemList::add(dataset);
    logReport(LOG_VALIDATION, "DcCmd::add", "%s", refusal);
    delete dataset;
    return nullptr;
}

DcCmd& DcCmd::operator+(DcElem* element) {
    (void)add(element);
    return *this;
}

DcCmd& DcCmd::operator+(DcElemList* dataset) {
    (void)add(dataset);
    return *this;
}

// ---- checking ---------------------------------------------------------------------------------------------

void DcCmd::completeMessageId() {
    if (ElemListAccess::find(*this, T_0000_0110_messageId) != nullptr) return;
    unsigned short id = 0;
    Dict.genMsgId(id);
    (void)add(new DcElem(T_0000_0110_messageId, id));
}

bool DcCmd::hasDataset() const {
    for (const DcElem* e = last(); e != nullptr; e = e->previous()) {
        if (!inGroup0000(*e)) return true;
    }
    return false;
}

int DcCmd::elemListVerify() {
    constexpr const char* reporter = "DcCmd::elemListVerify";
    const bool present = hasDataset();
    if (dataset_ == CMD_DATASET_PRESENT && !present) {
        return fail(CMD_DATASET_RULE, LOG_VALIDATION, reporter, "Dataset absent in Command");
    }
    if (dataset_ == CMD_DATASET_ABSENT && present) {
        return fail(CMD_DATASET_RULE, LOG_VALIDATION, reporter, "Dataset present in Command");
    }
    int result = RESULT_OK;
    for (const DcCmdParm* p = parms_; p != nullptr && p->tag != TAG_LIST_END; ++p) {
        if (p->usage != CMD_USAGE_REQUIRED && p->usage != CMD_USAGE_REQUIRED_ALSO) continue;
        if (p->tag == T_0000_0110_messageId) completeMessageId();
        if (ElemListAccess::find(*this, p->tag) != nullptr) continue;
        char name[61] = "";
        (void)Dict.getDesc(p->tag, name);
        result = fail(CMD_FIELD_MISSING, LOG_VALIDATION, reporter, "%s missing from command", name);
    }
    return result;
}

// ---- responses --------------------------------------------------------------------------------------------

int DcCmd::parseRequest(DcCmd*) {
    return RESULT_OK;
}

int DcCmd::fillFrom(DcCmd* request) {
    const CmdRow* row = cmdRow(getType());
    if (row == nullptr || row->reporter == nullptr) return RESULT_OK;
    if (request == nullptr) return failNull(row->codes.null, row->reporter);
    char name[61] = "";
    if (request->getType() != row->request) {
        (void)request->getDesc(name);
        return fail(row->codes.wrong, LOG_VALIDATION, row->reporter, "Incompatible RQ command - '%s'", name);
    }
    (void)request->resetValueCounter();
    PduAccess::presCtxId(*this) = PduAccess::presCtxId(*request);
    int result = RESULT_OK;
    for (const RspCopy& c : row->copies) {
        if (copyField(*request, c.from, *this, c.to) == RESULT_OK || c.name == nullptr) continue;
        (void)request->getDesc(name);
        result = fail(row->codes.missing, LOG_ERROR, row->reporter, "%s missing in %s", c.name, name);
        if (row->request == DICT_MSG_C_STORE_RQ && isSopClass(c.from)) break;
    }
    return result;
}
