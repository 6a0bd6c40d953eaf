// Tags: group in the high half, element in the low one.
#ifndef ORVKIT_FOUNDATION_TAG_H
#define ORVKIT_FOUNDATION_TAG_H

namespace orvkit {

constexpr unsigned int tagOf(unsigned int group, unsigned int element) noexcept {
    return (group & 0xFFFF) << 16 | (element & 0xFFFF);
}
constexpr unsigned int groupOf(unsigned int tag) noexcept {
    return tag >> 16;
}
constexpr unsigned int elementOf(unsigned int tag) noexcept {
    return tag & 0xFFFF;
}

}  // namespace orvkit

#endif
