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
};

// A codec makes streams; null without memory.
struct DataSetCodec {
    std::unique_ptr<CodecStream> (*encoder)();
    std::unique_ptr<CodecStream> (*decoder)();
};

// What is registered replaces what was; null takes it away. The codec must stay. Not while others encode.
void registerCodec(Packing packing, const DataSetCodec* codec) noexcept;
// Null for a plain syntax, and for one whose codec nobody brought.
const DataSetCodec* codecOf(DICT_UID syntax) noexcept;

// A stream run to its end into a block that grows with it.
struct CodecOutcome {
    enum class Fault : unsigned char { none, damaged, tooLarge, memory };
    Fault fault = Fault::none;
    std::size_t taken = 0;  // of the input
};
// Appends to `out`, which never grows beyond `most` bytes: a few bytes may claim to be any number. What was
// produced before a fault stays.
CodecOutcome runCodec(CodecStream* stream, std::span<const unsigned char> in, std::vector<unsigned char>& out,
                      std::size_t most);

}  // namespace orvkit

#endif
