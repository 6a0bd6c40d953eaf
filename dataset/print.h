// What the flat print and the tree print have in common.
#ifndef ORVKIT_DATASET_PRINT_H
#define ORVKIT_DATASET_PRINT_H

#include <cstddef>
#include <string_view>

#include "dataset/print_sink.h"
#include "orvkit/elem.h"
#include "orvkit/sequence.h"

namespace orvkit {

// Texts are shown up to this many bytes.
inline constexpr std::size_t maxPrintedText = 80;

struct PrintedText {
    std::string_view text;
    bool cut;
};
// What getValue would give into a buffer of maxPrintedText characters: cut first, then trimmed.
PrintedText printedText(std::string_view stored) noexcept;
// The first bytes of a UT value.
PrintedText printedUnlimitedText(const DcElem& e) noexcept;

// The text of one value of AT, FL, FD or a text VR; true when it was cut.
bool putText(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int index);
// An integer value; SS and XS are widened with their sign.
unsigned int integerValue(const DcElem& e, DICT_VR vr, unsigned int index) noexcept;
// A 64-bit integer; false when the VR has none.
bool putWideInteger(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int index);
// "uid (name)", or "uid" when the registry does not know it.
void putUid(TextSink& out, const DcElem& e, unsigned int index);
// The name of a command field's value, "" when it has none. `room` may be written to.
std::string_view commandName(unsigned int commandField, char (&room)[64]) noexcept;
inline constexpr unsigned int commandFieldTag = 0x00000100;

// The two letters of a VR; "??" for the unknown VR, which has none.
std::string_view vrText(DICT_VR vr) noexcept;
// The name that the dictionary describes a tag with. `room` may be written to.
std::string_view tagName(unsigned int tag, char (&room)[64]) noexcept;

// Null unless the element is a sequence with items of its own.
DcElemSq* asSequence(DcElem& e) noexcept;

// All elements of a data set, with everything nested in them.
void printFlat(TextSink& out, DcElemList& list);
void printTree(TextSink& out, DcElemList& list);

}  // namespace orvkit

#endif
