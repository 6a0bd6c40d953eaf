// The tags of the built-in data elements as constants, named as the dictionary names them, for example
//     inline constexpr unsigned int T_0008_0016_sopClassUid = 0x00080016;
// A constant is the element's tag definition: for the repeating groups 50xx and 60xx it has the group 50FF or
// 60FF, and a real group number has to be put in before an element is written (PS3.5 7.6).
#ifndef ORVKIT_TAGS_H
#define ORVKIT_TAGS_H

#define ORVKIT_TAG(tag, vr, vm, name) inline constexpr unsigned int name = tag;
#include "orvkit/tags.def"
#undef ORVKIT_TAG

#endif
