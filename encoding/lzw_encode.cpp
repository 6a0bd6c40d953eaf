// The private LZW codec: bytes to codes.
#include <algorithm>
#include <array>
#include <cstdint>

#include "encoding/lzw_stream.h"
#include "foundation/bytes.h"

using namespace orvkit::lzw;
using orvkit::ByteOrder;
using orvkit::LzwOutcome;

namespace {

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
    // With `io` the room is emptied there whenever it is full.
    explicit CodeWriter(std::span<unsigned char> room, const DcLzwIo* io = nullptr) noexcept
        : room_(room), io_(io) {}

    bool header(std::uint32_t length) noexcept {
        if (room_.size() < headerSize) return false;
        orvkit::ByteWriter w(room_, ByteOrder::little);
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
        if (room_.size() - at_ < 4 && !spill()) return drain(4);
        orvkit::storeAt(room_.data() + at_, static_cast<std::uint32_t>(bits_), ByteOrder::little);
        at_ += 4;
        bits_ >>= 32;
        bitCount_ -= 32;
        return true;
    }
    bool widen() noexcept {
        if (!flush()) return false;
        largest_ = largestCode(++width_);
        widthBegin_ = at_;
        return true;
    }
    bool flush() noexcept {
        if (!drain((bitCount_ + 7) / 8)) return false;
        bits_ = 0;
        bitCount_ = 0;
        return true;
    }
    bool spill() noexcept {
        if (io_ == nullptr) return false;
        const bool taken = at_ == 0 || io_->write(io_->context, room_.data(), static_cast<unsigned int>(at_));
        at_ = 0;
        return taken;
    }
    unsigned int largest() const noexcept { return largest_; }
    std::size_t size() const noexcept { return at_; }
    // What is left after a failure: the groups that found room.
    std::size_t wholeGroups() const noexcept {
        return at_ == 0 ? 0 : widthBegin_ + (room_.size() - widthBegin_) / width_ * width_;
    }

  private:
    // Writes the first bytes that wait, as far as there is room.
    bool drain(std::size_t bytes) noexcept {
        std::size_t written = 0;
        for (; written < bytes && (at_ < room_.size() || spill()); ++written) {
            room_[at_++] = static_cast<unsigned char>(bits_ >> (8 * written));
        }
        return written == bytes;
    }

    std::span<unsigned char> room_;
    const DcLzwIo* io_;
    std::size_t at_ = 0;
    std::size_t widthBegin_ = 0;
    std::uint64_t bits_ = 0;
    unsigned int bitCount_ = 0;
    unsigned int width_ = minWidth;
    unsigned int largest_ = largestCode(minWidth);
};

// Takes the bytes in pieces of any size.
class Encoder {
  public:
    Encoder(CodeWriter& out, Dictionary& dictionary) noexcept : out_(out), dictionary_(dictionary) {}

    bool begin(std::uint32_t length) noexcept {
        dictionary_.clear();
        return out_.header(length);
    }
    bool feed(std::span<const unsigned char> in) noexcept {
        const unsigned char* p = in.data();
        const unsigned char* const end = p + in.size();
        while (p != end) {
            if (!open_) {
                prefix_ = *p++;
                open_ = true;
            }
            // The loop keeps what it changes for each code out of memory.
            CodeWriter out = out_;
            const bool taken = strings(p, end, out);
            out_ = out;
            if (!taken) return false;
        }
        return true;
    }
    bool finish() noexcept { return (!open_ || out_.put(prefix_)) && out_.flush(); }

  private:
    // Up to the end of the piece or the next CLEAR.
    bool strings(const unsigned char*& p, const unsigned char* end, CodeWriter& out) noexcept {
        std::uint32_t prefix = prefix_;
        std::uint32_t nextFree = nextFree_;
        while (p != end) {
            const std::uint32_t byte = *p++;
            std::uint32_t slot;
            if (const std::uint32_t code = dictionary_.find(prefix, byte, slot)) {
                prefix = code;
                continue;
            }
            if (!out.put(prefix)) return false;
            if (nextFree == encoderCodes) {
                if (!out.put(byte) || !out.put(clearCode)) return false;
                dictionary_.clear();
                nextFree_ = clearCode + 1;
                open_ = false;
                return true;
            }
            dictionary_.enter(slot, prefix, byte, nextFree);
            if (nextFree > out.largest() && !out.widen()) return false;
            ++nextFree;
            prefix = byte;
        }
        prefix_ = prefix;
        nextFree_ = nextFree;
        return true;
    }

    CodeWriter& out_;
    Dictionary& dictionary_;
    std::uint32_t nextFree_ = clearCode + 1;
    std::uint32_t prefix_ = 0;
    bool open_ = false;  // `prefix_` is the code of what has not been written yet
};

}  // namespace

LzwOutcome orvkit::lzwPack(std::span<const unsigned char> in, std::span<unsigned char> out) {
    const auto dictionary = lendTable<Dictionary>();
    if (dictionary.get() == nullptr) return {Fault::memory};
    CodeWriter writer(out);
    Encoder encoder(writer, *dictionary);
    const bool complete =
        encoder.begin(static_cast<unsigned int>(in.size())) && encoder.feed(in) && encoder.finish();
    if (complete) return {Fault::none, writer.size()};
    return {Fault::room, writer.wholeGroups()};
}

LzwOutcome orvkit::lzwPack(const DcLzwIo& io, unsigned int inLen) {
    const auto dictionary = lendTable<Dictionary>();
    const Room in = allocate(pieceSize);
    const Room out = allocate(pieceSize);
    if (dictionary.get() == nullptr || in == nullptr || out == nullptr) return {Fault::memory};
    CodeWriter writer({out.get(), pieceSize}, &io);
    Encoder encoder(writer, *dictionary);
    bool taken = encoder.begin(inLen);
    for (unsigned int left = inLen; taken && left > 0;) {
        const std::size_t wanted = std::min<std::size_t>(left, pieceSize);
        if (readFully(io, {in.get(), wanted}) != static_cast<int>(wanted)) return {Fault::read, 0, left};
        taken = encoder.feed({in.get(), wanted});
        left -= static_cast<unsigned int>(wanted);
    }
    return {taken && encoder.finish() && writer.spill() ? Fault::none : Fault::room};
}
