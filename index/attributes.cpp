#include "index/attributes.h"

#include <algorithm>

#include "dictionary/vr_table.h"
#include "index/trouble.h"
#include "orvkit/index.h"
#include "orvkit/result.h"

namespace orvkit::index {
namespace {

constexpr std::size_t kTag = 4;

[[noreturn]] void damaged() {
    fail(INDEX_DAMAGED, "attributes in the index are damaged");
}

void appendLength(Bytes& bytes, std::size_t length) {
    while (length >= 0x80) {
        bytes += static_cast<char>(0x80 | (length & 0x7F));
        length >>= 7;
    }
    bytes += static_cast<char>(length);
}

// The length in front of `rest`, and what has it.
std::string_view takeCounted(std::string_view& rest) {
    std::size_t length = 0;
    for (unsigned int shift = 0;; shift += 7) {
        if (rest.empty() || shift > 28) damaged();
        const auto byte = static_cast<unsigned char>(rest.front());
        rest.remove_prefix(1);
        length |= static_cast<std::size_t>(byte & 0x7F) << shift;
        if (byte < 0x80) break;
    }
    if (length > rest.size()) damaged();
    const std::string_view value = rest.substr(0, length);
    rest.remove_prefix(length);
    return value;
}

void put(Bytes& bytes, const Attribute& attribute) {
    append(bytes, attribute.tag, attribute.vr, attribute.value);
}

// Merges two runs: `both` is called with what either has of a tag, null for nothing.
template <typename Call>
void eachOfBoth(std::string_view left, std::string_view right, Call both) {
    AttributeReader leftReader(left);
    AttributeReader rightReader(right);
    Attribute a;
    Attribute b;
    bool hasA = leftReader.next(a);
    bool hasB = rightReader.next(b);
    while (hasA || hasB) {
        const bool takesA = hasA && (!hasB || a.tag <= b.tag);
        const bool takesB = hasB && (!hasA || b.tag <= a.tag);
        both(takesA ? &a : nullptr, takesB ? &b : nullptr);
        if (takesA) hasA = leftReader.next(a);
        if (takesB) hasB = rightReader.next(b);
    }
}

}  // namespace

bool AttributeReader::next(Attribute& attribute) {
    if (rest_.empty()) return false;
    if (rest_.size() < kTag + 1) damaged();
    attribute.tag = 0;
    for (std::size_t i = 0; i < kTag; ++i) {
        attribute.tag |= static_cast<unsigned int>(static_cast<unsigned char>(rest_[i])) << (8 * i);
    }
    attribute.vr = static_cast<DICT_VR>(static_cast<unsigned char>(rest_[kTag]));
    // No VR without letters was ever put here.
    if (attribute.vr != kAbsent && vrRowOfAny(attribute.vr).letters[0] == '\0') damaged();
    rest_.remove_prefix(kTag + 1);
    attribute.value = takeCounted(rest_);
    return true;
}

bool ItemReader::next(std::string_view& item) {
    if (rest_.empty()) return false;
    item = takeCounted(rest_);
    return true;
}

std::optional<Attribute> attributeOf(std::string_view bytes, unsigned int tag) {
    AttributeReader reader(bytes);
    Attribute attribute;
    while (reader.next(attribute) && attribute.tag <= tag) {
        if (attribute.tag == tag) return attribute;
    }
    return std::nullopt;
}

std::string_view valueOf(std::string_view bytes, unsigned int tag) {
    const std::optional<Attribute> attribute = attributeOf(bytes, tag);
    return attribute.has_value() ? attribute->value : std::string_view();
}

void append(Bytes& bytes, unsigned int tag, DICT_VR vr, std::string_view value) {
    for (std::size_t i = 0; i < kTag; ++i) bytes += static_cast<char>(tag >> (8 * i) & 0xFF);
    bytes += static_cast<char>(vr);
    appendLength(bytes, value.size());
    bytes += value;
}

void appendItem(Bytes& sequence, std::string_view item) {
    appendLength(sequence, item.size());
    sequence += item;
}

Bytes difference(std::string_view base, std::string_view own) {
    Bytes result;
    eachOfBoth(base, own, [&result](const Attribute* below, const Attribute* mine) {
        if (mine == nullptr) return append(result, below->tag, kAbsent, {});
        if (below == nullptr || below->vr != mine->vr || below->value != mine->value) put(result, *mine);
    });
    return result;
}

Bytes overlay(std::string_view base, std::string_view over) {
    Bytes result;
    eachOfBoth(base, over, [&result](const Attribute* below, const Attribute* above) {
        const Attribute& chosen = above != nullptr ? *above : *below;
        if (chosen.vr != kAbsent) put(result, chosen);
    });
    return result;
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view padding(" \0", 2);
    const std::size_t from = text.find_first_not_of(padding);
    if (from == std::string_view::npos) return {};
    return text.substr(from, text.find_last_not_of(padding) + 1 - from);
}

}  // namespace orvkit::index
