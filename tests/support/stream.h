// Builds encoded bytes for tests, field by field, so that a fixture reads like the stream it makes.
#ifndef ORVKIT_TESTS_SUPPORT_STREAM_H
#define ORVKIT_TESTS_SUPPORT_STREAM_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orvkit/uids.h"

class Stream {
  public:
    static constexpr std::uint32_t undefined = 0xFFFFFFFF;

    explicit Stream(DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT) : xferSyn_(xferSyn) {}

    Stream& u16(unsigned int v) { return number(v, 2); }
    Stream& u32(std::uint32_t v) { return number(v, 4); }
    Stream& raw(std::string_view bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Stream& tag(std::uint32_t t) { return u16(t >> 16).u16(t & 0xFFFF); }
    // Tag, VR and length in the stream's syntax.
    Stream& header(std::uint32_t t, std::string_view vr, std::uint32_t length) {
        tag(t);
        if (xferSyn_ == UID_LITTLE_ENDIAN_IMPLICIT) return u32(length);
        raw(vr);
        if (vr == "OB" || vr == "OW" || vr == "OF" || vr == "SQ" || vr == "UN" || vr == "UT" || vr == "OV" ||
            vr == "OD")
            return u16(0).u32(length);
        return u16(length);
    }
    Stream& elem(std::uint32_t t, std::string_view vr, std::string_view value) {
        return header(t, vr, static_cast<std::uint32_t>(value.size())).raw(value);
    }
    // Text of a UI, with its padding, and a value of VR US or UL.
    Stream& ui(std::uint32_t t, std::string uid) {
        if (uid.size() % 2 != 0) uid += '\0';
        return elem(t, "UI", uid);
    }
    Stream& us(std::uint32_t t, unsigned int value) { return header(t, "US", 2).u16(value); }
    Stream& ul(std::uint32_t t, std::uint32_t value) { return header(t, "UL", 4).u32(value); }
    Stream& item(std::uint32_t length) { return tag(0xFFFEE000).u32(length); }
    Stream& endItem() { return tag(0xFFFEE00D).u32(0); }
    Stream& endSequence() { return tag(0xFFFEE0DD).u32(0); }
    Stream& add(const Stream& other) {
        bytes_.insert(bytes_.end(), other.bytes_.begin(), other.bytes_.end());
        return *this;
    }

    unsigned char* data() { return bytes_.data(); }
    unsigned int size() const { return static_cast<unsigned int>(bytes_.size()); }
    const std::vector<unsigned char>& bytes() const { return bytes_; }
    std::string text() const { return {bytes_.begin(), bytes_.end()}; }

  private:
    Stream& number(std::uint32_t v, int size) {
        for (int i = 0; i < size; ++i) {
            const int shift = xferSyn_ == UID_BIG_ENDIAN_EXPLICIT ? 8 * (size - 1 - i) : 8 * i;
            bytes_.push_back(static_cast<unsigned char>(v >> shift));
        }
        return *this;
    }

    DICT_UID xferSyn_;
    std::vector<unsigned char> bytes_;
};

#endif
