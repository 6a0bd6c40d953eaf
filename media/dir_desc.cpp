// The names of directory record types.
#include <cstring>

#include "foundation/fail.h"
#include "orvkit/file.h"

using namespace orvkit;

namespace {

// In the order of the enumerators. ENCAP_DOC has its underscore on purpose: it is what files hold.
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
};
constexpr int kCount = static_cast<int>(sizeof kNames / sizeof kNames[0]);
static_assert(kCount == DIR_REC_WAVEFORM + 1);

}  // namespace

int dirGetDesc(DIR_REC type, char* text) {
    constexpr const char* reporter = "dirGetDesc";
    if (text == nullptr) return failNull(DIR_NULL_ARGUMENT, reporter);
    text[0] = '\0';
    if (type < 0 || type >= kCount) {
        return fail(DIR_RESERVED_09, LOG_VALIDATION, reporter, "Unknown directory record type %d",
                    static_cast<int>(type));
    }
    std::memcpy(text, kNames[type], std::strlen(kNames[type]) + 1);
    return RESULT_OK;
}

int dirGetType(const char* text, DIR_REC& type) {
    constexpr const char* reporter = "dirGetType";
    type = DIR_REC_UNKNOWN;
    if (text == nullptr) return failNull(DIR_NULL_ARGUMENT, reporter);
    for (int i = 0; i < kCount; ++i) {
        if (std::strcmp(text, kNames[i]) != 0) continue;
        type = static_cast<DIR_REC>(i);
        return RESULT_OK;
    }
    return fail(DIR_RESERVED_09, LOG_VALIDATION, reporter, "Unknown directory record type '%s'", text);
}
