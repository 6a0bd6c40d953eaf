// Data sets and records by value: what their calls hand out through references.
#ifndef ORVKIT_SERVICES_ELEMENTS_H
#define ORVKIT_SERVICES_ELEMENTS_H

#include <string>

#include "orvkit/dicomdir.h"
#include "orvkit/elemlist.h"

namespace services {

inline unsigned int tagOf(const DcElem& e) {
    unsigned int tag = 0;
    (void)e.getTag(tag);
    return tag;
}
// For registerValueExceptionCB: values that are none of their VRs stay, as what peers and people say.
inline int takeAnyValue(void* /*context*/, unsigned int /*tag*/, DICT_VR /*vr*/, char* /*value*/,
                        char** /*replacement*/) {
    return 0;
}
// The element of a data set or a record, or null.
template <typename Elements>
DcElem* elementOf(const Elements& elements, unsigned int tag) {
    DcElem* element = nullptr;
    (void)elements.getElem(tag, &element);
    return element;
}
inline void drop(DcElemList& list, unsigned int tag) {
    DcElem* const element = elementOf(list, tag);
    if (element == nullptr) return;
    list.subtract(element);
    delete element;
}
// Instead of what there is.
template <typename Value>
void put(DcElemList& list, unsigned int tag, Value value) {
    drop(list, tag);
    list.add(new DcElem(tag, value));
}
inline void put(DcElemList& list, unsigned int tag, const std::string& value) {
    put(list, tag, value.c_str());
}
// The bytes of all values, padding included, little endian. False without memory for them.
bool bytesOf(DcElem& element, std::string& bytes);
// The first value of an element, "" without one.
std::string textOf(const DcElemList& list, unsigned int tag);
std::string textOf(const DcDirRec& record, unsigned int tag);

inline DIR_REC typeOf(const DcDirRec& record) {
    DIR_REC type = DIR_REC_UNKNOWN;
    (void)record.getType(type);
    return type;
}
inline std::string typeName(const DcDirRec& record) {
    char name[32] = "";
    (void)record.getDesc(name);
    return name;
}
inline unsigned int offsetOf(const DcDirRec& record) {
    unsigned int offset = 0;
    (void)record.getOffset(offset);
    return offset;
}
inline DcDirRec* mrdrOf(const DcDirRec& record) {
    DcDirRec* mrdr = nullptr;
    (void)record.getMrdr(mrdr);
    return mrdr;
}
inline DcDirRecInfo infoOf(const DcDirRec& record) {
    DcDirRecInfo info;
    (void)record.getInfo(info);
    return info;
}

}  // namespace services

#endif
