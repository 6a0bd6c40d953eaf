// The failures that several operations of the dictionary report alike.
#ifndef ORVKIT_DICTIONARY_FAILURES_H
#define ORVKIT_DICTIONARY_FAILURES_H

#include "foundation/fail.h"
#include "orvkit/result.h"

namespace orvkit {

[[nodiscard]] inline int failNull(const char* reporter) {
    return failNull(RESULT_DICT_NULL, reporter);
}

// `kind` names the enumeration: "VR", "UID", "MSG".
inline int failNoEnum(const char* kind, int value, const char* reporter) {
    return fail(RESULT_DICT_NOT_FOUND, LOG_NOTICE, reporter,
                "Enum constant %s %d (0x%x) is not in dictionary", kind, value,
                static_cast<unsigned int>(value));
}

}  // namespace orvkit

#endif
