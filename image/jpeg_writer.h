// What writes a JPEG codestream (ISO 10918-1 Annex B): markers, bits, and the Huffman table that suits the
// frame best.
#ifndef ORVKIT_IMAGE_JPEG_WRITER_H
#define ORVKIT_IMAGE_JPEG_WRITER_H

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>

#include "image/jpeg_header.h"

namespace orvkit::image::jpeg {

struct Code {
    unsigned int bits = 0;
    unsigned int length = 0;
};

struct Coding {
    HuffmanTable table;
    std::array<Code, 256> codes{};  // by symbol
};

// How often each symbol comes, of up to 256.
using Counts = std::vector<std::uint64_t>;
Coding codingOf(Counts counts);

// The bits that a number takes, and how it stands in so many (F.1.2.1).
inline unsigned int sizeOf(int number) {
    return static_cast<unsigned int>(std::bit_width(static_cast<unsigned int>(std::abs(number))));
}
inline unsigned int bitsOf(int number, unsigned int size) {
    return static_cast<unsigned int>(number - (number < 0)) & maskOf(size);
}

class BitWriter {
  public:
    explicit BitWriter(std::vector<unsigned char>& out) : out_(out) {}

    void put(unsigned int bits, unsigned int length) {
        bits_ = bits_ << length | bits;
        count_ += length;
        while (count_ >= 8) {
            count_ -= 8;
            const auto byte = static_cast<unsigned char>(bits_ >> count_);
            out_.push_back(byte);
            if (byte == 0xFF) out_.push_back(0);
        }
    }
    void put(const Code& code) { put(code.bits, code.length); }
    void finish() {
        if (count_ != 0) put(maskOf(8 - count_), 8 - count_);
    }

  private:
    std::vector<unsigned char>& out_;
    std::uint64_t bits_ = 0;
    unsigned int count_ = 0;
};

class SegmentWriter {
  public:
    explicit SegmentWriter(std::vector<unsigned char>& out) : out_(out) {}
    void marker(unsigned char marker) { bytes({0xFF, marker}); }
    void bytes(std::initializer_list<unsigned int> values) {
        for (const unsigned int value : values) out_.push_back(static_cast<unsigned char>(value));
    }
    void word(unsigned int value) { bytes({value >> 8, value}); }
    // `place`: its class, and its number.
    void huffmanTable(unsigned int place, const HuffmanTable& table);

  private:
    std::vector<unsigned char>& out_;
};

}  // namespace orvkit::image::jpeg

#endif
