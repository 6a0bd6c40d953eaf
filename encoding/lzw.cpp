#include "encoding/lzw.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "foundation/bytes.h"

namespace orvkit {
namespace {

using Fault = LzwOutcome::Fault;

constexpr std::size_t headerSize = 8;
constexpr unsigned char magic[] = {0x1F, 0x9D};
constexpr unsigned char blockMode = 0x80;
constexpr unsigned char widthMask = 0x1F;
constexpr unsigned int minWidth = 9;
constexpr unsigned int maxWidth = 16;
constexpr unsigned int clearCode = 256;
// The encoder clears its table when the next free code gets here; a decoder may meet every code of 16 bits.
constexpr unsigned int encoderCodes = 61440;
constexpr unsigned int decoderCodes = 65536;

constexpr unsigned int largestCode(unsigned int width) noexcept {
    return (1U << width) - 1;
}

// ---- encoding -------------------------------------------------------------------------------------------

// The strings of the encoder: (code of the prefix, next byte) to code. Only what is found in it matters to
// the stream, not how it is looked for. Open addressing with at most half of the slots in use; in front of it
// the last string found behind each prefix, since in images the same one mostly comes again.
class Dictionary {
  public:
    // The code, or 0 with `slot` set to where the string is to be entered.
    std::uint32_t find(std::uint32_t prefix, std::uint32_t byte, std::uint32_t& slot) noexcept {
        const Recent recent = recent_[prefix];
        if (recent.byte == byte && recent.code != 0) return recent.code;
        const std::uint32_t key = prefix << 8 | byte;
        slot = key * 0x9E3779B1U >> (32 - slotBits);
        for (std::uint32_t step = 1; slots_[slot].code != 0; ++step) {
            if (slots_[slot].key == key) {
                remember(prefix, byte, slots_[slot].code);
                return slots_[slot].code;
            }
            slot = (slot + step) % slots;
        }
        return 0;
    }
    void enter(std::uint32_t slot, std::uint32_t prefix, std::uint32_t byte, std::uint32_t code) noexcept {
        slots_[slot] = {prefix << 8 | byte, code};
        remember(prefix, byte, code);
    }
    void clear() noexcept {
        slots_.fill({});
        recent_.fill({});
    }

  private:
    struct Entry {
        std::uint32_t key;
        std::uint32_t code;
    };
    struct Recent {
        std::uint16_t code;
        std::uint16_t byte;
    };
    void remember(std::uint32_t prefix, std::uint32_t byte, std::uint32_t code) noexcept {
        recent_[prefix] = {static_cast<std::uint16_t>(code), static_cast<std::uint16_t>(byte)};
    }

    static constexpr unsigned int slotBits = 17;
    static constexpr std::uint32_t slots = 1U << slotBits;
    std::array<Entry, slots> slots_;
    std::array<Recent, encoderCodes> recent_;
};

// Packs codes behind the header. A change of width would have to fill up the group of 8 codes, but here it
// never finds one begun: 256 codes are written 9 bits wide, and 512, 1024 and so on in the wider ones.
class CodeWriter {
  public:
    explicit CodeWriter(std::span<unsigned char> room) noexcept : room_(room) {}

    bool header(std::uint32_t length) noexcept {
        if (room_.size() < headerSize) return false;
        ByteWriter w(room_, ByteOrder::little);
        w.bytes(magic, sizeof magic);
        w.u8(blockMode | maxWidth);
        w.u8(0);
        w.u32(length);
        at_ = widthBegin_ = headerSize;
        return true;
    }
    bool put(std::uint32_t code) noexcept {
        bits_ |= std::uint64_t{code} << bitCount_;
        bitCount_ += width_;
        if (bitCount_ < 32) return true;
        if (room_.size() - at_ < 4) return drain(4);
        storeAt(room_.data() + at_, static_cast<std::uint32_t>(bits_), ByteOrder::little);
        at_ += 4;
        bits_ >>= 32;
        bitCount_ -= 32;
        return true;
    }
    bool widen() noexcept {
        if (!flush()) return false;
        ++width_;
        widthBegin_ = at_;
        return true;
    }
    bool flush() noexcept {
        if (!drain((bitCount_ + 7) / 8)) return false;
        bits_ = 0;
        bitCount_ = 0;
        return true;
    }
    unsigned int width() const noexcept { return width_; }
    std::size_t size() const noexcept { return at_; }
    // What is left after a failure: the groups that found room.
    std::size_t wholeGroups() const noexcept {
        return at_ == 0 ? 0 : widthBegin_ + (room_.size() - widthBegin_) / width_ * width_;
    }

