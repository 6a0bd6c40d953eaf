// The library's face: what callers give is looked at, codes and words go back.
#include "orvkit/image.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>

#include "image/codec.h"
#include "image/isolation.h"
#include "image/jpeg_header.h"

namespace {

using orvkit::image::Bytes;
using orvkit::image::Call;
using orvkit::image::Codec;
using orvkit::image::Fault;
using Calls = orvkit::image::Work;

constexpr const char* kPhotometric[] = {"",        "MONOCHROME1", "MONOCHROME2",  "PALETTE COLOR",
                                        "RGB",     "YBR_FULL",    "YBR_FULL_422", "YBR_PARTIAL_420",
                                        "YBR_ICT", "YBR_RCT",     "XYB"};

Bytes bytes(const void* data, std::size_t length) {
    return {static_cast<const unsigned char*>(data), data == nullptr ? 0 : length};
}

// Has the codec's work done, here by `work` or elsewhere as the call says, and tells how it went.
template <typename Work>
int tell(const char* uid, Call call, DcImageResult* result, Work work) noexcept {
    DcImageResult unused;
    DcImageResult& found = result != nullptr ? *result : unused;
    found = {};
    found.pixels = call.pixels;
    const Codec* codec = call.codec = orvkit::image::findCodec(uid);
    if (codec == nullptr) {
        (void)std::snprintf(found.text, sizeof found.text, "no codec for %s", uid != nullptr ? uid : "null");
        return IMAGE_NO_CODEC;
    }
    try {
        const bool isElsewhere = call.work != orvkit::image::Work::nothing && isIsolated(*codec, call.in);
        const Fault fault = isElsewhere ? callIsolated(call, found) : work(*codec, found);
        if (fault) {
            (void)std::snprintf(found.text, sizeof found.text, "%s: %s", codec->facts.label,
                                fault.words.c_str());
        }
        return fault.code;
    } catch (const std::bad_alloc&) {
        (void)std::snprintf(found.text, sizeof found.text, "%s: memory is short", codec->facts.label);
        return IMAGE_NO_MEMORY;
    } catch (...) {  // libraries throw texts and numbers, too
        (void)std::snprintf(found.text, sizeof found.text, "%s: the library gave up without a word",
                            codec->facts.label);
        return IMAGE_CODEC;
    }
}

}  // namespace

const char* imagePhotometricText(DcPhotometric photometric) noexcept {
    const auto index = static_cast<std::size_t>(photometric);
    return index < std::size(kPhotometric) ? kPhotometric[index] : "";
}

DcPhotometric imagePhotometricOf(const char* text) noexcept {
    std::string_view term = text != nullptr ? text : "";
    while (!term.empty() && term.back() == ' ') term.remove_suffix(1);
    const auto* found = std::find(std::begin(kPhotometric), std::end(kPhotometric), term);
    return found == std::end(kPhotometric) ? DcPhotometric::none
                                           : static_cast<DcPhotometric>(found - std::begin(kPhotometric));
}

int imageCheckPixels(const DcImagePixels& pixels) noexcept {
    constexpr unsigned int kAllocated[] = {1, 8, 16, 32, 64};
    const auto within = [](unsigned int value, unsigned int least, unsigned int most) {
        return value >= least && value <= most;
    };
    const bool sound = within(pixels.rows, 1, 65535) && within(pixels.columns, 1, 65535) &&
                       within(pixels.samples, 1, 4) &&
                       std::ranges::find(kAllocated, pixels.bitsAllocated) != std::end(kAllocated) &&
                       within(pixels.bitsStored, 1, pixels.bitsAllocated) &&
                       within(pixels.highBit, pixels.bitsStored - 1, pixels.bitsAllocated - 1);
    return sound ? RESULT_OK : IMAGE_PIXELS;
}

unsigned long long imageFrameBytes(const DcImagePixels& pixels) noexcept {
    if (imageCheckPixels(pixels) != RESULT_OK) return 0;
    return (std::uint64_t{pixels.rows} * pixels.columns * pixels.samples * pixels.bitsAllocated + 7) / 8;
}

int imageCheckFrame(const char* uid, const DcImagePixels& says, const void* stream, std::size_t length,
                    DcImageResult* result) noexcept {
    const Call call{Calls::check, nullptr, says, bytes(stream, length)};
    return tell(uid, call, result, [&](const Codec& codec, DcImageResult& found) {
        orvkit::image::Header header;
        Fault fault = checkFrame(codec, says, bytes(stream, length), header);
        found.precision = header.bits;
        found.lossy = header.lossy;
        return fault;
    });
}

int imageDecodeFrame(const char* uid, const DcImagePixels& says, const void* stream, std::size_t length,
                     void* frame, std::size_t room, DcImageResult* result) noexcept {
    const orvkit::image::Room out(static_cast<unsigned char*>(frame), frame == nullptr ? 0 : room);
    const Call call{Calls::decode, nullptr, says, bytes(stream, length), out};
    return tell(uid, call, result, [&](const Codec& codec, DcImageResult& found) {
        return decodeFrame(codec, says, bytes(stream, length), out, found);
    });
}

int imageDescribeJpeg(const void* stream, std::size_t length, DcImageResult& says,
                      const char*& uid) noexcept {
    uid = nullptr;
    const DcImagePixels none;
    return tell("1.2.840.10008.1.2.4.50", Call{Calls::nothing, nullptr, none, {}}, &says,
                [&](const Codec&, DcImageResult& found) {
                    return orvkit::image::jpeg::describe(bytes(stream, length), found, uid);
                });
}

int imageRepackJpeg(const void* stream, std::size_t length, bool pack, std::vector<unsigned char>& out,
                    DcImageResult* result) noexcept {
    const auto work = [&](const Codec& codec, DcImageResult&) {
        const std::size_t before = out.size();
        Fault fault;
        if (codec.coder == nullptr) {
            fault = {IMAGE_NO_CODEC, std::string("this build is without ") + codec.facts.library};
        } else {
            fault = (pack ? codec.coder->packJpeg : codec.coder->unpackJpeg)(bytes(stream, length), out);
        }
        if (fault) out.resize(before);
        return fault;
    };
    const DcImagePixels none;
    const Call call{pack ? Calls::pack : Calls::unpack, nullptr, none, bytes(stream, length), {}, &out};
    return tell("jxl-jpeg", call, result, work);
}

int imageEncodeFrame(const char* uidOrName, const DcImagePixels& pixels, const void* frame,
                     std::size_t length, const DcImageOptions& options, std::vector<unsigned char>& stream,
                     DcImageResult* result) noexcept {
    const Call call{Calls::encode, nullptr, pixels, bytes(frame, length), {}, &stream, options};
    return tell(uidOrName, call, result, [&](const Codec& codec, DcImageResult& found) {
        const std::size_t before = stream.size();
        try {
            return encodeFrame(codec, pixels, bytes(frame, length), options, stream, found);
        } catch (const std::bad_alloc&) {
            stream.resize(before);
            throw;
        }
    });
}
