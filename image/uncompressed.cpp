// Frames that are not compressed at all, one a fragment (PS3.5 A.4.11) or native.
#include <algorithm>

#include "image/codec.h"

namespace orvkit::image {

namespace {

// One byte more than a frame of odd length makes a fragment even.
Fault inspect(const DcImagePixels& says, Bytes stream, Header& header) {
    const unsigned long long frame = imageFrameBytes(says);
    if (stream.size() < frame || stream.size() - frame > 1) {
        return damaged(std::to_string(stream.size()) + " bytes for a frame of " + std::to_string(frame));
    }
    header = {says.rows, says.columns, says.samples, says.bitsStored, says.isSigned, false};
    return {};
}

Fault decode(DecodeJob& job) {
    std::copy_n(job.stream.begin(), job.samples.size(), job.samples.begin());
    return {};
}

Fault encode(EncodeJob& job) {
    job.out.insert(job.out.end(), job.samples.begin(), job.samples.end());
    return {};
}

}  // namespace

const Coder kUncompressed{inspect, decode, encode};

}  // namespace orvkit::image
