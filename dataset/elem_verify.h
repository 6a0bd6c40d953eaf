// The checks of text values against their VR (PS3.5 6.2).
#ifndef ORVKIT_DATASET_ELEM_VERIFY_H
#define ORVKIT_DATASET_ELEM_VERIFY_H

#include <string_view>

#include "dictionary/vr_table.h"

namespace orvkit {

// The check of a text that is already trimmed. RESULT_OK, ELEM_EMPTY_VALUE, ELEM_TOO_LONG, ELEM_ILLEGAL_CHAR;
// the latter two are logged at LOG_VALIDATION. Everything passes when the value exception level is 0. `tag`
// serves the messages only.
[[nodiscard]] int verifyTrimmed(Verify check, std::string_view text, unsigned int tag) noexcept;

// Whether a trimmed text passes its check without a word, seen in one look; false proves nothing.
[[nodiscard]] bool passesPlainly(Verify check, std::string_view text) noexcept;

}  // namespace orvkit

#endif