  private:
    // Writes the first bytes that wait, as far as there is room.
    bool drain(std::size_t bytes) noexcept {
        std::size_t written = 0;
        for (; written < bytes && at_ < room_.size(); ++written) {
            room_[at_++] = static_cast<unsigned char>(bits_ >> (8 * written));
        }
        return written == bytes;
    }

    std::span<unsigned char> room_;
    std::size_t at_ = 0;
    std::size_t widthBegin_ = 0;
    std::uint64_t bits_ = 0;
    unsigned int bitCount_ = 0;
    unsigned int width_ = minWidth;
};

bool encode(std::span<const unsigned char> in, CodeWriter& out, Dictionary& dictionary) noexcept {
    if (!out.header(static_cast<std::uint32_t>(in.size()))) return false;
    dictionary.clear();
    std::uint32_t nextFree = clearCode + 1;
    const unsigned char* p = in.data();
    const unsigned char* const end = p + in.size();
    while (p != end) {
        std::uint32_t prefix = *p++;
        for (;;) {
            if (p == end) return out.put(prefix) && out.flush();
            const std::uint32_t byte = *p++;
            std::uint32_t slot;
            if (const std::uint32_t code = dictionary.find(prefix, byte, slot)) {
                prefix = code;
                continue;
            }
            if (!out.put(prefix)) return false;
            if (nextFree == encoderCodes) {
                if (!out.put(byte) || !out.put(clearCode)) return false;
                dictionary.clear();
                nextFree = clearCode + 1;
                break;
            }
            dictionary.enter(slot, prefix, byte, nextFree);
            if (nextFree > largestCode(out.width()) && !out.widen()) return false;
            ++nextFree;
            prefix = byte;
        }
    }
    return out.flush();
}

// ---- decoding -------------------------------------------------------------------------------------------

// Takes codes from the stream behind the header.
class CodeReader {
  public:
    explicit CodeReader(std::span<const unsigned char> codes) noexcept
        : codes_(codes), end_(std::uint64_t{codes.size()} * 8) {}

    bool next(std::uint32_t& code) noexcept {
        if (at_ + width_ > end_) return false;
        const auto byte = static_cast<std::size_t>(at_ / 8);
        code = static_cast<std::uint32_t>(word(byte) >> at_ % 8) & largestCode(width_);
        at_ += width_;
        return true;
    }
    // Goes on behind the current group.
    void widen() noexcept {
        const std::uint64_t group = std::uint64_t{width_} * 8;
        const std::uint64_t begun = (at_ - widthBegin_) % group;
        if (begun != 0) at_ += group - begun;
        widthBegin_ = at_;
        ++width_;
    }
    unsigned int width() const noexcept { return width_; }

  private:
    std::uint32_t word(std::size_t byte) const noexcept {
        if (codes_.size() - byte >= sizeof(std::uint32_t)) {
            return loadAt<std::uint32_t>(codes_.data() + byte, ByteOrder::little);
        }
        unsigned char last[sizeof(std::uint32_t)] = {};
        std::copy(codes_.begin() + static_cast<std::ptrdiff_t>(byte), codes_.end(), last);
        return loadAt<std::uint32_t>(last, ByteOrder::little);
    }

    std::span<const unsigned char> codes_;
    std::uint64_t end_;  // all positions in bits
    std::uint64_t at_ = 0;
    std::uint64_t widthBegin_ = 0;
    unsigned int width_ = minWidth;
};

// A string of the decoder is a piece of what it has already written.
struct Piece {
    std::uint32_t at;
    std::uint32_t length;
};

struct Strings {
    std::array<Piece, decoderCodes + 1> piece;
    std::array<unsigned char, 256 + 15> bytes;
    Strings() noexcept {
        for (unsigned int i = 0; i < 256; ++i) {
            piece[i] = {0, 1};
            bytes[i] = static_cast<unsigned char>(i);
        }
    }
};

class Decoder {
  public:
    Decoder(std::span<const unsigned char> codes, unsigned char flags, unsigned char* out, std::uint32_t room,
            Strings& strings) noexcept
        : reader_(codes),
          strings_(strings),
          out_(out),
          room_(room),
          limit_(largestCode(flags & widthMask)),
          clears_((flags & blockMode) != 0) {}

