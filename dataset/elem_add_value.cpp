// Adding typed values to elements. What each VR makes of a type stands in the table of VRs.
#include "dataset/elem_add.h"
#include "dataset/value_text.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

template <typename T>
int addNumber(DcElem& e, T v, int index, NumberType type, const char* name) {
    const DICT_VR vr = ElemAccess::vr(e);
    const VrRow& rule = vrRow(vr);
    return rule.takesNumber(type) ? storeNumber(e, rule, v, index) : refuseAdding(e, vr, name, kAddValue);
}

template <typename Value>
int addRecord(DcElem& e, Value& value, int index, DICT_VR wanted, const char* name) {
    const DICT_VR vr = ElemAccess::vr(e);
    if (vr != wanted) return refuseAdding(e, vr, name, kAddValue);
    TextOut text;
    const int code = formatText(value, text, ElemAccess::tag(e));
    return code != RESULT_OK ? code : storeText(e, text.view(), index);
}

template <typename T>
int changeAt(DcElem& e, T& value, int index) {
    if (index < 0 || index >= e.getValueCount()) {
        return fail(ELEM_INVALID_INDEX, LOG_VALIDATION, "DcElem::changeValue", "Invalid index value");
    }
    return e.addValue(value, index);
}

}  // namespace

int refuseAdding(const DcElem& e, DICT_VR vr, const char* type, const char* from) {
    const unsigned int tag = ElemAccess::tag(e);
    return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, from, "Element (%04x,%04x) VR=%s, does not accept %s",
                tag >> 16, tag & 0xFFFF, Dict.vrName(vr), type);
}

}  // namespace orvkit

using namespace orvkit;

int DcElem::addValue(short value, int index) {
    return addNumber(*this, value, index, AS_SHORT, "short");
}
int DcElem::addValue(unsigned short value, int index) {
    return addNumber(*this, value, index, AS_USHORT, "unsigned short");
}
int DcElem::addValue(int value, int index) {
    return addNumber(*this, value, index, AS_INT, "long");
}
int DcElem::addValue(unsigned int value, int index) {
    return addNumber(*this, value, index, AS_UINT, "unsigned long");
}
int DcElem::addValue(long long value, int index) {
    return addNumber(*this, value, index, AS_INT64, "64 bit signed int");
}
int DcElem::addValue(unsigned long long value, int index) {
    return addNumber(*this, value, index, AS_UINT64, "64 bit unsigned int");
}
int DcElem::addValue(float value, int index) {
    return addNumber(*this, value, index, AS_FLOAT, "float");
}
int DcElem::addValue(double value, int index) {
    return addNumber(*this, value, index, AS_DOUBLE, "double float");
}

int DcElem::addValue(DICT_UID value, int index) {
    const DICT_VR vr = ElemAccess::vr(*this);
    if (vr != VR_UI) return refuseAdding(*this, vr, "DICT_UID", kAddValue);
    const DcDictUidInfo* info = Dict.findUid(value);
    return info == nullptr ? ELEM_VALUE_REFUSED : storeText(*this, info->uid, index);
}

int DcElem::addValue(DcElemValueAT& value, int index) {
    const DICT_VR vr = ElemAccess::vr(*this);
    if (vr != VR_AT) return refuseAdding(*this, vr, "DcElemValueAT", kAddValue);
    return storeBinary(*this, static_cast<unsigned int>(value.group) << 16 | value.element, index);
}
int DcElem::addValue(DcElemValueAS& value, int index) {
    return addRecord(*this, value, index, VR_AS, "DcElemValueAS");
}
int DcElem::addValue(DcElemValueDA& value, int index) {
    return addRecord(*this, value, index, VR_DA, "DcElemValueDA");
}
int DcElem::addValue(DcElemValueDT& value, int index) {
    return addRecord(*this, value, index, VR_DT, "DcElemValueDT");
}
int DcElem::addValue(DcElemValuePN& value, int index) {
    return addRecord(*this, value, index, VR_PN, "DcElemValuePN");
}
int DcElem::addValue(DcElemValueTM& value, int index) {
    return addRecord(*this, value, index, VR_TM, "DcElemValueTM");
}

int DcElem::changeValue(DcElemValueAS& value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(DcElemValueAT& value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(DcElemValueDA& value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(DcElemValueDT& value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(DcElemValuePN& value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(DcElemValueTM& value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(DICT_UID value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(const char* value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(short value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(unsigned short value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(int value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(unsigned int value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(float value, int index) {
    return changeAt(*this, value, index);
}
int DcElem::changeValue(double value, int index) {
    return changeAt(*this, value, index);
}
