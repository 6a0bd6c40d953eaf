// Reading Part 10 files (PS3.10 7).
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/walk.h"
#include "foundation/fail.h"
#include "media/file_prefix.h"
#include "media/meta_info.h"
#include "media/part10_reader.h"

using orvkit::ByteSource;
using orvkit::ElemListAccess;
using orvkit::fail;
using orvkit::FilePrefix;
using orvkit::isUncompressed;
using orvkit::kLengthUndefined;
using orvkit::Mode;
using orvkit::Part10;
using orvkit::Walker;
using orvkit::WalkHeader;
using orvkit::WalkStep;

namespace {

constexpr const char* kMetaReporter = "dirReadFileMetaInfo";
// What is held of meta information, however small the limit for data sets is.
constexpr std::uint64_t kMostMeta = std::uint64_t{512} << 20;

int failLimit(const char* reporter, const char* name) {
    return fail(DIR_FILE_SIZE, LOG_ERROR, reporter, "File '%s', size exceeds limit of %g Mbytes", name,
                orvkit::megabytes(orvkit::maxFileSize()));
}

int failPrefix(const FilePrefix& file, const char* reporter, const char* path) {
    if (file.overLimit()) return failLimit(reporter, path);
    if (file.outOfMemory()) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "File '%s', unable to allocate memory", path);
    }
    return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Error reading file '%s'", path);
}

// Class and instance of the data set are the better ones; those of the meta information stay where the data
// set has none.
void takeIdentity(DcElemList& dataset, DcDirMetaInfo& meta) {
    DICT_UID sopClass = UID_NONE;
    char instance[sizeof meta.sopInstanceUid] = "";
    if (ElemListAccess::firstValue(dataset, orvkit::kTagSopClass, sopClass) == RESULT_OK &&
        sopClass != UID_NONE) {
        meta.sopClassUid = sopClass;
    }
    const int result = ElemListAccess::firstValue(dataset, orvkit::kTagSopInstance, instance,
                                                  static_cast<int>(sizeof instance - 1));
    if (result == RESULT_OK && instance[0] != '\0') {
        std::memcpy(meta.sopInstanceUid, instance, sizeof instance);
    }
}

int decode(std::span<unsigned char> bytes, DICT_UID xferSyn, DcDirMetaInfo& meta, DcElemList& dataset) {
    auto length = static_cast<unsigned int>(bytes.size());
    const int result = dataset.parse(bytes.data(), length, xferSyn);
    takeIdentity(dataset, meta);
    return result;
}

int checkLimit(const FilePrefix& file, const Part10& p, const char* reporter) {
    const auto limit = static_cast<std::uint64_t>(orvkit::maxFileSize());
    return file.size() > p.end && file.size() - p.end > limit ? failLimit(reporter, p.path) : RESULT_OK;
}

// Reads what is left of a file and decodes it.
int decodeAll(FilePrefix& file, Part10& p, DICT_UID xferSyn, DcElemList& dataset, const char* reporter) {
    if (const int result = checkLimit(file, p, reporter); result != RESULT_OK) return result;
    file.setLimit(UINT64_MAX);
    if (!file.loadAll()) return failPrefix(file, reporter, p.path);
    const auto bytes = file.bytes();
    return decode(bytes.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(p.end, bytes.size()))),
                  xferSyn, p.meta, dataset);
}

// Opens a file and reads its meta information and the first bytes behind. `statReporter` tells of a file that
// is not there.
int begin(FilePrefix& file, Part10& p, const char* statReporter, std::size_t firstRead) {
    if (p.path == nullptr) {
        p.meta.reset();
        return fail(DIR_NULL_ARGUMENT, LOG_VALIDATION, kMetaReporter, "Null argument passed");
    }
    if (const int result = file.open(p.path, statReporter, kMetaReporter, firstRead); result != RESULT_OK)
        return result;
    // The limit is that of the data set, which begins where the meta information ends.
    const std::uint64_t limit = static_cast<std::uint64_t>(orvkit::maxFileSize()) + FilePrefix::kWithHeader;
    file.setLimit(std::max(limit, kMostMeta));
    const int result = readMeta(p);
    file.setLimit(p.end + limit);
    return result;
}

