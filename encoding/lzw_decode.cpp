// The private LZW codec: codes to bytes.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "encoding/lzw_stream.h"
#include "foundation/bytes.h"

using namespace orvkit::lzw;
using orvkit::ByteOrder;
using orvkit::loadAt;
using orvkit::LzwOutcome;

namespace {

// Takes codes from bytes that it is shown.
class BitReader {
  public:
    // Goes on behind the current group.
    void widen() noexcept {
        const std::uint64_t group = std::uint64_t{width_} * 8;
        const std::uint64_t begun = (at_ - widthBegin_) % group;
        if (begun != 0) at_ += group - begun;
        widthBegin_ = at_;
        ++width_;
    }
    unsigned int width() const noexcept { return width_; }

  protected:
    // What begins at byte `begin` of the stream.
    void show(std::span<const unsigned char> codes, std::uint64_t begin) noexcept {
        codes_ = codes;
        begin_ = begin;
        end_ = (begin + codes.size()) * 8;
    }
    bool take(std::uint32_t& code) noexcept {
        if (at_ + width_ > end_) return false;
        const auto byte = static_cast<std::size_t>(at_ / 8 - begin_);
        code = static_cast<std::uint32_t>(word(byte) >> at_ % 8) & largestCode(width_);
        at_ += width_;
        return true;
    }
    // Bytes shown that no code needs any more, and where they begin.
    std::size_t taken() const noexcept {
        return static_cast<std::size_t>(std::min<std::uint64_t>(at_ / 8 - begin_, codes_.size()));
    }
    std::span<const unsigned char> shown() const noexcept { return codes_; }
    std::uint64_t begin() const noexcept { return begin_; }

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
    std::uint64_t begin_ = 0;  // byte of the stream at which codes_ begins
    std::uint64_t end_ = 0;    // all other positions in bits
    std::uint64_t at_ = 0;
    std::uint64_t widthBegin_ = 0;
    unsigned int width_ = minWidth;
};

// All codes behind the header. Nothing here calls out, so that the decoder's state can stay in registers.
class HeldCodes : public BitReader {
  public:
    explicit HeldCodes(std::span<const unsigned char> codes) noexcept { show(codes, 0); }

    bool next(std::uint32_t& code) noexcept { return take(code); }
    static constexpr bool failed() noexcept { return false; }
};

// The same from a reader, through `room`.
class StreamedCodes : public BitReader {
  public:
    StreamedCodes(std::span<unsigned char> room, const DcLzwIo& io) noexcept : room_(room), io_(io) {}

    bool next(std::uint32_t& code) noexcept {
        while (!take(code)) {
            if (!refill()) return false;
        }
        return true;
    }
    bool failed() const noexcept { return failed_; }

  private:
    bool refill() noexcept {
        const auto rest = shown().subspan(taken());
        std::copy(rest.begin(), rest.end(), room_.begin());
        const int got = io_.read(io_.context, room_.data() + rest.size(),
                                 static_cast<unsigned int>(room_.size() - rest.size()));
        failed_ = got < 0;
        if (got <= 0) return false;
        show(room_.first(rest.size() + static_cast<std::size_t>(got)), begin() + taken());
        return true;
    }

    std::span<unsigned char> room_;
    const DcLzwIo& io_;
    bool failed_ = false;
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

// What a string is made of, for those whose piece has gone: the code of all but its last byte, and that.
struct Chains {
    std::array<std::uint16_t, decoderCodes + 1> prefix;
    std::array<unsigned char, decoderCodes + 1> last;
};

// The bytes that the decoder writes. All of them are held, in the room that there is.
class HeldOutput {
  public:
    HeldOutput(unsigned char* room, std::uint32_t size) noexcept : data_(room), room_(size) {}

    static constexpr bool moves = false;
    unsigned char* at(std::uint32_t position) noexcept { return data_ + position; }
    std::uint32_t size() const noexcept { return at_; }
    std::uint32_t room() const noexcept { return room_ - at_; }
    void advance(std::uint32_t n) noexcept { at_ += n; }

