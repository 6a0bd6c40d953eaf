// One-line access to values: find the element, then its operation of the same name.
#include "dataset/elemlist_access.h"
#include "foundation/tag.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

using namespace orvkit;

namespace {

template <typename T>
void empty(T& value) {
    if constexpr (std::is_class_v<T>) {
        value.reset();
    } else {
        value = T{};
    }
}

}  // namespace

#define ORVKIT_CHANGE_VALUE(type)                                                                      \
    int DcElemList::changeValue(unsigned int tag, type value, int index) {                             \
        DcElem* e = ElemListAccess::find(*this, tag);                                                  \
        return e != nullptr ? e->changeValue(value, index) : ELEM_NOT_FOUND;                           \
    }                                                                                                  \
    int DcElemList::changeValue(unsigned short group, unsigned short element, type value, int index) { \
        return changeValue(tagOf(group, element), value, index);                                       \
    }
ORVKIT_CHANGE_VALUE(DcElemValueAS&)
ORVKIT_CHANGE_VALUE(DcElemValueAT&)
ORVKIT_CHANGE_VALUE(DcElemValueDA&)
ORVKIT_CHANGE_VALUE(DcElemValueDT&)
ORVKIT_CHANGE_VALUE(DcElemValuePN&)
ORVKIT_CHANGE_VALUE(DcElemValueTM&)
ORVKIT_CHANGE_VALUE(DICT_UID)
ORVKIT_CHANGE_VALUE(const char*)
ORVKIT_CHANGE_VALUE(short)
ORVKIT_CHANGE_VALUE(unsigned short)
ORVKIT_CHANGE_VALUE(int)
ORVKIT_CHANGE_VALUE(unsigned int)
ORVKIT_CHANGE_VALUE(float)
ORVKIT_CHANGE_VALUE(double)

#define ORVKIT_GET_VALUE(type)                                                                       \
    int DcElemList::getValue(unsigned int tag, type& value, int index) {                             \
        empty(value);                                                                                \
        DcElem* e = ElemListAccess::find(*this, tag);                                                \
        return e != nullptr ? e->getValue(value, index) : ELEM_NOT_FOUND;                            \
    }                                                                                                \
    int DcElemList::getValue(unsigned short group, unsigned short element, type& value, int index) { \
        return getValue(tagOf(group, element), value, index);                                        \
    }
ORVKIT_GET_VALUE(DcElemValueAS)
ORVKIT_GET_VALUE(DcElemValueAT)
ORVKIT_GET_VALUE(DcElemValueDA)
ORVKIT_GET_VALUE(DcElemValueDT)
ORVKIT_GET_VALUE(DcElemValuePN)
ORVKIT_GET_VALUE(DcElemValueTM)
ORVKIT_GET_VALUE(DICT_UID)
ORVKIT_GET_VALUE(short)
ORVKIT_GET_VALUE(unsigned short)
ORVKIT_GET_VALUE(int)
ORVKIT_GET_VALUE(unsigned int)
ORVKIT_GET_VALUE(float)
ORVKIT_GET_VALUE(double)
ORVKIT_GET_VALUE(DcBuf)

int DcElemList::getValue(unsigned int tag, char* buffer, int length, int index) {
    if (buffer != nullptr) buffer[0] = '\0';
    DcElem* e = ElemListAccess::find(*this, tag);
    return e != nullptr ? e->getValue(buffer, length, index) : ELEM_NOT_FOUND;
}

int DcElemList::getValue(unsigned short group, unsigned short element, char* buffer, int length, int index) {
    return getValue(tagOf(group, element), buffer, length, index);
}