// ---- Pixel Data read once
// ----------------------------------------------------------------------------------

// Below this, reading everything at once is as good.
constexpr unsigned int kLargePixels = 1 << 20;

// Letters of no VR are a matter for decoding, which tells of them.
bool hasKnownLetters(FilePrefix& file, const WalkHeader& h) {
    if (!h.mode.explicitVr) return true;
    const auto b = file.at(h.offset + 4, 2);
    return b.size() >= 2 && DcDict::vrOfCode(static_cast<char>(b[0]), static_cast<char>(b[1])) != 0;
}

// Whether a file is an image whose large native pixels are its last bytes. `h` receives their header.
bool endsWithLargePixels(FilePrefix& file, const Part10& p, DICT_UID xferSyn, WalkHeader& h) {
    if (!isUncompressed(xferSyn) || file.size() < p.end + kLargePixels) return false;
    Walker walker(file, p.end, file.size(), Mode::of(xferSyn));
    while (walker.peek(h) == WalkStep::element) {
        if (h.tag == orvkit::kTagPixelData) {
            return orvkit::isRawVr(h.vr) && h.length >= kLargePixels && hasKnownLetters(file, h) &&
                   h.length == file.size() - h.valueOffset;
        }
        if (h.tag > orvkit::kTagPixelData || !walker.skip(h)) return false;
    }
    return false;
}

// Reads them straight into the block that the element will own.
int readPixels(FilePrefix& file, const char* path, const WalkHeader& h, DICT_UID xferSyn, DcElemList& dataset,
               const char* reporter) {
    struct Release {
        void operator()(void* p) const noexcept { ::operator delete(p); }
    };
    std::unique_ptr<void, Release> block(::operator new(h.length, std::nothrow));
    if (block == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "File '%s', unable to allocate memory", path);
    }
    const std::int64_t got = orvkit::platform::readAt(file.handle(), block.get(), h.length,
                                                      static_cast<std::int64_t>(h.valueOffset));
    if (got != static_cast<std::int64_t>(h.length)) return failPrefix(file, reporter, path);
    auto* const pixels = new DcElem(h.tag, nullptr, 0, UID_NONE, h.vr, 0);
    (void)dataset.add(pixels);
    DcBuf buffer(block.release(), h.length, xferSyn);
    return pixels->addValue(&buffer);
}

// ---- Pixel Data left on disk ----------------------------------------------------------------------------

// The length of a pixel value that nobody reads: items are stepped over by their headers.
int measurePixels(FilePrefix& file, const WalkHeader& h, const char* reporter, std::uint64_t& length) {
    const std::uint64_t left = file.size() - std::min(h.valueOffset, file.size());
    if (h.length != kLengthUndefined) {
        length = std::min<std::uint64_t>(h.length, left);
        if (h.length <= left) return RESULT_OK;
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, reporter,
                    "valueLen (0x%08x) exceeds the remaining buffer len (0x%08x) at offset 0x%x", h.length,
                    static_cast<unsigned int>(left), static_cast<unsigned int>(h.valueOffset));
    }
    const auto measure = [&](ByteSource& source) {
        Walker walker(source, h.offset, source.size(), h.mode);
        if (walker.skip(h)) {
            length = walker.position() - orvkit::kDelimitationSize - h.valueOffset;
            return RESULT_OK;
        }
        if (source.failed())
            return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Error reading pixel data items");
        // As lenient as decoding.
        length = left;
        return fail(RESULT_OK, LOG_VALIDATION, reporter,
                    "Sequence delimiter not found, assuming full buffer as Pixel Data");
    };
    if (file.holdsAll()) return measure(file);
    orvkit::HandleSource source(file.handle());
    return measure(source);
}

}  // namespace

int dirReadFileMetaInfo(const char* path, DcDirMetaInfo& meta, unsigned int& end) {
    end = 0;
    FilePrefix file;
    Part10 p{file, path, meta};
    const int result = begin(file, p, kMetaReporter, FilePrefix::kMetaOnly);
    if (result == RESULT_OK) end = static_cast<unsigned int>(p.end);
    return result;
}

