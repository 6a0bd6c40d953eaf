// Reading Part 10 files (PS3.10 7).
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "dataset/decoder.h"
#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/walk.h"
#include "foundation/block.h"
#include "foundation/fail.h"
#include "media/any_file.h"
#include "media/file_prefix.h"
#include "media/measure.h"
#include "media/meta_info.h"
#include "media/packed_data.h"
#include "media/part10_reader.h"

using namespace orvkit;

namespace {

constexpr const char* kMetaReporter = "dirReadFileMetaInfo";

int failLimit(const char* reporter, const char* name) {
    return fail(DIR_FILE_SIZE, LOG_ERROR, reporter, "File '%s', size exceeds limit of %g Mbytes", name,
                megabytes(maxFileSize()));
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
    if (ElemListAccess::firstValue(dataset, kTagSopClass, sopClass) == RESULT_OK && sopClass != UID_NONE) {
        meta.sopClassUid = sopClass;
    }
    const int result =
        ElemListAccess::firstValue(dataset, kTagSopInstance, instance, static_cast<int>(sizeof instance - 1));
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

// A data set that is compressed as a whole. What came of it before a fault is decoded.
int decodePacked(ByteSource& source, Part10& p, DICT_UID xferSyn, DcElemList& dataset, const char* reporter) {
    orvkit::MemorySink plain;
    const orvkit::Unpacked unpacked = orvkit::unpack({source, p.end, *p.codec, p.name()}, plain, reporter);
    const int result = decode(plain.bytes(), xferSyn, p.meta, dataset);
    return unpacked.result != RESULT_OK ? unpacked.result : result;
}

int checkLimit(const FilePrefix& file, const Part10& p, const char* reporter) {
    const auto limit = static_cast<std::uint64_t>(maxFileSize());
    return file.size() > p.end && file.size() - p.end > limit ? failLimit(reporter, p.path) : RESULT_OK;
}

int decodeToZeros(std::span<unsigned char> bytes, Part10& p, DICT_UID xferSyn, DcElemList& dataset) {
    if (p.found != nullptr) {
        SpanSource source(bytes);
        const std::uint64_t end = endBeforeZeros(source, 0, xferSyn);
        p.found->zerosBehind = bytes.size() - end;
        bytes = bytes.first(static_cast<std::size_t>(end));
    }
    return decode(bytes, xferSyn, p.meta, dataset);
}

// Reads what is left of a file and decodes it.
int decodeAll(FilePrefix& file, Part10& p, DICT_UID xferSyn, DcElemList& dataset, const char* reporter) {
    if (const int result = checkLimit(file, p, reporter); result != RESULT_OK) return result;
    file.setLimit(UINT64_MAX);
    if (!file.loadAll()) return failPrefix(file, reporter, p.path);
    const auto bytes = file.bytes();
    const auto begin = static_cast<std::size_t>(std::min<std::uint64_t>(p.end, bytes.size()));
    return decodeToZeros(bytes.subspan(begin), p, xferSyn, dataset);
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
    Walker walker(file, p.end, file.size(), p.mode);
    while (walker.peek(h) == WalkStep::element) {
        if (h.tag == kTagPixelData) {
            return isRawVr(h.vr) && h.length >= kLargePixels && hasKnownLetters(file, h) &&
                   h.length == file.size() - h.valueOffset;
        }
        if (h.tag > kTagPixelData || !walker.skip(h)) return false;
    }
    return false;
}

// Reads them straight into the block that the element will own.
int readPixels(FilePrefix& file, const char* path, const WalkHeader& h, DICT_UID xferSyn, DcElemList& dataset,
               const char* reporter) {
    Block block = allocate(h.length);
    if (block == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "File '%s', unable to allocate memory", path);
    }
    const std::int64_t got =
        platform::readAt(file.handle(), block.get(), h.length, static_cast<std::int64_t>(h.valueOffset));
    if (got != static_cast<std::int64_t>(h.length)) return failPrefix(file, reporter, path);
    auto* const pixels = new DcElem(h.tag, nullptr, 0, UID_NONE, h.vr, 0);
    (void)dataset.add(pixels);
    DcBuf buffer(block.release(), h.length, xferSyn);
    return pixels->addValue(&buffer);
}

// ---- Pixel Data left on disk ----------------------------------------------------------------------------

// The whole of a file whose beginning is held: from memory where that is all of it.
class WholeSource {
  public:
    ByteSource& of(FilePrefix& file) {
        if (file.holdsAll()) return file;
        if (!source_) source_.emplace(file.handle());
        return *source_;
    }

