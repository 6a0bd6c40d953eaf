#include "services/import_source.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "orvkit/dict.h"
#include "orvkit/image.h"
#include "orvkit/keywords.h"
#include "orvkit/render.h"
#include "orvkit/result.h"
#include "services/elements.h"
#include "services/mp4.h"

namespace services {
namespace {

namespace platform = orvkit::platform;
using namespace std::string_view_literals;

constexpr std::int64_t kMostToJoin = std::int64_t{1} << 30;
constexpr std::uint64_t kMostOfFragment = 0xFFFFFFFE;

constexpr unsigned int kMostPages = 4096;

constexpr const char* kCapture = "1.2.840.10008.5.1.4.1.1.7";

std::string number(const char* format, double value) {
    char text[32];
    (void)std::snprintf(text, sizeof text, format, value);
    return text;
}

// The Image Pixel module (PS3.3 C.7.6.3) but for the pixels.
void putPixels(DcElemList& list, const DcImagePixels& pixels) {
    put(list, DcTag::SamplesPerPixel, static_cast<unsigned short>(pixels.samples));
    put(list, DcTag::PhotometricInterpretation, imagePhotometricText(pixels.photometric));
    if (pixels.samples > 1) put(list, DcTag::PlanarConfiguration, static_cast<unsigned short>(0));
    put(list, DcTag::Rows, static_cast<unsigned short>(pixels.rows));
    put(list, DcTag::Columns, static_cast<unsigned short>(pixels.columns));
    put(list, DcTag::BitsAllocated, static_cast<unsigned short>(pixels.bitsAllocated));
    put(list, DcTag::BitsStored, static_cast<unsigned short>(pixels.bitsStored));
    put(list, DcTag::HighBit, static_cast<unsigned short>(pixels.bitsStored - 1));
    put(list, DcTag::PixelRepresentation, static_cast<unsigned short>(0));
}

void putLoss(DcElemList& list, double ratio, const char* method) {
    put(list, DcTag::LossyImageCompression, "01");
    put(list, DcTag::LossyImageCompressionRatio, number("%.4g", ratio));
    put(list, DcTag::LossyImageCompressionMethod, method);
}

DcImagePixels pictureBytes(const DcPicture& picture) {
    DcImagePixels pixels;
    pixels.rows = picture.height();
    pixels.columns = picture.width();
    pixels.samples = picture.samples();
    pixels.bitsAllocated = pixels.bitsStored = picture.bits();
    pixels.photometric = picture.samples() == 1 ? DcPhotometric::monochrome2 : DcPhotometric::rgb;
    return pixels;
}

// Behind a mark of the byte order, and blanks.
std::string_view textStart(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
    const std::size_t from = text.find_first_not_of(" \t\r\n");
    return from == std::string_view::npos ? "" : text.substr(from);
}

// 80 bytes of anything, the number of triangles, and 50 bytes for each.
bool isBinaryStl(std::string_view head, std::int64_t size) {
    if (head.size() < 84) return false;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(head.data());
    const auto triangles = orvkit::loadAt<std::uint32_t>(bytes + 80, orvkit::ByteOrder::little);
    return size == 84 + std::int64_t{50} * triangles && triangles > 0;
}

}  // namespace

bool ImportSource::open(const std::string& path) {
    platform::FileInfo info;
    if (!platform::examine(path.c_str(), info)) return fail(std::strerror(errno));
    if (info.kind != platform::FileKind::regular) return fail("not a regular file");
    size_ = static_cast<std::int64_t>(info.size);
    file_ = platform::openRead(path.c_str());
    if (!file_) return fail(std::strerror(errno));
    std::string head(4096, '\0');
    const std::int64_t got = platform::readAt(file_.get(), head.data(), head.size(), 0);
    if (got < 0) return fail(std::strerror(errno));
    head.resize(static_cast<std::size_t>(got));
    const std::string_view text = textStart(head);
    if (head.starts_with("%PDF-")) return openDocument("1.2.840.10008.5.1.4.1.1.104.1", "application/pdf");
    if (text.starts_with("<") && text.find("ClinicalDocument") != std::string_view::npos) {
        return openDocument("1.2.840.10008.5.1.4.1.1.104.2", "text/xml");
    }
    if ((text.starts_with("solid") && text.find("facet") != std::string_view::npos) ||
        isBinaryStl(head, size_)) {
        kind_ = ImportKind::model;
        note_ = "the lengths of a model have no unit: they are told to be millimetres";
        return openDocument("1.2.840.10008.5.1.4.1.1.104.3", "model/stl");
    }
    if (head.size() > 8 && head.compare(4, 4, "ftyp") == 0) return openMp4();
    if (head.starts_with("\0\0\1\xBA"sv) || head.starts_with("\0\0\1\xB3"sv)) return openMpeg2();
    if (size_ > kMostToJoin) return fail("too large for a picture");
    std::string bytes(static_cast<std::size_t>(size_), '\0');
    if (platform::readAt(file_.get(), bytes.data(), bytes.size(), 0) != size_)
        return fail(std::strerror(errno));
    return head.starts_with("\xFF\xD8\xFF") ? openJpeg(bytes) : openPictures(bytes);
}

// ---- values -----------------------------------------------------------------------------------------------

// Encapsulated: an empty table of offsets, and the head of the one fragment, whose length pad() fills in.
bool ImportSource::beginValue(bool encapsulated) {
    if (!value_.begin()) return fail(std::string("no room for a temporary file: ") + std::strerror(errno));
    if (!encapsulated) return true;
    constexpr unsigned char heads[] = {0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0, 0xFE, 0xFF, 0x00, 0xE0};
    unsigned char length[4];
    if (static_cast<std::uint64_t>(size_) > kMostOfFragment) return fail("too large for one fragment");
    orvkit::storeAt(length, static_cast<std::uint32_t>(size_ + size_ % 2), orvkit::ByteOrder::little);
    return append(heads, sizeof heads) && append(length, sizeof length);
}

bool ImportSource::append(const void* bytes, std::size_t length) {
    written_ += length;
    if (platform::writeAll(value_.forWriting(), bytes, length)) return true;
    return fail(std::string("a temporary file cannot be written: ") + std::strerror(errno));
}

bool ImportSource::appendFile() {
    if (platform::copyRange(file_.get(), 0, value_.forWriting(), size_) != size_)
        return fail(std::string("cannot be copied: ") + std::strerror(errno));
    written_ += static_cast<std::uint64_t>(size_);
    return pad();
}

bool ImportSource::pad() {
    return written_ % 2 == 0 || append("", 1);
}

void ImportSource::describe(DcElemList& dataset) {
    unsigned short allocated = 8;
    (void)elements_.getValue(DcTag::BitsAllocated, allocated);
    (void)elements_.moveElem(&dataset);
    if (written_ == 0) return;
    DcBuf value(value_.takeReading().release(), 0, 0, xferSyn_);
    (void)value.setPlace64(0, written_);
    auto element =
        std::make_unique<DcElem>(DcTag::PixelData, nullptr, 0, UID_NONE, allocated > 8 ? VR_OW : VR_OB, 0);
    orvkit::needMemory(element->addValue(&value));
    dataset.add(element.release());
}

// ---- pictures ---------------------------------------------------------------------------------------------

// One frame, or as many as there are pages (PS3.3 A.8).
void ImportSource::chooseCapture() {
    unsigned short samples = 1;
    unsigned short bits = 8;
    (void)elements_.getValue(DcTag::SamplesPerPixel, samples);
    (void)elements_.getValue(DcTag::BitsAllocated, bits);
    sopClass_ = kCapture;
    if (elements_.getValueCount(DcTag::NumberOfFrames) <= 0) return;
    sopClass_ += samples == 3 ? ".4" : bits > 8 ? ".3" : ".2";
    if (samples == 3) return;
    put(elements_, DcTag::RescaleIntercept, "0");
    put(elements_, DcTag::RescaleSlope, "1");
    put(elements_, DcTag::RescaleType, "US");
    put(elements_, DcTag::PresentationLUTShape, "IDENTITY");
}

bool ImportSource::openPictures(const std::string& bytes) {
    DcPicture picture;
    DcPictureFound found;
    DcRenderFault fault;
    DcImagePixels first;
    if (!beginValue(false)) return false;
    for (unsigned int page = 1; page == 1 || page <= found.pages; ++page) {
        if (pictureRead(bytes.data(), bytes.size(), page, picture, found, &fault) != RESULT_OK) {
            if (found.format == PICTURE_UNKNOWN)
                return fail("neither a picture, a document nor a video that is known here");
            return fail(found.pages > 1 ? "page " + std::to_string(page) + ": " + fault.text : fault.text);
        }
        if (found.pages > kMostPages) return fail("more than " + std::to_string(kMostPages) + " pages");
        if (found.alpha != 0) note_ = "its transparency is left away";
        const DcImagePixels pixels = pictureBytes(picture);
        if (page == 1) {
            first = pixels;
            putPixels(elements_, pixels);
            if (found.pages > 1) put(elements_, DcTag::NumberOfFrames, std::to_string(found.pages));
            if (picture.profile() != nullptr) {
                elements_.add(new DcElem(DcTag::ICCProfile, const_cast<unsigned char*>(picture.profile()),
                                         picture.profileLength() & ~1u, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB,
                                         0));
            }
        } else if (pixels.rows != first.rows || pixels.columns != first.columns ||
                   pixels.samples != first.samples || pixels.bitsAllocated != first.bitsAllocated) {
            return fail("page " + std::to_string(page) + " is of another size or kind than the first");
        }
        for (unsigned int y = 0; y < picture.height(); ++y) {
            const auto length = static_cast<std::size_t>(picture.rowBytes());
            if (std::endian::native == std::endian::big)
                orvkit::swapUnits({picture.row(y), length}, picture.bits() / 8);
            if (!append(picture.row(y), length)) return false;
        }
    }
    chooseCapture();
    return pad();
}

// The codestream is kept where it is one that the standard knows.
bool ImportSource::openJpeg(const std::string& bytes) {
    DcImageResult says;
    const char* uid = nullptr;
    if (imageDescribeJpeg(bytes.data(), bytes.size(), says, uid) != RESULT_OK) return fail(says.text);
    DcImagePixels pixels = says.pixels;
    if (pixels.samples != 1 && pixels.samples != 3)
        return fail("JPEG: " + std::to_string(pixels.samples) + " samples a pixel");
    const double ratio = static_cast<double>(imageFrameBytes(pixels)) / static_cast<double>(bytes.size());
    if (uid != nullptr) {
        (void)Dict.getUidDef(uid, xferSyn_);
        if (!beginValue(true) || !appendFile()) return false;
    } else {
        // Its process is none of the standard's: the pixels are kept as they are unpacked.
        if (pixels.samples == 3) pixels.photometric = DcPhotometric::rgb;
        constexpr const char* baseline = "1.2.840.10008.1.2.4.50";
        if (imageCheckFrame(baseline, pixels, bytes.data(), bytes.size(), &says) != RESULT_OK)
            return fail(says.text);
        std::vector<unsigned char> frame(static_cast<std::size_t>(imageFrameBytes(pixels)));
        if (imageDecodeFrame(baseline, pixels, bytes.data(), bytes.size(), frame.data(), frame.size(),
                             &says) != RESULT_OK) {
            return fail(says.text);
        }
        note_ = "its codestream is progressive, for which there is no transfer syntax: stored unpacked";
        if (!beginValue(false) || !append(frame.data(), frame.size()) || !pad()) return false;
    }
    putPixels(elements_, pixels);
    if (says.lossy) putLoss(elements_, ratio, "ISO_10918_1");
    chooseCapture();
    return true;
}

// ---- documents and videos ---------------------------------------------------------------------------------

bool ImportSource::openDocument(const char* sopClass, const char* mime) {
    if (kind_ != ImportKind::model) kind_ = ImportKind::document;
    sopClass_ = sopClass;
    if (size_ > kMostToJoin) return fail("too large for a document");
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size_ + size_ % 2));
    if (platform::readAt(file_.get(), bytes.data(), static_cast<std::size_t>(size_), 0) != size_)
        return fail(std::strerror(errno));
    elements_.add(new DcElem(DcTag::EncapsulatedDocument, bytes.data(),
                             static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0));
    put(elements_, DcTag::MIMETypeOfEncapsulatedDocument, mime);
    elements_.add(new DcElem(DcTag::EncapsulatedDocumentLength, static_cast<unsigned int>(size_)));
    return true;
}

