// Codecs of a data set as a whole: for syntaxes that compress what has been encoded (PS3.5 A.5). The core has
// none; a library beside it registers what it brings.
#ifndef ORVKIT_ENCODING_CODEC_H
#define ORVKIT_ENCODING_CODEC_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "dictionary/syntax_table.h"
#include "encoding/sink.h"
#include "orvkit/export.h"

namespace orvkit {

enum class CodecStep : unsigned char {
    more,     // all input is taken, or the room is full
    ended,    // the stream is complete; input behind it is not taken
    damaged,  // the input is no such stream
    noMemory,
};

// One stream, in either direction.
class CodecStream {
  public:
    virtual ~CodecStream() = default;
    // Takes bytes from the front of `in` and puts bytes at the front of `out`: both become what is left.
    // `last`: nothing follows `in`.
    virtual CodecStep step(std::span<const unsigned char>& in, std::span<unsigned char>& out, bool last) = 0;
    // What is odd about a stream that was read all the same; "" when nothing is.
    virtual const char* remark() const noexcept { return ""; }
};

// A codec makes streams; null without memory.
struct DataSetCodec {
    std::unique_ptr<CodecStream> (*encoder)();
    std::unique_ptr<CodecStream> (*decoder)();
    std::uint64_t (*most)();  // bytes that one stream may become in decoding
};

// What is registered replaces what was; null takes it away. The codec must stay. From any thread.
ORVKIT_API void registerCodec(Packing packing, const DataSetCodec* codec) noexcept;
// Null for a plain syntax, and for one whose codec nobody brought.
ORVKIT_API const DataSetCodec* codecOf(DICT_UID syntax) noexcept;

enum class CodecFault : unsigned char { none, damaged, tooLarge, memory, refused };  // refused: by the sink

// Drives a stream with what is pushed, piece by piece, through a buffer of 64 KiB.
class CodecPump {
  public:
    // What comes out goes to `to`, and never more than `most` bytes: a few bytes may claim to be any number.
    CodecPump(std::unique_ptr<CodecStream> stream, ByteSink& to, std::uint64_t most = UINT64_MAX);

    // The next bytes; `last`: nothing follows. What was produced before a fault has gone to the sink; from
    // then on, and behind the end of the stream, nothing is taken.
    [[nodiscard]] CodecFault push(std::span<const unsigned char> in, bool last);

    bool ended() const noexcept { return ended_; }
    CodecFault fault() const noexcept { return fault_; }
    std::uint64_t taken() const noexcept { return taken_; }
    std::uint64_t given() const noexcept { return given_; }
    const char* remark() const noexcept { return stream_ != nullptr ? stream_->remark() : ""; }

  private:
    [[nodiscard]] CodecFault give(std::span<const unsigned char> bytes);

    std::unique_ptr<CodecStream> stream_;
    ByteSink& to_;
    std::uint64_t most_;
    std::vector<unsigned char> buffer_;
    std::uint64_t taken_ = 0;
    std::uint64_t given_ = 0;
    bool ended_ = false;
    CodecFault fault_ = CodecFault::none;
};

}  // namespace orvkit

#endif