    LzwOutcome run() noexcept {
        std::uint32_t code;
        while (reader_.next(code)) {
            // The first code, and the one behind a CLEAR, stands for a byte; its upper bits mean nothing.
            if (at_ == room_) return ends(Fault::room);
            out_[at_] = static_cast<unsigned char>(code);
            last_ = {at_++, 1};
            nextFree_ = clears_ ? clearCode + 1 : clearCode;
            bool cleared = false;
            if (const Fault fault = strings(cleared); fault != Fault::none) return ends(fault);
            if (!cleared) break;
        }
        return ends(Fault::none);
    }

  private:
    static constexpr std::uint32_t chunk = 16;

    LzwOutcome ends(Fault fault) const noexcept { return {fault, at_, code_}; }

    Fault strings(bool& cleared) noexcept {
        std::uint32_t code;
        bool frozen = false;
        while (reader_.next(code)) {
            if (code == clearCode && clears_) {
                cleared = true;
                return Fault::none;
            }
            // The string that this code completes: the last one and the byte that is to come.
            strings_.piece[nextFree_] = {last_.at, last_.length + 1};
            if (code >= nextFree_) {
                if (code > nextFree_) {
                    code_ = code;
                    return Fault::code;
                }
                // That byte is then the last string's own first.
                if (at_ < room_) out_[at_] = out_[last_.at];
            }
            if (!copy(code)) return Fault::room;
            if (frozen) continue;
            if (nextFree_ > limit_) return Fault::codes;
            if (nextFree_ == largestCode(reader_.width())) {
                if (nextFree_ < limit_) {
                    reader_.widen();
                } else {
                    frozen = true;
                }
            }
            ++nextFree_;
        }
        return Fault::none;
    }

    // Writes a code's string; what has no room is left out, and the answer is false.
    bool copy(std::uint32_t code) noexcept {
        const Piece piece = strings_.piece[code];
        const unsigned char* from = code < 256 ? strings_.bytes.data() + code : out_ + piece.at;
        unsigned char* to = out_ + at_;
        last_ = {at_, piece.length};
        const std::uint32_t room = room_ - at_;
        if (room >= chunk && piece.length <= room - chunk) {
            // Whole chunks: what they write too much is overwritten later.
            std::uint32_t done = 0;
            do {
                unsigned char block[chunk];
                std::memcpy(block, from + done, chunk);
                std::memcpy(to + done, block, chunk);
                done += chunk;
            } while (done < piece.length);
        } else {
            std::copy_n(from, std::min(piece.length, room), to);
            if (piece.length > room) {
                at_ = room_;
                return false;
            }
        }
        at_ += piece.length;
        return true;
    }

    CodeReader reader_;
    Strings& strings_;
    unsigned char* out_;
    std::uint32_t room_;
    std::uint32_t at_ = 0;
    std::uint32_t limit_;
    std::uint32_t nextFree_ = 0;
    Piece last_ = {};
    std::uint32_t code_ = 0;  // the one that was not found
    bool clears_;
};

// Tables of the calling thread, made when it first needs them; null without memory.
template <typename Table>
Table* threadTable() noexcept {
    thread_local std::unique_ptr<Table> table;
    if (!table) table.reset(new (std::nothrow) Table);
    return table.get();
}

}  // namespace

LzwOutcome lzwPack(std::span<const unsigned char> in, std::span<unsigned char> out) noexcept {
    Dictionary* const dictionary = threadTable<Dictionary>();
    if (dictionary == nullptr) return {Fault::memory};
    CodeWriter writer(out);
    if (encode(in, writer, *dictionary)) return {Fault::none, writer.size()};
    return {Fault::room, writer.wholeGroups()};
}

LzwOutcome lzwUnpack(std::span<const unsigned char> in, std::span<unsigned char> out) noexcept {
    if (in.size() < headerSize || !std::equal(std::begin(magic), std::end(magic), in.begin())) {
        return {Fault::magic};
    }
    const unsigned int width = in[2] & widthMask;
    if (width > maxWidth) return {Fault::width, 0, width};
    Strings* const strings = threadTable<Strings>();
    if (strings == nullptr) return {Fault::memory};
    return Decoder(in.subspan(headerSize), in[2], out.data(), static_cast<std::uint32_t>(out.size()),
                   *strings)
        .run();
}

}  // namespace orvkit
