// Value representations: codes and properties.
#include <cstring>

#include "dictionary/failures.h"
#include "dictionary/vr_table.h"
#include "orvkit/dict.h"

namespace {

using namespace orvkit;

int failNoFacts(DICT_VR vr, const char* reporter) {
    if (vr == VR_RT) return fail(RESULT_DICT_NOT_FOUND, LOG_NOTICE, reporter, "Retired Data Element");
    return failNoEnum("VR", vr, reporter);
}

}  // namespace

unsigned int orvkit::vrRowsInUse = orvkit::vrRows2008;

DICT_VR DcDict::vrOfCode(char first, char second) noexcept {
    const unsigned int vr =
        vrOfAnyLetters(static_cast<unsigned char>(first), static_cast<unsigned char>(second));
    return vr < vrRowsInUse ? static_cast<DICT_VR>(vr) : DICT_VR{};
}

const char* DcDict::vrName(DICT_VR vr) noexcept {
    return vrRow(vr).letters;
}

DcDictVrFacts DcDict::vrFacts(DICT_VR vr) noexcept {
    return vrRow(vr).facts;
}

int DcDict::getVr(DICT_VR vr, char* code) const {
    if (code == nullptr) return failNull("DcDict::getVr");
    std::strcpy(code, vrName(vr));
    if (*code != '\0') return RESULT_OK;
    return failNoEnum("VR", vr, "DcDict::getVr");
}

int DcDict::getVrDef(const char* code, DICT_VR& vr) const {
    if (code == nullptr) return failNull("DcDict::getVrDef");
    vr = VR_UNKNOWN;
    if (std::strlen(code) != 2) return RESULT_DICT_NOT_FOUND;
    const DICT_VR found = vrOfCode(code[0], code[1]);
    if (found == DICT_VR{}) return RESULT_DICT_NOT_FOUND;
    vr = found;
    return RESULT_OK;
}

int DcDict::getVrLen(DICT_VR vr, int& length) const {
    const DcDictVrFacts facts = vrFacts(vr);
    length = facts.length;
    return facts.ok ? RESULT_OK : failNoFacts(vr, "DcDict::getVrLen");
}

int DcDict::getVrSize(DICT_VR vr, DICT_VR_SIZE& size) const {
    const DcDictVrFacts facts = vrFacts(vr);
    size = facts.size;
    return facts.ok ? RESULT_OK : failNoFacts(vr, "DcDict::getVrSize");
}