  private:
    std::optional<HandleSource> source_;
};

// ---- around Pixel Data ------------------------------------------------------------------------------------

class AroundReader {
  public:
    // `named`: the file can be found by its path.
    AroundReader(Part10& p, FilePrefix* file, bool named, DICT_UID xferSyn, DcElemList& dataset,
                 DcDirAround& around)
        : p_(p),
          named_(named),
          file_(file),
          xferSyn_(xferSyn),
          mode_(p.mode),
          dataset_(dataset),
          around_(around) {}

    int run() {
        ByteSource* source = &p_.source;
        for (std::uint64_t from = p_.end;;) {
            WalkHeader h;
            const bool stays = findPixels(*source, from, h);
            if (source->failed()) {
                return file_ != nullptr ? failPrefix(*file_, kReporter, p_.name()) : int{DIR_READ_WRITE};
            }
            note(decodeBytes(from, stays ? h.offset : end_ != 0 ? end_ : source->size()));
            if (!stays) return result_;
            if (file_ != nullptr) source = &whole_.of(*file_);
            from = leave(*source, h, from);
        }
    }

  private:
    static constexpr const char* kReporter = "dirReadAroundPixels";

    void note(int result) {
        if (result_ == RESULT_OK) result_ = result;
    }

    // The next Pixel Data. Where the walk ends before the end of the file, decoding tells why.
    bool findPixels(ByteSource& source, std::uint64_t from, WalkHeader& h) {
        Walker walker(source, from, source.size(), mode_, true);
        while (walker.peek(h) == WalkStep::element) {
            if (staysInFile(h)) return true;
            if (h.tag == 0 && endsInZeros(source, h.offset)) return false;
            if (!walker.skip(h)) return false;
            if (walker.position() - from <= static_cast<std::uint64_t>(maxFileSize()))
                heldEnd_ = walker.position();
        }
        (void)endsInZeros(source, walker.position());
        return false;
    }
    bool endsInZeros(ByteSource& source, std::uint64_t at) {
        if (p_.found == nullptr) return false;
        // Through a window: what fills up a file is not held.
        if (!onlyZerosFrom(file_ != nullptr ? whole_.of(*file_) : source, at)) return false;
        end_ = at;
        p_.found->zerosBehind = source.size() - at;
        return true;
    }
    bool staysInFile(const WalkHeader& h) const {
        const bool ofStream = h.mode == mode_;
        return ofStream && h.tag == kTagPixelData && isRawVr(h.vr);
    }

    int decodeBytes(std::uint64_t from, std::uint64_t to) {
        if (to <= from) return RESULT_OK;
        if (to - from > static_cast<std::uint64_t>(maxFileSize())) {
            if (heldEnd_ < to) (void)decodeBytes(from, heldEnd_);
            return failLimit(kReporter, p_.name());
        }
        around_.streamOffset = from;
        const auto at = static_cast<std::size_t>(from);
        const auto n = static_cast<std::size_t>(to - from);
        if (file_ != nullptr && from == p_.end) {
            file_->setLimit(UINT64_MAX);
            if (!file_->loadTo(to)) return failPrefix(*file_, kReporter, p_.name());
        }
        if (file_ == nullptr) return decodeSpan(p_.source.at(from, n).first(n));
        if (file_->bytes().size() >= to) return decodeSpan(file_->bytes().subspan(at, n));
        const std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[n]);
        if (block == nullptr) {
            return fail(ELEM_NO_MEMORY, LOG_ERROR, kReporter, "File '%s', unable to allocate memory",
                        p_.name());
        }
        const auto got =
            orvkit::platform::readAt(file_->handle(), block.get(), n, static_cast<std::int64_t>(from));
        if (got != static_cast<std::int64_t>(n)) return failPrefix(*file_, kReporter, p_.name());
        return decodeSpan({block.get(), n});
    }
    int decodeSpan(std::span<const unsigned char> bytes) {
        auto* const data = const_cast<unsigned char*>(bytes.data());  // decoding only reads
        return decode({data, bytes.size()}, xferSyn_, p_.meta, dataset_);
    }

