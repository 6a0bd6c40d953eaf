// The value representations: code, longest value, unit.
#ifndef ORVKIT_DICTIONARY_VR_TABLE_H
#define ORVKIT_DICTIONARY_VR_TABLE_H

#include "orvkit/dict.h"

namespace orvkit {

struct VrRow {
    DICT_VR vr;
    const char* code;
    DcDictVrFacts facts;
};

// clang-format off
inline constexpr VrRow vrTable[] = {
    {VR_AE, "AE", {   16, VR_SIZE_CHAR,   true}},
    {VR_AS, "AS", {    4, VR_SIZE_CHAR,   true}},
    {VR_AT, "AT", {    4, VR_SIZE_32,     true}},
    {VR_CS, "CS", {   16, VR_SIZE_CHAR,   true}},
    {VR_DA, "DA", {   22, VR_SIZE_CHAR,   true}},
    {VR_DS, "DS", {   16, VR_SIZE_CHAR,   true}},
    {VR_DT, "DT", {   26, VR_SIZE_CHAR,   true}},
    {VR_FL, "FL", {    4, VR_SIZE_FLOAT,  true}},
    {VR_FD, "FD", {    8, VR_SIZE_DOUBLE, true}},
    {VR_IS, "IS", {   12, VR_SIZE_CHAR,   true}},
    {VR_LO, "LO", {   64, VR_SIZE_CHAR,   true}},
    {VR_LT, "LT", {10240, VR_SIZE_CHAR,   true}},
    {VR_OB, "OB", {    0, VR_SIZE_CHAR,   true}},
    {VR_OF, "OF", {    0, VR_SIZE_FLOAT,  true}},
    {VR_OW, "OW", {    0, VR_SIZE_16,     true}},
    {VR_PN, "PN", {  324, VR_SIZE_CHAR,   true}},
    {VR_SH, "SH", {   16, VR_SIZE_CHAR,   true}},
    {VR_SL, "SL", {    4, VR_SIZE_32,     true}},
    {VR_SQ, "SQ", {    0, VR_SIZE_NONE,   true}},
    {VR_SS, "SS", {    2, VR_SIZE_16,     true}},
    {VR_ST, "ST", { 1024, VR_SIZE_CHAR,   true}},
    {VR_TM, "TM", {   34, VR_SIZE_CHAR,   true}},
    {VR_UI, "UI", {   64, VR_SIZE_CHAR,   true}},
    {VR_UL, "UL", {    4, VR_SIZE_32,     true}},
    {VR_UN, "UN", {    0, VR_SIZE_CHAR,   true}},
    {VR_US, "US", {    2, VR_SIZE_16,     true}},
    {VR_UT, "UT", {    0, VR_SIZE_CHAR,   true}},
    {VR_OX, "OX", {    0, VR_SIZE_16,     true}},
    {VR_XL, "XL", {    4, VR_SIZE_32,     true}},
    {VR_XS, "XS", {    2, VR_SIZE_16,     true}},
    {VR_RT, "RT", {    0, VR_SIZE_NONE,   false}},
    {VR_IM, "IM", {    0, VR_SIZE_NONE,   false}},
    {VR_EX, "EX", {    0, VR_SIZE_NONE,   false}},
    {VR_SI, "SI", {    0, VR_SIZE_NONE,   true}},
};
// clang-format on

}  // namespace orvkit

#endif
