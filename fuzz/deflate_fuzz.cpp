// Deflated data sets: hostile streams as files, whole and in pieces; whatever is deflated must come back.
#include "orvkit/deflate.h"

#include <algorithm>

#include "encoding/codec.h"
#include "fuzz/target.h"
#include "media/part10.h"
#include "orvkit/result.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint64_t kMost = 1 << 20;

const orvkit::DataSetCodec& codec() {
    static const bool ready = (deflateRegister(), (void)deflateSetMaxSize(kMost), true);
    (void)ready;
    return *orvkit::codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT);
}

orvkit::CodecFault push(std::unique_ptr<orvkit::CodecStream> stream, const Bytes& in, std::size_t piece,
                        std::uint64_t most, orvkit::MemorySink& out) {
    orvkit::CodecPump pump(std::move(stream), out, most);
    for (std::size_t at = 0; at < in.size(); at += std::min(piece, in.size() - at))
        (void)pump.push({in.data() + at, std::min(piece, in.size() - at)}, false);
    return pump.push({}, true);
}

bool same(const orvkit::MemorySink& a, std::span<const unsigned char> b) {
    return std::ranges::equal(a.bytes(), b);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const Bytes in = fuzz::content(data, size);
    const std::size_t piece = 1 + data[0] % 16;

    orvkit::MemorySink whole, pieces;
    const orvkit::CodecFault fault = push(codec().decoder(), in, SIZE_MAX, kMost, whole);
    fuzz::require(whole.bytes().size() <= kMost);
    fuzz::require(push(codec().decoder(), in, piece, kMost, pieces) == fault);
    if (fault == orvkit::CodecFault::none) fuzz::require(same(pieces, whole.bytes()));

    orvkit::MemorySink packed, back;
    fuzz::require(push(codec().encoder(), in, piece, UINT64_MAX, packed) == orvkit::CodecFault::none);
    const Bytes stream(packed.bytes().begin(), packed.bytes().end());
    fuzz::require(push(codec().decoder(), stream, piece, UINT64_MAX, back) == orvkit::CodecFault::none);
    fuzz::require(same(back, in));

    // As files: the stream itself, and the input as a data set that was deflated.
    static const Bytes front = part10(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT).bytes();
    for (const Bytes& dataSet : {in, stream}) {
        Bytes file = front;
        file.insert(file.end(), dataSet.begin(), dataSet.end());
        const auto length = static_cast<unsigned int>(file.size());
        DcDirMetaInfo meta;
        DcDirAround around;
        DcElemList all, left;
        const int result = dirReadFile(file.data(), length, meta, all);
        const int other = dirReadAroundPixels(file.data(), length, meta, left, around);
        if (result == ELEM_PACKED_STREAM || result == DIR_FILE_SIZE) fuzz::require(other == result);
    }
    return 0;
}