    // The element that refers to the value; gives where the next one begins.
    std::uint64_t leave(ByteSource& source, const WalkHeader& h, std::uint64_t from) {
        const auto told = around_.byTable ? measureByTable(source, h, dataset_) : std::nullopt;
        const Measured m = told ? *told : measureValue(source, h, kReporter);
        note(m.result);
        if (!m.sound) tell(h, from, m.result, describe(h, m).c_str());
        auto* const element = new DcElem(h.tag, nullptr, 0, UID_NONE, h.vr, 0);
        (void)dataset_.add(element);
        if (m.length != 0) note(refer(*element, h.valueOffset, m.length, label(h)));
        return m.behind;
    }
    int refer(DcElem& element, std::uint64_t offset, std::uint64_t length, DICT_UID syntax) {
        if (named_) {
            DcBuf place(p_.path, 0, 0, syntax);
            const int result = place.setPlace64(offset, length);
            return result == RESULT_OK ? element.addValue(&place) : result;
        }
        orvkit::platform::FileHandle handle = orvkit::platform::duplicate(file_->handle());
        if (!handle) return failPrefix(*file_, kReporter, p_.name());
        DcBuf open(handle.release(), 0, 0, syntax);
        const int result = open.setPlace64(offset, length);
        return result == RESULT_OK ? element.addValue(&open) : result;
    }
    static std::string describe(const WalkHeader& h, const Measured& m) {
        if (h.length == kLengthUndefined) return "fragments without their end";
        return "a value of " + std::to_string(h.length) + " bytes, of which the file holds " +
               std::to_string(m.length);
    }
    // A raw value of defined length is not encapsulated, whatever the stream is.
    DICT_UID label(const WalkHeader& h) const {
        if (h.length == kLengthUndefined) return isUncompressed(xferSyn_) ? UID_NONE : xferSyn_;
        return isUncompressed(xferSyn_) ? xferSyn_ : UID_LITTLE_ENDIAN_EXPLICIT;
    }
    static void tell(const WalkHeader& h, std::uint64_t from, int result, const char* text) {
        tellElemFault({result, static_cast<unsigned int>(h.offset - from), &h.tag, 1, text});
    }

    Part10& p_;
    bool named_;
    FilePrefix* file_;  // null for memory
    DICT_UID xferSyn_;
    Mode mode_;
    DcElemList& dataset_;
    DcDirAround& around_;
    WholeSource whole_;
    std::uint64_t end_ = 0;      // of the data set, where zeros follow
    std::uint64_t heldEnd_ = 0;  // of the last element that is within the limit
    int result_ = RESULT_OK;
};

// What a data set that is compressed as a whole becomes, in a file without a name. `read(inside)` reads that;
// a fault of the stream goes before those of what is left of it.
template <typename Read>
int readUnpacked(const Part10& p, ByteSource& source, const char* reporter, std::uint64_t& size, Read read) {
    FilePrefix file;
    const orvkit::Unpacked unpacked = orvkit::unpack({source, p.end, *p.codec, p.name()}, file, reporter);
    const std::string fault = orvkit::lastMessage();
    size = unpacked.size;
    file.setLimit(static_cast<std::uint64_t>(orvkit::maxFileSize()) + FilePrefix::kWithHeader);
    Part10 inside{file, p.path, p.meta};
    inside.mode = p.mode;
    const int result = read(inside, file);
    if (unpacked.result == RESULT_OK) return result;
    orvkit::tellElemFault({unpacked.result, 0, nullptr, 0, fault.c_str()});
    return unpacked.result;
}

int readAround(Part10& p, FilePrefix* file, DcElemList& dataset, DcDirAround& around) {
    constexpr const char* reporter = "dirReadAroundPixels";
    const int result = settleSyntax(p, reporter, around.xferSyn);
    if (result != RESULT_OK) return result;
    const DICT_UID xferSyn = around.xferSyn;
    if (p.codec == nullptr) return AroundReader(p, file, true, xferSyn, dataset, around).run();
    WholeSource whole;
    std::uint64_t size = 0;
    return readUnpacked(p, file != nullptr ? whole.of(*file) : p.source, reporter, size,
                        [&](Part10& inside, FilePrefix& unpacked) {
                            const int read =
                                AroundReader(inside, &unpacked, false, xferSyn, dataset, around).run();
                            around.streamOffset = size;  // where the stream ended, should that be told
                            return read;
                        });
}

// Everything up to Pixel Data, and where that is.
struct NonPixels {
    std::optional<std::uint64_t> offset;
    std::uint64_t length = 0;
    bool found = false;

    int read(Part10& p, FilePrefix& file, DICT_UID xferSyn, DcElemList& dataset, const char* reporter);
};

