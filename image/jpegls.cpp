// JPEG-LS (ISO 14495-1), lossless and near-lossless, by CharLS.
#include <charls/charls.h>

#include "image/codec.h"
#include "image/module.h"

namespace orvkit::image {

namespace {

// CharLS tells of faults by exceptions; of memory by one of its own.
template <typename Work>
Fault guarded(int code, Work work) {
    try {
        work();
        return {};
    } catch (const charls::jpegls_error& error) {
        if (error.code() == charls::jpegls_errc::not_enough_memory) throw std::bad_alloc();
        return {code, error.what()};
    }
}

Fault inspect(const DcImagePixels&, Bytes stream, Header& header) {
    return guarded(IMAGE_STREAM, [&] {
        charls::jpegls_decoder decoder(stream, true);
        const charls::frame_info& info = decoder.frame_info();
        header.rows = info.height;
        header.columns = info.width;
        header.samples = static_cast<unsigned int>(info.component_count);
        header.bits = static_cast<unsigned int>(info.bits_per_sample);
        header.lossy = decoder.near_lossless() != 0;
    });
}

// Behind a stream that stops without a marker CharLS goes on for many seconds.
bool endsInMarker(Bytes stream) {
    if (!stream.empty() && stream.back() == 0) stream = stream.first(stream.size() - 1);  // to an even length
    return stream.size() >= 2 && stream[stream.size() - 2] == 0xFF && stream.back() == 0xD9;
}

Fault decode(DecodeJob& job) {
    return guarded(IMAGE_STREAM, [&] {
        Scratch ended;
        if (!endsInMarker(job.stream)) {
            ended.assign(job.stream.begin(), job.stream.end());
            ended.insert(ended.end(), {0xFF, 0xD9});
        }
        charls::jpegls_decoder decoder(ended.empty() ? job.stream : Bytes(ended), true);
        job.planar = decoder.interleave_mode() == charls::interleave_mode::none;
        decoder.decode(job.samples.data(), job.samples.size());
    });
}

Fault encode(EncodeJob& job) {
    const unsigned int most = std::min(255u, maskOf(job.pixels.bitsStored) / 2);
    const unsigned int near = job.lossless ? 0 : job.options.nearLossless;
    if (!job.lossless && (near < 1 || near > most)) {
        return {IMAGE_OPTION, "values may change by 1 to " + std::to_string(most)};
    }
    return guarded(IMAGE_CODEC, [&] {
        charls::jpegls_encoder encoder;
        encoder.frame_info({job.pixels.columns, job.pixels.rows, static_cast<int>(job.pixels.bitsStored),
                            static_cast<int>(job.pixels.samples)});
        encoder.near_lossless(static_cast<int>(near));
        if (job.pixels.samples > 1) encoder.interleave_mode(charls::interleave_mode::sample);
        const std::size_t before = job.out.size();
        job.out.resize(before + encoder.estimated_destination_size());
        encoder.destination(job.out.data() + before, job.out.size() - before);
        job.out.resize(before + encoder.encode(job.samples.data(), job.samples.size()));
    });
}

}  // namespace

const Coder kJpegLs{inspect, decode, encode};

}  // namespace orvkit::image

ORVKIT_IMAGE_PART const orvkit::image::Coder* orvkitJpegLs() {
    return &orvkit::image::kJpegLs;
}
