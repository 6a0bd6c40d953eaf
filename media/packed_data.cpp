#include "media/packed_data.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "encoding/header.h"
#include "foundation/fail.h"
#include "media/meta_info.h"
#include "media/pixel_copy.h"

namespace orvkit {
namespace {

constexpr std::size_t kPiece = 65536;

int failScratch(const char* reporter, const char* name) {
    return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "File '%s', no temporary file for its data set: %s",
                name, std::strerror(errno));
}

int failUnpacking(const PackedData& packed, const CodecPump& pump, std::uint64_t most, const char* reporter) {
    switch (pump.fault()) {
        case CodecFault::none:
            return RESULT_OK;
        case CodecFault::memory:
            return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "File '%s', unable to allocate memory",
                        packed.name);
        case CodecFault::tooLarge:
            return fail(DIR_FILE_SIZE, LOG_ERROR, reporter,
                        "File '%s', the compressed data set becomes larger than %llu bytes", packed.name,
                        static_cast<unsigned long long>(most));
        case CodecFault::refused:
            return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "File '%s', its data set cannot be unpacked: %s",
                        packed.name, std::strerror(errno));
        default:
            return fail(ELEM_PACKED_STREAM, LOG_ERROR, reporter,
                        "File '%s', the compressed data set is cut or damaged behind %llu bytes", packed.name,
                        static_cast<unsigned long long>(pump.given()));
    }
}

// One byte of padding belongs behind a stream of odd length.
void tellOddities(const PackedData& packed, const CodecPump& pump) {
    if (*pump.remark() != '\0') {
        logReport(LOG_VALIDATION, kUnpackReporter, "File '%s', %s", packed.name, pump.remark());
    }
    const std::uint64_t end = packed.from + pump.taken();
    if (!pump.ended() || end >= packed.source.size()) return;
    const std::uint64_t left = packed.source.size() - end;
    const auto first = packed.source.at(end, 1);
    if (left == 1 && !first.empty() && first[0] == 0) return;
    logReport(LOG_VALIDATION, kUnpackReporter,
              "File '%s', %llu bytes stand behind the compressed data set, and are not read", packed.name,
              static_cast<unsigned long long>(left));
}

}  // namespace

Unpacked unpack(const PackedData& packed, ByteSink& to, std::uint64_t most, const char* reporter) {
    CodecPump pump(packed.codec.decoder(), to, most);
    for (std::uint64_t at = packed.from; !pump.ended() && pump.fault() == CodecFault::none;) {
        auto bytes = packed.source.at(at, 1);
        if (packed.source.failed()) {
            return {fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Error reading file '%s'", packed.name),
                    pump.given()};
        }
        bytes = bytes.first(std::min(bytes.size(), kPiece));
        at += bytes.size();
        (void)pump.push(bytes, bytes.empty() || at >= packed.source.size());
    }
    tellOddities(packed, pump);
    return {failUnpacking(packed, pump, most, reporter), pump.given()};
}

Unpacked unpack(const PackedData& packed, MemorySink& to, const char* reporter) {
    const auto limit = static_cast<std::uint64_t>(maxFileSize());
    return unpack(packed, static_cast<ByteSink&>(to), std::min(limit, packed.codec.most()), reporter);
}

Unpacked unpack(const PackedData& packed, FilePrefix& file, const char* reporter) {
    platform::ScratchFile scratch;
    if (!scratch.begin()) return {failScratch(reporter, packed.name)};
    HandleSink sink(scratch.forWriting());
    const Unpacked unpacked = unpack(packed, sink, packed.codec.most(), reporter);
    file.adopt(scratch.takeReading(), unpacked.size);
    return unpacked;
}

// ---- packing ----------------------------------------------------------------------------------------------

bool PackingSink::put(std::span<const unsigned char> bytes) {
    return pump_.push(bytes, false) == CodecFault::none;
}

bool PackingSink::finish() {
    constexpr unsigned char padding = 0;
    if (pump_.push({}, true) != CodecFault::none) return false;
    return pump_.given() % 2 == 0 || to_.put({&padding, 1});
}

int putSpliced(ByteSink& to, std::span<const unsigned char> framed, DICT_UID xferSyn,
               std::span<const FramedHeader> onDisk, const char* reporter) {
    const auto put = [&](std::span<const unsigned char> bytes) {
        if (to.put(bytes)) return int{RESULT_OK};
        return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Write error, disk may be full");
    };
    std::size_t written = 0;
    for (const FramedHeader& header : onDisk) {
        int result = put(framed.subspan(written, header.end - written));
        if (result == RESULT_OK) result = copyPixels(to, *header.element, xferSyn, reporter);
        if (result == RESULT_OK && header.undefinedLength) result = put(kPixelDataEnd);
        if (result != RESULT_OK) return result;
        written = header.end;
    }
    // The limit was kept when the whole was measured, but another thread may have lowered it since.
    const int limit = maxFileSize();
    if (!onDisk.empty() && framed.size() - written >= static_cast<std::size_t>(limit)) {
        return fail(RESULT_OK, LOG_ERROR, reporter, "Data beyond pixels exceeds limit of %g Mbytes, ignored",
                    megabytes(limit));
    }
    return put(framed.subspan(written));
}

int putPacked(ByteSink& to, const DataSetCodec& codec, std::span<const unsigned char> framed,
              DICT_UID xferSyn, std::span<const FramedHeader> onDisk, const char* reporter) {
    PackingSink packing(codec, to);
    const int result = putSpliced(packing, framed, xferSyn, onDisk, reporter);
    if (packing.outOfMemory()) return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "out of memory");
    if (result != RESULT_OK || packing.finish()) return result;
    return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Write error, disk may be full");
}

int packDataSet(DcElemList& dataset, DICT_UID xferSyn, const DataSetCodec& codec, platform::ScratchFile& file,
                const char* reporter) {
    unsigned int size = 0;
    (void)dataset.getBufSize(size, static_cast<unsigned int*>(nullptr));
    const std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[size]);
    if (block == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "Insufficient memory to allocate %u bytes", size);
    }
    std::vector<FramedHeader> onDisk;
    const DICT_UID inside = unpackedSyntax(xferSyn);
    const int framed = ElemListAccess::frame(dataset, block.get(), kMostRoom, size, inside, &onDisk);
    if (framed != RESULT_OK) return framed;
    if (!file.begin()) return failScratch(reporter, "(message)");
    HandleSink sink(file.forWriting());
    return putPacked(sink, codec, {block.get(), size}, inside, onDisk, reporter);
}

}  // namespace orvkit