int NonPixels::read(Part10& p, FilePrefix& file, DICT_UID xferSyn, DcElemList& dataset,
                    const char* reporter) {
    Walker walker(file, p.end, file.size(), p.mode, true);
    WalkHeader h;
    WalkStep step;
    while ((step = walker.peek(h)) == WalkStep::element && h.tag != orvkit::kTagPixelData && walker.skip(h)) {
    }
    if (file.failed()) return failPrefix(file, reporter, p.name());
    // No Pixel Data, or a fault in front of it: decoding tells what and where.
    if (step != WalkStep::element || h.tag != orvkit::kTagPixelData) {
        return decodeAll(file, p, xferSyn, dataset, reporter);
    }
    if (h.offset - p.end > static_cast<std::uint64_t>(orvkit::maxFileSize()))
        return failLimit(reporter, p.name());

    const auto header = file.bytes().first(static_cast<std::size_t>(h.offset));
    if (const int result = decode(header.subspan(static_cast<std::size_t>(p.end)), xferSyn, p.meta, dataset);
        result != RESULT_OK) {
        return result;
    }
    WholeSource whole;
    const Measured m = measureValue(whole.of(file), h, reporter);
    found = true;
    offset = h.valueOffset;
    length = m.length;
    return m.result;
}

// `found` is what a file that is none by the letter proves to be; without it, it must be one.
int readMemory(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, DcElemList& dataset,
               DcDirFound* found, const char* reporter) {
    if (buf == nullptr) return failNull(DIR_NULL_ARGUMENT, reporter);
    SpanSource source({buf, length});
    Part10 p{source, nullptr, meta};
    p.found = found;
    if (const int result = readMeta(p); result != RESULT_OK) return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;
    if (p.codec != nullptr) return decodePacked(source, p, xferSyn, dataset, reporter);
    if (length - p.end > static_cast<unsigned int>(orvkit::maxFileSize()))
        return failLimit(reporter, p.name());
    const auto behind = std::span(buf, length).subspan(static_cast<std::size_t>(p.end));
    return found != nullptr ? decodeToZeros(behind, p, xferSyn, dataset)
                            : decode(behind, xferSyn, meta, dataset);
}

}  // namespace

int dirReadFileMetaInfo(const char* path, DcDirMetaInfo& meta, unsigned int& end) try {
    end = 0;
    FilePrefix file;
    Part10 p{file, path, meta};
    const int result = beginFile(file, p, kMetaReporter, FilePrefix::kMetaOnly);
    if (result == RESULT_OK) end = static_cast<unsigned int>(p.end);
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("dirReadFileMetaInfo");
}

int dirReadFileMetaInfo(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, unsigned int& end) try {
    end = 0;
    if (buf == nullptr) return failNull(DIR_NULL_ARGUMENT, kMetaReporter);
    SpanSource source({buf, length});
    Part10 p{source, nullptr, meta};
    const int result = readMeta(p);
    if (result == RESULT_OK) end = static_cast<unsigned int>(p.end);
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("dirReadFileMetaInfo");
}

int dirReadFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset) try {
    constexpr const char* reporter = "dirReadFile";
    FilePrefix file;
    Part10 p{file, path, meta};
    if (const int result = beginFile(file, p, reporter, FilePrefix::kWithHeader); result != RESULT_OK)
        return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;
    if (p.codec != nullptr) {
        WholeSource whole;
        return decodePacked(whole.of(file), p, xferSyn, dataset, reporter);
    }
    WalkHeader h;
    if (!endsWithLargePixels(file, p, xferSyn, h)) return decodeAll(file, p, xferSyn, dataset, reporter);

    if (const int result = checkLimit(file, p, reporter); result != RESULT_OK) return result;
    const auto header = file.bytes().first(static_cast<std::size_t>(h.offset));
    const int result = decode(header.subspan(static_cast<std::size_t>(p.end)), xferSyn, meta, dataset);
    return result == RESULT_OK ? readPixels(file, path, h, xferSyn, dataset, reporter) : result;
} catch (const std::bad_alloc&) {
    return failMemory("dirReadFile");
}

int dirReadFile(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, DcElemList& dataset) try {
    return readMemory(buf, length, meta, dataset, nullptr, "dirReadFile");
} catch (const std::bad_alloc&) {
    return failMemory("dirReadFile");
}

int dirReadAnyFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, DcDirFound& found) try {
    constexpr const char* reporter = "dirReadAnyFile";
    FilePrefix file;
    Part10 p{file, path, meta};
    p.found = &found;
    if (const int result = beginFile(file, p, reporter, FilePrefix::kWithHeader); result != RESULT_OK)
        return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;
    if (p.codec == nullptr) return decodeAll(file, p, xferSyn, dataset, reporter);
    WholeSource whole;
    return decodePacked(whole.of(file), p, xferSyn, dataset, reporter);
} catch (const std::bad_alloc&) {
    return failMemory("dirReadAnyFile");
}

int dirReadAnyFile(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, DcElemList& dataset,
                   DcDirFound& found) try {
    return readMemory(buf, length, meta, dataset, &found, "dirReadAnyFile");
} catch (const std::bad_alloc&) {
    return failMemory("dirReadAnyFile");
}

namespace {

int readNonPixels(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, NonPixels& pixels,
                  const char* reporter) {
    FilePrefix file;
    Part10 p{file, path, meta};
    if (const int result = beginFile(file, p, kMetaReporter, FilePrefix::kWithHeader); result != RESULT_OK)
        return result;
    DICT_UID xferSyn;
    if (const int result = settleSyntax(p, reporter, xferSyn); result != RESULT_OK) return result;

    if (p.codec == nullptr) return pixels.read(p, file, xferSyn, dataset, reporter);
    WholeSource whole;
    std::uint64_t size = 0;
    const int result =
        readUnpacked(p, whole.of(file), reporter, size, [&](Part10& inside, FilePrefix& unpacked) {
            return pixels.read(inside, unpacked, xferSyn, dataset, reporter);
        });
    pixels.offset.reset();  // unpacked pixels are nowhere in the file
    return result;
}

}  // namespace

int dirReadNonPixelElem(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, int* pixelOffset,
                        int* pixelLength) try {
    constexpr const char* reporter = "dirReadNonPixelElem";
    if (pixelOffset != nullptr) *pixelOffset = -1;
    if (pixelLength != nullptr) *pixelLength = 0;
    NonPixels pixels;
    const int result = readNonPixels(path, meta, dataset, pixels, reporter);
    if (!pixels.found) return result;
    if (pixels.offset.value_or(0) > 0xFFFFFFFF || pixels.length > 0xFFFFFFFF) {
        return fail(DIR_FILE_SIZE, LOG_ERROR, reporter,
                    "File '%s', its pixel data goes beyond 4 GByte, which dirReadNonPixelElem64 tells", path);
    }
    // Two GByte and more are told as the 32-bit numbers that they are.
    if (pixelOffset != nullptr && pixels.offset) {
        *pixelOffset = static_cast<int>(static_cast<unsigned int>(*pixels.offset));
    }
    if (pixelLength != nullptr) *pixelLength = static_cast<int>(static_cast<unsigned int>(pixels.length));
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("dirReadNonPixelElem");
}

int dirReadNonPixelElem64(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, long long& pixelOffset,
                          unsigned long long& pixelLength) try {
    pixelOffset = -1;
    pixelLength = 0;
    NonPixels pixels;
    const int result = readNonPixels(path, meta, dataset, pixels, "dirReadNonPixelElem64");
    if (pixels.found && pixels.offset) pixelOffset = static_cast<long long>(*pixels.offset);
    pixelLength = pixels.length;
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("dirReadNonPixelElem64");
}

int dirReadAroundPixels(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, DcDirAround& around) try {
    around.streamOffset = kMetaOffset;
    FilePrefix file;
    Part10 p{file, path, meta, around.meta};
    p.found = around.found;
    const int result = beginFile(file, p, kMetaReporter, FilePrefix::kWithHeader);
    return result != RESULT_OK ? result : readAround(p, &file, dataset, around);
} catch (const std::bad_alloc&) {
    return failMemory("dirReadAroundPixels");
}

int dirReadAroundPixels(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, DcElemList& dataset,
                        DcDirAround& around) try {
    around.streamOffset = kMetaOffset;
    if (buf == nullptr) return failNull(DIR_NULL_ARGUMENT, "dirReadAroundPixels");
    SpanSource source({buf, length});
    Part10 p{source, nullptr, meta, around.meta};
    p.found = around.found;
    const int result = readMeta(p);
    return result != RESULT_OK ? result : readAround(p, nullptr, dataset, around);
} catch (const std::bad_alloc&) {
    return failMemory("dirReadAroundPixels");
}
