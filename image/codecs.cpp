// The codecs, one row a transfer syntax.
#include <algorithm>
#include <array>
#include <string_view>

#include "image/codec.h"
#include "image/jpeg2000_header.h"

namespace orvkit::image {

#if ORVKIT_WITH_OPENJPEG
const Coder kJpeg2000{jpeg2000::inspect, jpeg2000::decode, jpeg2000::encode};
#endif
#if ORVKIT_WITH_OPENJPH
const Coder kHtj2k{jpeg2000::inspect, jpeg2000::decode, jpeg2000::encodeHtj2k};
#endif

namespace {

// What a row takes in and gives back.
enum class Holds { bytes, unsignedOnly, any, jpegOnly };
constexpr bool kLossless = true;
constexpr bool kLossy = false;

// No constant expression: under -fsanitize=undefined g++ has no address in one.
Codec row(const char* uid, const char* name, const char* label, const char* library, const Coder* coder,
          bool lossless, Holds holds, unsigned int minBits, unsigned int maxBits) {
    const bool there = coder != nullptr;
    return {{uid, name, label, library, lossless, holds == Holds::bytes, minBits, maxBits,
             holds == Holds::bytes || holds == Holds::any, true, there,
             there && name[0] != '\0' && holds != Holds::jpegOnly},
            coder};
}

// The codecs of libraries that CMakeLists.txt has found.
constexpr const Coder* kLibjpeg = ORVKIT_WITH_JPEG ? &kJpeg : nullptr;
constexpr const char* kLibjpegName = "libjpeg-turbo (libjpeg62-turbo-dev)";
constexpr const Coder* kCharLs = ORVKIT_WITH_CHARLS ? &kJpegLs : nullptr;
constexpr const char* kCharLsName = "CharLS (libcharls-dev)";
constexpr const Coder* kOpenJpeg = ORVKIT_WITH_OPENJPEG ? &kJpeg2000 : nullptr;
constexpr const char* kOpenJpegName = "OpenJPEG (libopenjp2-7-dev)";
// What OpenJPEG reads, and OpenJPH writes.
constexpr const Coder* kOpenJph = ORVKIT_WITH_OPENJPH ? &kHtj2k : nullptr;
constexpr const char* kOpenJphName = "OpenJPEG and OpenJPH (libopenjp2-7-dev, libopenjph-dev)";
constexpr const Coder* kJxl = ORVKIT_WITH_JXL ? &kJpegXl : nullptr;
constexpr const Coder* kJxlOfJpeg = ORVKIT_WITH_JXL ? &kJpegXlOfJpeg : nullptr;
constexpr const char* kJxlName = "libjxl (libjxl-dev)";
constexpr const Coder* kZlib = ORVKIT_WITH_ZLIB ? &kDeflated : nullptr;
constexpr const char* kZlibName = "zlib (zlib1g-dev)";

// clang-format off
const std::array kCodecs{
    //  transfer syntax           name                   label           library       codec           loss       holds                bits stored
    row("1.2.840.10008.1.2",      "",                    "Uncompressed", "",           &kUncompressed, kLossless, Holds::bytes,         1, 64),
    row("1.2.840.10008.1.2.1",    "",                    "Uncompressed", "",           &kUncompressed, kLossless, Holds::bytes,         1, 64),
    row("1.2.840.10008.1.2.1.99", "",                    "Uncompressed", "",           &kUncompressed, kLossless, Holds::bytes,         1, 64),
    row("1.2.840.10008.1.2.1.98", "uncompressed-frames", "Uncompressed", "",           &kUncompressed, kLossless, Holds::bytes,         1, 64),
    row("1.2.840.10008.1.2.5",    "rle",                 "RLE",          "",           &kRle,          kLossless, Holds::bytes,         1, 64),
    row("1.2.840.10008.1.2.4.50", "jpeg",                "JPEG",         kLibjpegName, kLibjpeg,       kLossy,    Holds::unsignedOnly,  8,  8),
    row("1.2.840.10008.1.2.4.51", "jpeg-extended",       "JPEG",         "",           &kJpegExtended, kLossy,    Holds::unsignedOnly, 12, 12),
    row("1.2.840.10008.1.2.4.57", "jpeg-process14",      "JPEG",         "",           &kJpegLossless, kLossless, Holds::any,           2, 16),
    row("1.2.840.10008.1.2.4.70", "jpeg-lossless",       "JPEG",         "",           &kJpegLossless, kLossless, Holds::any,           2, 16),
    row("1.2.840.10008.1.2.4.80", "jpegls",              "JPEG-LS",      kCharLsName,  kCharLs,        kLossless, Holds::any,           2, 16),
    row("1.2.840.10008.1.2.4.81", "jpegls-near",         "JPEG-LS",      kCharLsName,  kCharLs,        kLossy,    Holds::any,           2, 16),
    row("1.2.840.10008.1.2.4.90", "j2k",                 "JPEG 2000",    kOpenJpegName, kOpenJpeg,     kLossless, Holds::any,           1, 16),
    row("1.2.840.10008.1.2.4.91", "j2k-lossy",           "JPEG 2000",    kOpenJpegName, kOpenJpeg,     kLossy,    Holds::any,           1, 16),
    row("1.2.840.10008.1.2.4.201", "htj2k",              "HTJ2K",        kOpenJphName,  kOpenJph,      kLossless, Holds::any,           1, 16),
    row("1.2.840.10008.1.2.4.202", "htj2k-rpcl",         "HTJ2K",        kOpenJphName,  kOpenJph,      kLossless, Holds::any,           1, 16),
    row("1.2.840.10008.1.2.4.203", "htj2k-lossy",        "HTJ2K",        kOpenJphName,  kOpenJph,      kLossy,    Holds::any,           1, 16),
    row("1.2.840.10008.1.2.4.110", "jxl",                "JPEG XL",      kJxlName,      kJxl,          kLossless, Holds::unsignedOnly,  1, 16),
    row("1.2.840.10008.1.2.4.111", "jxl-jpeg",           "JPEG XL",      kJxlName,      kJxlOfJpeg,    kLossy,    Holds::jpegOnly,      8,  8),
    row("1.2.840.10008.1.2.4.112", "jxl-lossy",          "JPEG XL",      kJxlName,      kJxl,          kLossy,    Holds::unsignedOnly,  1, 16),
    row("1.2.840.10008.1.2.8.1",  "deflated-frames",     "Deflated",     kZlibName,     kZlib,         kLossless, Holds::bytes,         1, 64),
};
// clang-format on

const auto kFacts = [] {
    std::array<DcImageCodec, kCodecs.size()> facts{};
    for (std::size_t i = 0; i < facts.size(); ++i) facts[i] = kCodecs[i].facts;
    return facts;
}();

}  // namespace

const Codec* findCodec(const char* uidOrName) noexcept {
    const std::string_view wanted = uidOrName != nullptr ? uidOrName : "";
    const auto* found = std::ranges::find_if(kCodecs, [&](const Codec& codec) {
        return !wanted.empty() && (codec.facts.uid == wanted || codec.facts.name == wanted);
    });
    return found == kCodecs.end() ? nullptr : found;
}

}  // namespace orvkit::image

const DcImageCodec* imageCodecs(std::size_t& count) noexcept {
    count = orvkit::image::kFacts.size();
    return orvkit::image::kFacts.data();
}

const DcImageCodec* imageFindCodec(const char* uidOrName) noexcept {
    const orvkit::image::Codec* codec = orvkit::image::findCodec(uidOrName);
    return codec != nullptr ? &codec->facts : nullptr;
}
