// Reading Part 10 files (PS3.10 7).
#include <algorithm>
#include <cctype>
#include <cstring>

#include "dataset/raw_walker.h"
#include "foundation/fail.h"
#include "media/file_prefix.h"
#include "media/meta_info.h"

using orvkit::ByteOrder;
using orvkit::ByteSource;
using orvkit::fail;
using orvkit::FilePrefix;
using orvkit::kLengthUndefined;
using orvkit::RawHeader;
using orvkit::RawMode;
using orvkit::RawStep;
using orvkit::RawWalker;

namespace {

constexpr const char* kMetaReporter = "dirReadFileMetaInfo";
constexpr std::size_t kFirstBytes = 136;  // preamble, "DICM" and the tag of the first element

// A file, or a block of memory, on its way into a record and a data set.
struct Part10 {
    ByteSource& source;
    const char* path;  // null for memory
    DcDirMetaInfo& meta;
    std::uint64_t end = kFirstBytes;  // where the data set begins
    char syntaxText[65] = "";         // the transfer syntax as the file names it

    const char* name() const { return path != nullptr ? path : "(memory)"; }
};

unsigned int groupAt(std::span<const unsigned char> b, std::size_t at, ByteOrder order) {
    return b.size() >= at + 2 ? orvkit::loadAt<std::uint16_t>(b.data() + at, order) : 0xFFFF;
}

bool hasVrAt(std::span<const unsigned char> b, std::size_t at) {
    return b.size() >= at + 2 &&
           DcDict::vrOfCode(static_cast<char>(b[at]), static_cast<char>(b[at + 1])) != 0;
}

// What the bytes of a file are that is no Part 10 file.
const char* describe(std::span<const unsigned char> b) {
    if (b.size() >= 132 && std::memcmp(b.data() + 128, "DICM", 4) == 0) {
        return "no file meta information behind the preamble";
    }
    if (groupAt(b, 0, ByteOrder::little) == 2 && hasVrAt(b, 4)) {
        return "file meta information without a preamble";
    }
    const unsigned int group = std::min(groupAt(b, 0, ByteOrder::little), groupAt(b, 0, ByteOrder::big));
    const bool plausible = group >= 0x0004 && group <= 0x0028;
    if (plausible && hasVrAt(b, 4)) return "a bare data set in explicit VR without file meta information";
    if (plausible && b.size() >= 8 &&
        orvkit::loadAt<std::uint32_t>(b.data() + 4, ByteOrder::little) < 0x10000) {
        return "a bare data set in implicit VR without file meta information";
    }
    return "no DICOM file";
}

int failMeta(std::uint64_t offset) {
    return fail(DIR_READ_WRITE, LOG_ERROR, kMetaReporter, "Error reading fileMetaInfo at offset 0x%x",
                static_cast<unsigned int>(offset));
}

// Walks the elements of group 0002; their group length is not asked. `end` receives where they stop.
int walkMeta(ByteSource& source, std::uint64_t& end) {
    RawWalker walker(source, orvkit::kMetaOffset, source.size(), RawMode::explicitLittle());
    RawHeader h;
    while (true) {
        const RawStep step = walker.peek(h);
        end = walker.position();
        if (step == RawStep::failed) return failMeta(end);
        if (step == RawStep::end) {
            const auto rest = source.at(end, 2);
            const bool clean = rest.empty() || (rest.size() >= 2 && groupAt(rest, 0, ByteOrder::little) != 2);
            return clean && !source.failed() ? RESULT_OK : failMeta(end);
        }
        if (h.tag >> 16 != 2) return RESULT_OK;
        if (!walker.skip(h)) return failMeta(end);
    }
}

int readMeta(Part10& p) {
    p.meta.reset();
    const auto first = p.source.at(0, kFirstBytes);
    if (p.source.failed()) return failMeta(0);
    if (first.size() < kFirstBytes || std::memcmp(first.data() + 128, "DICM", 4) != 0 ||
        groupAt(first, orvkit::kMetaOffset, ByteOrder::little) != 2) {
        return fail(DIR_NOT_PART10, LOG_ERROR, kMetaReporter, "File '%s' is not a Part 10 file: %s", p.name(),
                    describe(first));
    }
    std::memcpy(p.meta.preamble, first.data(), orvkit::kPreambleSize);
    if (const int result = walkMeta(p.source, p.end); result != RESULT_OK) return result;

    const std::uint64_t size = p.end - orvkit::kMetaOffset;
    const auto bytes = p.source.at(orvkit::kMetaOffset, static_cast<std::size_t>(size));
    if (bytes.size() < size || size > 0xFFFFFFFF) return failMeta(orvkit::kMetaOffset);
    DcElemList group;
    auto length = static_cast<unsigned int>(size);
    const int parsed =
        group.parse(const_cast<unsigned char*>(bytes.data()), length, UID_LITTLE_ENDIAN_EXPLICIT);
    const int filled = dirElemListToFileMetaInfo(group, p.meta);
    if (DcElem* e = nullptr; group.getElem(orvkit::kTagMetaTransferSyntax, &e) == RESULT_OK) {
        (void)e->getValue(p.syntaxText, static_cast<int>(sizeof p.syntaxText), 0);
    }
    return parsed != RESULT_OK ? DIR_META_INFO : filled;
}

// ---- the data set
// ----------------------------------------------------------------------------------------------

// How the first element of a data set looks.
DICT_UID guessSyntax(std::span<const unsigned char> b) {
    if (!hasVrAt(b, 4)) return UID_LITTLE_ENDIAN_IMPLICIT;
    return groupAt(b, 0, ByteOrder::big) < groupAt(b, 0, ByteOrder::little) ? UID_BIG_ENDIAN_EXPLICIT
                                                                            : UID_LITTLE_ENDIAN_EXPLICIT;
}

// The syntax to read the data set in. One that is not known is looked up in the bytes: all that have come
// since are explicit little endian.
int settleSyntax(Part10& p, const char* reporter, DICT_UID& xferSyn) {
    const auto first = p.source.at(p.end, 8);
    xferSyn = p.meta.transferSyntax;
    const DcDictUidInfo* info = Dict.findUid(xferSyn);
    if (info == nullptr || info->type != UID_TYPE_XFER_SYN) {
        xferSyn = guessSyntax(first);
        logReport(LOG_NOTICE, reporter, "File '%s', Transfer Syntax UID '%s' is not known, read as %s",
                  p.name(), p.syntaxText, orvkit::uidText(xferSyn));
    }
    if (xferSyn == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT && !first.empty() && !hasVrAt(first, 4)) {
        return fail(ELEM_XFER_SYNTAX, LOG_ERROR, reporter, "File '%s', the data set is deflated (%s)",
                    p.name(), orvkit::uidText(xferSyn));
    }
    return RESULT_OK;
}

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
    if (dataset.getValue(orvkit::kTagSopClass, sopClass, 0) == RESULT_OK && sopClass != UID_NONE) {
        meta.sopClassUid = sopClass;
    }
    const int result =
        dataset.getValue(orvkit::kTagSopInstance, instance, static_cast<int>(sizeof instance), 0);
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

// Reads what is left of a file and decodes it.
int decodeAll(FilePrefix& file, Part10& p, DICT_UID xferSyn, DcElemList& dataset, const char* reporter) {
    const auto limit = static_cast<std::uint64_t>(orvkit::maxFileSize());
    if (file.size() > p.end && file.size() - p.end > limit) return failLimit(reporter, p.path);
    file.setLimit(UINT64_MAX);
    if (!file.loadAll()) return failPrefix(file, reporter, p.path);
    const auto bytes = file.bytes();
    return decode(bytes.subspan(static_cast<std::size_t>(std::min<std::uint64_t>(p.end, bytes.size()))),
                  xferSyn, p.meta, dataset);
}

// Opens a file and reads its meta information and the first bytes behind.
int begin(FilePrefix& file, Part10& p, std::size_t firstRead) {
    if (p.path == nullptr) {
        p.meta.reset();
        return fail(DIR_NULL_ARGUMENT, LOG_VALIDATION, kMetaReporter, "Null argument passed");
    }
    if (const int result = file.open(p.path, kMetaReporter, firstRead); result != RESULT_OK) return result;
    file.setLimit(static_cast<std::uint64_t>(orvkit::maxFileSize()) + FilePrefix::kWithHeader);
    return readMeta(p);
}

// ---- Pixel Data left on disk
// -----------------------------------------------------------------------------------

// The length of a pixel value that nobody reads: items are stepped over by their headers.
int measurePixels(FilePrefix& file, const RawHeader& h, const char* reporter, std::uint64_t& length) {
    const std::uint64_t left = file.size() - std::min(h.valueOffset, file.size());
    if (h.length != kLengthUndefined) {
        length = std::min<std::uint64_t>(h.length, left);
        if (h.length <= left) return RESULT_OK;
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, reporter,
                    "valueLen (0x%08x) exceeds the remaining buffer len (0x%08x) at offset 0x%x", h.length,
                    static_cast<unsigned int>(left), static_cast<unsigned int>(h.valueOffset));
    }
    const auto measure = [&](ByteSource& source) {
        RawWalker walker(source, h.offset, source.size(), h.mode);
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
    const int result = begin(file, p, FilePrefix::kMetaOnly);
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
    if (const int result = begin(file, p, FilePrefix::kWithHeader); result != RESULT_OK) return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;
    return decodeAll(file, p, xferSyn, dataset, reporter);
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
    if (const int result = begin(file, p, FilePrefix::kWithHeader); result != RESULT_OK) return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;

    RawWalker walker(file, p.end, file.size(), RawMode::of(xferSyn), true);
    RawHeader h;
    RawStep step;
    while ((step = walker.peek(h)) == RawStep::element && h.tag != orvkit::kTagPixelData && walker.skip(h)) {
    }
    if (file.failed()) return failPrefix(file, reporter, path);
    // No Pixel Data, or a fault in front of it: decoding tells what and where.
    if (step != RawStep::element || h.tag != orvkit::kTagPixelData) {
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
