// The names of directory record types.
#include <cstring>
#include <iterator>
#include <unordered_map>

#include "foundation/fail.h"
#include "media/dir_rec.h"
#include "orvkit/edition.h"
#include "orvkit/file.h"

using namespace orvkit;

namespace {

// In the order of the enumerators. ENCAP_DOC has its underscore on purpose in the edition of 2008: it is what
// files hold.
constexpr const char* kNames[] = {
    "UNKNOWN",
    "BASIC IMAGE BOX",
    "BASIC FILM BOX",
    "BASIC FILM SESSION",
    "CURVE",
    "DICOMDIR",
    "ENCAP_DOC",
    "FIDUCIAL",
    "HANGING PROTOCOL",
    "HL7 STRUC DOC",
    "IMAGE",
    "INTERPRETATION",
    "KEY OBJECT DOC",
    "MODALITY LUT",
    "MRDR",
    "OVERLAY",
    "PATIENT",
    "PRESENTATION",
    "PRINT QUEUE",
    "PRIVATE",
    "RAW DATA",
    "REGISTRATION",
    "RESULTS",
    "RT TREAT RECORD",
    "RT PLAN",
    "RT STRUCTURE SET",
    "RT DOSE",
    "SERIES",
    "SPECTROSCOPY",
    "SR DOCUMENT",
    "STEREOMETRIC",
    "STORED PRINT",
    "STUDY COMPONENT",
    "STUDY",
    "TOPIC",
    "VALUE MAP",
    "VISIT",
    "VOI LUT",
    "WAVEFORM",
    "PALETTE",
    "SURFACE",
    "MEASUREMENT",
    "SURFACE SCAN",
    "TRACT",
    "ASSESSMENT",
    "IMPLANT",
    "IMPLANT ASSY",
    "IMPLANT GROUP",
    "PLAN",
    "RADIOTHERAPY",
    "ANNOTATION",
    "INVENTORY",
    "WF PRESENTATION",
};
static_assert(std::size(kNames) == DIR_REC_WF_PRESENTATION + 1);
constexpr const char* kDocument = "ENCAP DOC";

}  // namespace

DIR_REC orvkit::lastRecordType() noexcept {
    return dictGetEdition() == DICT_EDITION_2008 ? DIR_REC_WAVEFORM : DIR_REC_WF_PRESENTATION;
}

bool orvkit::findRecordType(const std::string& text, DIR_REC& type) {
    static const auto types = [] {
        std::unordered_map<std::string, DIR_REC> all;
        for (std::size_t i = 0; i < std::size(kNames); ++i) all.emplace(kNames[i], static_cast<DIR_REC>(i));
        all.emplace(kDocument, DIR_REC_ENCAP_DOC);
        return all;
    }();
    const auto found = types.find(text);
    if (found == types.end() || found->second > lastRecordType()) return false;
    if (text == kDocument && dictGetEdition() == DICT_EDITION_2008) return false;
    type = found->second;
    return true;
}

int dirGetDesc(DIR_REC type, char* text) {
    constexpr const char* reporter = "dirGetDesc";
    if (text == nullptr) return failNull(DIR_NULL_ARGUMENT, reporter);
    text[0] = '\0';
    if (type < 0 || type > lastRecordType()) {
        return fail(DIR_RESERVED_09, LOG_VALIDATION, reporter, "Unknown directory record type %d",
                    static_cast<int>(type));
    }
    const bool document = type == DIR_REC_ENCAP_DOC && dictGetEdition() != DICT_EDITION_2008;
    std::strcpy(text, document ? kDocument : kNames[type]);
    return RESULT_OK;
}

int dirGetType(const char* text, DIR_REC& type) {
    constexpr const char* reporter = "dirGetType";
    type = DIR_REC_UNKNOWN;
    if (text == nullptr) {
        return failNull(DIR_NULL_ARGUMENT, reporter);
    }
    if (findRecordType(text, type)) return RESULT_OK;
    return fail(DIR_RESERVED_09, LOG_VALIDATION, reporter, "Unknown directory record type '%s'", text);
}