bool ImportSource::openVideo(const char* syntax, unsigned int rows, unsigned int columns, unsigned int frames,
                             double rate) {
    kind_ = ImportKind::video;
    sopClass_ = "1.2.840.10008.5.1.4.1.1.77.1.4.1";
    (void)Dict.getUidDef(syntax, xferSyn_);
    if (!beginValue(true) || !appendFile()) return false;
    DcImagePixels pixels;
    pixels.rows = rows;
    pixels.columns = columns;
    pixels.samples = 3;
    pixels.bitsAllocated = pixels.bitsStored = 8;
    pixels.photometric = DcPhotometric::ybrPartial420;
    putPixels(elements_, pixels);
    if (frames > 0) put(elements_, DcTag::NumberOfFrames, std::to_string(frames));
    if (rate > 0) {
        put(elements_, DcTag::FrameTime, number("%.6g", 1000 / rate));
        put(elements_, DcTag::CineRate, number("%.0f", rate));
    }
    elements_.add(new DcElem(DcTag::FrameIncrementPointer, unsigned{DcTag::FrameTime}));
    // Tells whether the last byte is padding.
    elements_.add(new DcElem(DcTag::EncapsulatedPixelDataValueTotalLength, std::to_string(size_).c_str()));
    const std::string_view uid = syntax;
    const char* const method = uid.ends_with(".100") || uid.ends_with(".101")   ? "ISO_13818_2"
                               : uid.ends_with(".107") || uid.ends_with(".108") ? "ISO_23008_2"
                                                                                : "ISO_14496_10";
    const double native = 3.0 * rows * columns * std::max(frames, 1u);
    putLoss(elements_, native / static_cast<double>(size_), method);
    return true;
}

