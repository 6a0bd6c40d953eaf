// Attributes as the index keeps them: a run of bytes that is read where it lies. An attribute is its tag
// (four bytes, little endian), its VR (one byte, DICT_VR), the length of its value (seven bits a byte, the
// last one without the high bit) and the value. Texts are UTF-8 without padding, numbers little endian; the
// value of a sequence is its items, each a length and attributes. Tags ascend.
#ifndef ORVKIT_INDEX_ATTRIBUTES_H
#define ORVKIT_INDEX_ATTRIBUTES_H

#include <optional>
#include <string>
#include <string_view>

#include "orvkit/elemlist.h"

namespace orvkit::index {

using Bytes = std::string;

// Stands for an attribute that is not there, though what lies below has it.
inline constexpr DICT_VR kAbsent = DICT_VR{};

struct Attribute {
    unsigned int tag = 0;
    DICT_VR vr = kAbsent;
    std::string_view value;
};

// One after another. Bytes that are no attributes are trouble (INDEX_DAMAGED).
class AttributeReader {
  public:
    explicit AttributeReader(std::string_view bytes) : rest_(bytes) {}
    bool next(Attribute& attribute);

  private:
    std::string_view rest_;
};
class ItemReader {
  public:
    explicit ItemReader(std::string_view sequence) : rest_(sequence) {}
    bool next(std::string_view& item);

  private:
    std::string_view rest_;
};

std::optional<Attribute> attributeOf(std::string_view bytes, unsigned int tag);
// Its value, "" without one.
std::string_view valueOf(std::string_view bytes, unsigned int tag);

void append(Bytes& bytes, unsigned int tag, DICT_VR vr, std::string_view value);
void appendItem(Bytes& sequence, std::string_view item);

// What `own` has otherwise than `base`, and the other way: overlay(base, difference(base, own)) is `own`.
Bytes difference(std::string_view base, std::string_view own);
Bytes overlay(std::string_view base, std::string_view over);

// Between data sets and attributes.
struct Bounds {
    std::size_t text;
    std::size_t binary;
    std::size_t sequence;
};
// Values beyond the bounds, group lengths and what is deeper than INDEX_NESTING are passed over; the result
// is false when anything was too deep. (0008,0005) is used, and not kept. `dataset` stays as it is.
bool takeAttributes(DcElemList& dataset, const Bounds& bounds, Bytes& bytes);
// Adds them to a data set, in that character set.
void giveAttributes(std::string_view bytes, std::string_view charset, DcElemList& dataset);
// Whether all texts are in that character set, and whether they are ASCII.
struct Texts {
    bool ascii = true;
    bool fit = true;
};
void lookAtTexts(std::string_view bytes, std::string_view charset, Texts& texts, unsigned int level = 0);

bool isAscii(std::string_view text);
// Without blanks and NULs at both ends.
std::string_view trimmed(std::string_view text);
// The values of a text, which backslashes separate.
template <typename Call>
void eachValue(std::string_view text, Call call) {
    for (;;) {
        const std::size_t end = text.find('\\');
        call(trimmed(text.substr(0, end)));
        if (end == std::string_view::npos) return;
        text.remove_prefix(end + 1);
    }
}

}  // namespace orvkit::index

#endif
