// Structured values and their texts: parsing and formatting, on texts that need not end in a NUL. `tag` serves
// the messages only.
#ifndef ORVKIT_DATASET_VALUE_TEXT_H
#define ORVKIT_DATASET_VALUE_TEXT_H

#include <string_view>

#include "dataset/number_text.h"
#include "orvkit/value.h"

namespace orvkit {

// The parsers: 0, 5642 empty (silent), 17409 wrong length, 17410 invalid. Blanks in front are skipped. Members
// that the text says nothing of keep their value, except that a name is always filled whole.
int parseText(std::string_view text, DcElemValueAS& value, unsigned int tag) noexcept;
int parseText(std::string_view text, DcElemValueAT& value, unsigned int tag) noexcept;
int parseText(std::string_view text, DcElemValueDA& value, unsigned int tag) noexcept;
int parseText(std::string_view text, DcElemValueDT& value, unsigned int tag) noexcept;
int parseText(std::string_view text, DcElemValuePN& value, unsigned int tag) noexcept;
int parseText(std::string_view text, DcElemValueTM& value, unsigned int tag) noexcept;
int parseTime(std::string_view text, int& hour, int& minute, double& second, unsigned int tag) noexcept;
int parseDate(std::string_view text, int& year, int& month, int& day, unsigned int tag) noexcept;

// The texts that addValue stores: 0, or 5634 logged from "DcElem::addValue". The unit of an age is raised to
// upper case in the record as well.
int formatText(DcElemValueAS& value, TextOut& out, unsigned int tag) noexcept;
int formatText(const DcElemValueDA& value, TextOut& out, unsigned int tag) noexcept;
int formatText(const DcElemValueDT& value, TextOut& out, unsigned int tag) noexcept;
int formatText(const DcElemValuePN& value, TextOut& out, unsigned int tag) noexcept;
int formatText(const DcElemValueTM& value, TextOut& out, unsigned int tag) noexcept;

}  // namespace orvkit

#endif
