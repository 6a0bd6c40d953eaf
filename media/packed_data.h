// Data sets that are compressed as a whole (PS3.5 A.5): unpacked on their way in, packed on their way out.
#ifndef ORVKIT_MEDIA_PACKED_DATA_H
#define ORVKIT_MEDIA_PACKED_DATA_H

#include <cstdint>
#include <span>

#include "dataset/elemlist_access.h"
#include "encoding/codec.h"
#include "encoding/source.h"
#include "media/file_prefix.h"
#include "platform/new_file.h"

namespace orvkit {

// Where the packed data set of a file, or of a message, is to be found, and what messages call it.
struct PackedData {
    ByteSource& source;
    std::uint64_t from;
    const DataSetCodec& codec;
    const char* name;
};

struct Unpacked {
    int result = RESULT_OK;
    std::uint64_t size = 0;  // what came of it, also before a fault
};

// Unpacks to a sink, at most `most` bytes. What is odd about the stream is told as LOG_VALIDATION under
// kUnpackReporter. ELEM_PACKED_STREAM cut or damaged, DIR_FILE_SIZE above what is allowed, ELEM_NO_MEMORY,
// DIR_READ_WRITE when bytes cannot be read or the sink refuses them (LOG_ERROR under `reporter`).
inline constexpr const char* kUnpackReporter = "unpackDataSet";
Unpacked unpack(const PackedData& packed, ByteSink& to, std::uint64_t most, const char* reporter);
// In memory, within the limit for data sets too.
Unpacked unpack(const PackedData& packed, MemorySink& to, const char* reporter);
// In a file without a name, which goes with its handles; `file` reads it from its beginning.
Unpacked unpack(const PackedData& packed, FilePrefix& file, const char* reporter);

// Packs what is put, on its way to another sink.
class PackingSink final : public ByteSink {
  public:
    PackingSink(const DataSetCodec& codec, ByteSink& to) : to_(to), pump_(codec.encoder(), to) {}
    [[nodiscard]] bool put(std::span<const unsigned char> bytes) override;
    // Nothing follows: ends the stream, with a zero byte behind one of odd length.
    [[nodiscard]] bool finish();
    bool outOfMemory() const noexcept { return pump_.fault() == CodecFault::memory; }

  private:
    ByteSink& to_;
    CodecPump pump_;
};

// What was framed, and behind the header of each element that is held on disk its bytes. DIR_READ_WRITE,
// DIR_OPEN, ELEM_NO_MEMORY.
int putSpliced(ByteSink& to, std::span<const unsigned char> framed, DICT_UID xferSyn,
               std::span<const FramedHeader> onDisk, const char* reporter);
// The same, packed; `xferSyn` is that of the unpacked data set.
int putPacked(ByteSink& to, const DataSetCodec& codec, std::span<const unsigned char> framed,
              DICT_UID xferSyn, std::span<const FramedHeader> onDisk, const char* reporter);
// Frames a data set and packs it into `file`. Codes as putPacked and DcElemList::frame.
int packDataSet(DcElemList& dataset, DICT_UID xferSyn, const DataSetCodec& codec, platform::ScratchFile& file,
                const char* reporter);

}  // namespace orvkit

#endif
