// The VR of elements whose letters do not tell it.
#include "encoding/header.h"

namespace orvkit {

DICT_VR vrOfLongUnknown(unsigned int tag) noexcept {
    const DcDictFacts facts = Dict.facts(tag);
    const bool meant = facts.known && dictGetEdition() != DICT_EDITION_2008 &&
                       vrRowOfAny(vrRowOfAny(facts.vr).written).head == Head::word;
    return meant ? facts.vr : VR_UN;
}

void nameVr(const unsigned char* header, HeaderRules rules, Header& h) noexcept {
    if (dictGetEdition() != DICT_EDITION_2008) h.letters = lettersOf(header[4], header[5]);
    if (h.letters != 0) {
        h.vr = VR_UN;  // VRs to come have the long header (PS3.5 7.1.2)
    } else if (rules.openVr) {
        h.vr = VR_UNKNOWN;
        h.from = Header::VrFrom::nowhere;
    } else {
        h.answer(Dict.facts(h.tag));
    }
}

}  // namespace orvkit
