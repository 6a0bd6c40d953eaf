// The registered UIDs as small numbers (PS3.6 Annex A), their kinds, and the byte orders of transfer
// syntaxes.
#ifndef ORVKIT_UIDS_H
#define ORVKIT_UIDS_H

// One enumerator per built-in UID: "UID_" and the UID's description in upper case, every run of other
// characters as one underscore, for example UID_LITTLE_ENDIAN_IMPLICIT = 173, UID_CT_IMAGE_STORAGE = 62.
// Values above those listed are given to private UIDs as they are added (DcDict::add).
enum DICT_UID : int {
    UID_NONE = 0,  // no UID is set
#define ORVKIT_UID(value, uid, type, name, description) UID_##name = (value),
#include "orvkit/uids.def"
#undef ORVKIT_UID
};

enum DICT_UID_TYPE : int {
    UID_TYPE_OTHER = 0,     // registry, terminology, application context
    UID_TYPE_SOP = 1,       // SOP class or well-known SOP instance
    UID_TYPE_XFER_SYN = 2,  // transfer syntax
};

// What DcDict::getEndian tells of a UID.
enum ARCH_ENDIAN : int {
    ENDIAN_LITTLE = 0,
    ENDIAN_BIG = 1,
    ENDIAN_NONE = 2,  // not a transfer syntax
};

#endif