bool ImportSource::openMp4() {
    Mp4Video video;
    if (std::string why = readMp4(file_.get(), size_, video); !why.empty()) return fail("MP4: " + why);
    return openVideo(video.syntax, video.rows, video.columns, video.frames, video.rate);
}

// The sequence header (ISO 13818-2 6.2.2.1) says the size; how many pictures there are, nothing does.
bool ImportSource::openMpeg2() {
    constexpr double rates[] = {0, 24000 / 1001.0, 24, 25, 30000 / 1001.0, 30, 50, 60000 / 1001.0, 60};
    std::string head(1 << 16, '\0');
    const std::int64_t got = platform::readAt(file_.get(), head.data(), head.size(), 0);
    const std::size_t at = head.find("\0\0\1\xB3"sv);
    if (got < 0 || at == std::string::npos || at + 8 > static_cast<std::size_t>(got))
        return fail("MPEG-2: no sequence header in the first 64 KiB");
    const auto* const b = reinterpret_cast<const unsigned char*>(head.data()) + at + 4;
    const unsigned int sides = unsigned{b[0]} << 16 | unsigned{b[1]} << 8 | b[2];
    const unsigned int columns = sides >> 12;
    const unsigned int rows = sides & 0xFFFu;
    const unsigned int rate = b[3] & 15u;
    const bool isHigh = columns > 720 || rows > 576;
    return openVideo(isHigh ? "1.2.840.10008.1.2.4.101" : "1.2.840.10008.1.2.4.100", rows, columns, 0,
                     rate < std::size(rates) ? rates[rate] : 0);
}

}  // namespace services
