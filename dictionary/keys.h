// The keys under which tags are stored and looked up.
#ifndef ORVKIT_DICTIONARY_KEYS_H
#define ORVKIT_DICTIONARY_KEYS_H

#include "foundation/tag.h"

namespace orvkit {

constexpr bool isPrivate(unsigned int tag) noexcept {
    return (groupOf(tag) & 1) != 0;
}
// Elements below 0100 of a private group reserve blocks of it (PS3.5 7.8.1).
constexpr bool isCreator(unsigned int tag) noexcept {
    return isPrivate(tag) && elementOf(tag) < 0x0100;
}
// Curves and overlays repeat in the even groups 50xx and 60xx (PS3.5 7.6).
constexpr bool isRepeating(unsigned int tag) noexcept {
    return !isPrivate(tag) && ((tag >> 24) == 0x50 || (tag >> 24) == 0x60);
}

constexpr unsigned int tagKey(unsigned int tag) noexcept {
    if (isCreator(tag)) return (tag & 0xFFFF0000) | 0x00FF;
    if (isPrivate(tag)) return tag | 0xFF00;
    if (isRepeating(tag)) return tag | 0x00FF0000;
    return tag;
}

}  // namespace orvkit

#endif