  private:
    unsigned char* data_;
    std::uint32_t room_;
    std::uint32_t at_ = 0;
};

// The same through a window, whose older half leaves it when it is full.
class StreamedOutput {
  public:
    StreamedOutput(std::span<unsigned char> window, const DcLzwIo& io) noexcept : window_(window), io_(io) {}

    static constexpr bool moves = true;
    unsigned char* at(std::uint32_t position) noexcept { return window_.data() + (position - begin_); }
    bool holds(std::uint32_t position) const noexcept { return position >= begin_; }
    std::uint32_t size() const noexcept { return at_; }
    std::uint32_t room() const noexcept {
        return static_cast<std::uint32_t>(window_.size()) - (at_ - begin_);
    }
    void advance(std::uint32_t n) noexcept { at_ += n; }

    // Makes room for any string; false when what was written is refused, or is more than a value can hold.
    bool prepare() noexcept {
        if (room() >= longest) return true;
        if (!deliver() || at_ > UINT32_MAX - window_.size()) return false;
        const auto kept = static_cast<std::uint32_t>(window_.size() / 2);
        std::memmove(window_.data(), at(at_ - kept), kept);
        begin_ = at_ - kept;
        return true;
    }
    bool deliver() noexcept {
        const std::uint32_t from = std::exchange(delivered_, at_);
        return from == at_ || io_.write(io_.context, at(from), at_ - from);
    }

  private:
    static constexpr std::uint32_t longest = decoderCodes + 64;

    std::span<unsigned char> window_;
    const DcLzwIo& io_;
    std::uint32_t begin_ = 0;  // what the window begins with
    std::uint32_t at_ = 0;
    std::uint32_t delivered_ = 0;
};

template <typename Codes, typename Output>
class Decoder {
  public:
    Decoder(Codes reader, unsigned char flags, Output output, Strings& strings, Chains* chains) noexcept
        : reader_(reader),
          strings_(strings),
          chains_(chains),
          out_(output),
          limit_(largestCode(flags & widthMask)),
          clears_((flags & blockMode) != 0) {}

    LzwOutcome run() noexcept {
        std::uint32_t code;
        while (reader_.next(code)) {
            // The first code, and the one behind a CLEAR, stands for a byte; its upper bits mean nothing.
            if (!prepared()) return ends(Fault::room);
            const auto byte = static_cast<unsigned char>(code);
            *out_.at(out_.size()) = byte;
            last_ = {out_.size(), 1};
            lastCode_ = byte;
            out_.advance(1);
            nextFree_ = clears_ ? clearCode + 1 : clearCode;
            bool cleared = false;
            if (const Fault fault = strings(cleared); fault != Fault::none) return ends(fault);
            if (!cleared) break;
        }
        if (reader_.failed()) return ends(Fault::read);
        if constexpr (Output::moves) {
            if (!out_.deliver()) return ends(Fault::room);
        }
        return ends(Fault::none);
    }

  private:
    static constexpr std::uint32_t chunk = 16;

    // Whether there is room for a byte, and in a window for any string.
    bool prepared() noexcept {
        if constexpr (Output::moves) {
            return out_.prepare();
        } else {
            return out_.room() != 0;
        }
    }

    LzwOutcome ends(Fault fault) const noexcept { return {fault, out_.size(), code_}; }