int dirReadFileMetaInfo(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, unsigned int& end) {
    end = 0;
    if (buf == nullptr) return fail(DIR_NULL_ARGUMENT, LOG_VALIDATION, kMetaReporter, "Null argument passed");
    orvkit::SpanSource source({buf, length});
    Part10 p{source, nullptr, meta};
    const int result = readMeta(p);
    if (result == RESULT_OK) end = static_cast<unsigned int>(p.end);
    return result;
}

int dirReadFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset) {
    constexpr const char* reporter = "dirReadFile";
    FilePrefix file;
    Part10 p{file, path, meta};
    if (const int result = begin(file, p, reporter, FilePrefix::kWithHeader); result != RESULT_OK)
        return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;
    WalkHeader h;
    if (!endsWithLargePixels(file, p, xferSyn, h)) return decodeAll(file, p, xferSyn, dataset, reporter);

    if (const int result = checkLimit(file, p, reporter); result != RESULT_OK) return result;
    const auto header = file.bytes().first(static_cast<std::size_t>(h.offset));
    const int result = decode(header.subspan(static_cast<std::size_t>(p.end)), xferSyn, meta, dataset);
    return result == RESULT_OK ? readPixels(file, path, h, xferSyn, dataset, reporter) : result;
}

int dirReadFile(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, DcElemList& dataset) {
    constexpr const char* reporter = "dirReadFile";
    if (buf == nullptr) return fail(DIR_NULL_ARGUMENT, LOG_VALIDATION, reporter, "Null argument passed");
    orvkit::SpanSource source({buf, length});
    Part10 p{source, nullptr, meta};
    if (const int result = readMeta(p); result != RESULT_OK) return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;
    if (length - p.end > static_cast<unsigned int>(orvkit::maxFileSize()))
        return failLimit(reporter, p.name());
    return decode(std::span(buf, length).subspan(static_cast<std::size_t>(p.end)), xferSyn, meta, dataset);
}

int dirReadNonPixelElem(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, int* pixelOffset,
                        int* pixelLength) {
    constexpr const char* reporter = "dirReadNonPixelElem";
    if (pixelOffset != nullptr) *pixelOffset = -1;
    if (pixelLength != nullptr) *pixelLength = 0;
    FilePrefix file;
    Part10 p{file, path, meta};
    if (const int result = begin(file, p, kMetaReporter, FilePrefix::kWithHeader); result != RESULT_OK)
        return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;

    Walker walker(file, p.end, file.size(), Mode::of(xferSyn), true);
    WalkHeader h;
    WalkStep step;
    while ((step = walker.peek(h)) == WalkStep::element && h.tag != orvkit::kTagPixelData && walker.skip(h)) {
    }
    if (file.failed()) return failPrefix(file, reporter, path);
    // No Pixel Data, or a fault in front of it: decoding tells what and where.
    if (step != WalkStep::element || h.tag != orvkit::kTagPixelData) {
        return decodeAll(file, p, xferSyn, dataset, reporter);
    }
    if (h.offset - p.end > static_cast<std::uint64_t>(orvkit::maxFileSize()))
        return failLimit(reporter, path);

    const auto header = file.bytes().first(static_cast<std::size_t>(h.offset));
    if (const int result = decode(header.subspan(static_cast<std::size_t>(p.end)), xferSyn, meta, dataset);
        result != RESULT_OK) {
        return result;
    }
    std::uint64_t length = 0;
    const int result = measurePixels(file, h, reporter, length);
    if (h.valueOffset > 0xFFFFFFFF || length > 0xFFFFFFFF) return failLimit(reporter, path);
    // Two GByte and more are told as the 32-bit numbers that they are.
    if (pixelOffset != nullptr) *pixelOffset = static_cast<int>(static_cast<unsigned int>(h.valueOffset));
    if (pixelLength != nullptr) *pixelLength = static_cast<int>(static_cast<unsigned int>(length));
    return result;
}
