// Bits of a JPEG scan, and Huffman codes in them.
#ifndef ORVKIT_IMAGE_JPEG_HUFFMAN_H
#define ORVKIT_IMAGE_JPEG_HUFFMAN_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>

#include "image/jpeg_header.h"

namespace orvkit::image::jpeg {

// The bits of a scan up to the next marker; behind it there are zeros without end.
class BitReader {
  public:
    explicit BitReader(Bytes in) : at_(in.data()), end_(in.data() + in.size()) {}

    // At least 48 bits are there to look at afterwards.
    void refill() {
        if (count_ >= 48) return;
        if (end_ - at_ >= 8) {
            std::uint64_t next;
            std::memcpy(&next, at_, sizeof next);
            if (!hasFF(next)) {
                if constexpr (std::endian::native == std::endian::little) next = swapped(next);
                const unsigned int bytes = (63 - count_) / 8;
                bits_ |= next >> count_;
                at_ += bytes;
                count_ += 8 * bytes;
                return;
            }
        }
        refillByByte();
    }
    unsigned int peek(unsigned int n) const { return static_cast<unsigned int>(bits_ >> (64 - n)); }
    void drop(unsigned int n) {
        bits_ <<= n;
        count_ -= n;
    }
    // Of 1 to 16 bits; after a refill three times.
    unsigned int take(unsigned int n) {
        const unsigned int value = peek(n);
        drop(n);
        return value;
    }
    // Whether bits were taken that are not there.
    bool overrun() const { return invented_ > count_; }
    // Leaves the bits that remain, and the restart marker behind them; false where there is none.
    bool restart() {
        if (overrun()) return false;
        bits_ = 0;
        count_ = invented_ = 0;
        while (end_ - at_ >= 2 && at_[0] == 0xFF && at_[1] == 0xFF) ++at_;
        if (end_ - at_ < 2 || at_[0] != 0xFF || at_[1] < restart0 || at_[1] > restart7) return false;
        at_ += 2;
        return true;
    }
    const unsigned char* position() const { return at_; }

  private:
    static bool hasFF(std::uint64_t v) { return ((~v - 0x0101010101010101u) & v & 0x8080808080808080u) != 0; }
    static std::uint64_t swapped(std::uint64_t v) {
        v = (v & 0x00FF00FF00FF00FFu) << 8 | (v >> 8 & 0x00FF00FF00FF00FFu);
        v = (v & 0x0000FFFF0000FFFFu) << 16 | (v >> 16 & 0x0000FFFF0000FFFFu);
        return v << 32 | v >> 32;
    }
    void refillByByte() {
        while (count_ <= 56) {
            std::uint64_t byte = 0;
            const bool stuffed = end_ - at_ >= 2 && at_[0] == 0xFF && at_[1] == 0;
            if (at_ < end_ && (at_[0] != 0xFF || stuffed)) {
                byte = at_[0];
                at_ += stuffed ? 2 : 1;
            } else {
                invented_ += 8;
            }
            bits_ |= byte << (56 - count_);
            count_ += 8;
        }
    }

    const unsigned char* at_;
    const unsigned char* end_;
    std::uint64_t bits_ = 0;     // from the top
    unsigned int count_ = 0;     // that are there
    unsigned int invented_ = 0;  // of them, zeros behind the end
};

// Codes of up to 16 bits by canonical comparison, and those whose code and value together are short by one
// look.
class HuffmanDecoder {
  public:
    static constexpr unsigned int kLook = 12;
    struct Entry {
        std::int16_t value;
        std::uint8_t length;  // of code and value; 0: not this way
        std::uint8_t symbol;
    };

    // What symbols are: numbers of bits, or zeros in front and a number of bits.
    enum class Symbols { sizes, runs };
    explicit HuffmanDecoder(const HuffmanTable& table, Symbols symbols = Symbols::sizes);

    const Entry& look(const BitReader& bits) const { return entries_[bits.peek(kLook)]; }
    // The symbol of the next code; 256 for bits that are no code.
    unsigned int symbol(BitReader& bits) const {
        const unsigned int next = bits.peek(16);
        unsigned int length = 1;
        while (length <= 16 && next >= limit_[length]) ++length;
        if (length > 16) return 256;
        bits.drop(length);
        return symbols_[(offset_[length] + (next >> (16 - length))) & 0xFF];
    }
    // A number of `size` bits, of which the lower half of the range stands for negative ones (F.2.2.1).
    static int extended(unsigned int value, unsigned int size) {
        return static_cast<int>(value) - ((value >> (size - 1)) != 0 ? 0 : (1 << size) - 1);
    }

  private:
    void fillEntries(const HuffmanTable& table, Symbols symbols);

    std::array<unsigned int, 17> limit_{};   // first code, at 16 bits, that is longer
    std::array<unsigned int, 17> offset_{};  // from a code to its symbol's place, modulo 2^32
    std::array<unsigned char, 256> symbols_;
    std::array<Entry, 1u << kLook> entries_{};
};

}  // namespace orvkit::image::jpeg

#endif