    Fault strings(bool& cleared) noexcept {
        std::uint32_t code;
        bool frozen = false;
        while (reader_.next(code)) {
            if (code == clearCode && clears_) {
                cleared = true;
                return Fault::none;
            }
            if constexpr (Output::moves) {
                if (!out_.prepare()) return Fault::room;
            }
            // The string that this code completes: the last one and the byte that is to come.
            strings_.piece[nextFree_] = {last_.at, last_.length + 1};
            if (code >= nextFree_) {
                if (code > nextFree_) {
                    code_ = code;
                    return Fault::code;
                }
                // That byte is then the last string's own first.
                if (out_.room() != 0) *out_.at(out_.size()) = *out_.at(last_.at);
            }
            const std::uint32_t begun = out_.size();
            if (!copy(code)) return Fault::room;
            if constexpr (Output::moves) {
                chains_->prefix[nextFree_] = static_cast<std::uint16_t>(lastCode_);
                chains_->last[nextFree_] = *out_.at(begun);
                lastCode_ = code;
            }
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
        last_ = {out_.size(), piece.length};
        if constexpr (Output::moves) {
            if (code >= 256 && !out_.holds(piece.at)) return rebuild(code, piece.length);
        }
        const unsigned char* from = code < 256 ? strings_.bytes.data() + code : out_.at(piece.at);
        unsigned char* to = out_.at(out_.size());
        const std::uint32_t room = out_.room();
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
                out_.advance(room);
                return false;
            }
        }
        out_.advance(piece.length);
        return true;
    }
    // From its last byte to its first, or to a string that is still there. From now on this is its piece.
    bool rebuild(std::uint32_t code, std::uint32_t length) noexcept {
        unsigned char* const to = out_.at(out_.size());
        std::uint32_t left = length;
        for (std::uint32_t c = code; left > 0; c = chains_->prefix[c]) {
            const bool byte = c < 256;
            if (byte || out_.holds(strings_.piece[c].at)) {
                std::memcpy(to, byte ? strings_.bytes.data() + c : out_.at(strings_.piece[c].at), left);
                break;
            }
            to[--left] = chains_->last[c];
        }
        strings_.piece[code].at = out_.size();
        out_.advance(length);
        return true;
    }

    Codes reader_;
    Strings& strings_;
    Chains* chains_;  // null where every piece stays
    Output out_;
    std::uint32_t limit_;
    std::uint32_t nextFree_ = 0;
    std::uint32_t lastCode_ = 0;
    Piece last_ = {};
    std::uint32_t code_ = 0;  // the one that was not found
    bool clears_;
};

LzwOutcome checkHeader(std::span<const unsigned char> header) {
    if (header.size() < headerSize || !std::equal(std::begin(magic), std::end(magic), header.begin())) {
        return {Fault::magic};
    }
    const unsigned int width = header[2] & widthMask;
    return {width <= maxWidth ? Fault::none : Fault::width, 0, width};
}

// Strings are seldom older than what it holds.
constexpr std::size_t windowSize = std::size_t{4} << 20;

}  // namespace

LzwOutcome orvkit::lzwUnpack(std::span<const unsigned char> in, std::span<unsigned char> out) {
    if (const LzwOutcome header = checkHeader(in); header.fault != Fault::none) return header;
    const auto strings = lendTable<Strings>();
    if (strings.get() == nullptr) return {Fault::memory};
    const HeldOutput output(out.data(), static_cast<unsigned int>(out.size()));
    return Decoder(HeldCodes(in.subspan(headerSize)), in[2], output, *strings, nullptr).run();
}

LzwOutcome orvkit::lzwUnpack(const DcLzwIo& io) {
    const auto strings = lendTable<Strings>();
    const auto chains = lendTable<Chains>();
    const Room codes = allocate(pieceSize);
    const Room window = allocate(windowSize);
    if (strings.get() == nullptr || chains.get() == nullptr || codes == nullptr || window == nullptr)
        return {Fault::memory};
    unsigned char header[headerSize];
    const int got = readFully(io, header);
    if (got < 0) return {Fault::read};
    const auto read = std::span(header).first(static_cast<std::size_t>(got));
    if (const LzwOutcome checked = checkHeader(read); checked.fault != Fault::none) return checked;
    const StreamedCodes reader({codes.get(), pieceSize}, io);
    return Decoder(reader, header[2], StreamedOutput({window.get(), windowSize}, io), *strings, chains.get())
        .run();
}
