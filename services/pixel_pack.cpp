#include "services/pixel_pack.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <span>
#include <vector>

#include "foundation/bytes.h"
#include "orvkit/lzw.h"
#include "orvkit/result.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

// Both ends of the codec.
class PixelStream {
  public:
    PixelStream(const DcBuf& from, unsigned int unit, int to) : unit_(unit), to_(to) {
        at_ = static_cast<std::int64_t>(from.getOffset64());
        end_ = at_ + static_cast<std::int64_t>(from.getLen64());
        if (from.getType() == BUF_FILE && from.getFileName() != nullptr) {
            opened_ = platform::openRead(from.getFileName());
            from_ = opened_.get();
        } else {
            from_ = from.getHandle();
        }
    }

    void setMost(std::int64_t bytes) { most_ = bytes; }
    std::int64_t written() const { return written_; }
    bool wroteDelimitation() const { return wroteDelimitation_; }
    int writeError() const { return writeError_; }

    // The number of pixel bytes that a packed stream claims to hold; 0 where it has no header.
    unsigned int claimed() const {
        unsigned char header[8] = {};
        if (platform::readAt(from_, header, sizeof header, at_) != sizeof header) return 0;
        return orvkit::loadAt<std::uint32_t>(header + 4, orvkit::ByteOrder::little);
    }
    DcLzwIo io() {
        return {this,
                [](void* context, unsigned char* into, unsigned int room) {
                    return static_cast<PixelStream*>(context)->read(into, room);
                },
                [](void* context, const unsigned char* bytes, unsigned int length) {
                    return static_cast<PixelStream*>(context)->write(bytes, length);
                }};
    }

  private:
    int read(unsigned char* into, unsigned int room) {
        const std::int64_t n = std::min<std::int64_t>(room, end_ - at_);
        if (n > 0 && platform::readAt(from_, into, static_cast<std::size_t>(n), at_) != n) return -1;
        at_ += n;
        for (std::int64_t i = 0; unit_ > 1 && i + unit_ <= n; i += unit_) {
            std::reverse(into + i, into + i + unit_);
        }
        return static_cast<int>(n);
    }
    bool write(const unsigned char* bytes, unsigned int length) {
        if (length > most_ - written_) return false;
        lookForDelimitation({bytes, length});
        written_ += length;
        if (platform::writeAll(to_, bytes, length)) return true;
        writeError_ = errno;
        return false;
    }
    void lookForDelimitation(std::span<const unsigned char> bytes) {
        static constexpr unsigned char pattern[] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};
        const auto holds = [](std::span<const unsigned char> in) {
            return std::search(in.begin(), in.end(), std::begin(pattern), std::end(pattern)) != in.end();
        };
        constexpr std::size_t most = sizeof pattern - 1;
        const auto front = bytes.first(std::min(bytes.size(), most));
        tail_.insert(tail_.end(), front.begin(), front.end());
        if (holds(tail_) || holds(bytes)) wroteDelimitation_ = true;
        if (bytes.size() > most) tail_.assign(bytes.end() - most, bytes.end());
        if (tail_.size() > most) tail_.erase(tail_.begin(), tail_.end() - most);
    }

    platform::FileHandle opened_;
    int from_ = -1;
    std::int64_t at_ = 0;
    std::int64_t end_ = 0;
    unsigned int unit_;
    int to_;
    std::int64_t most_ = 0;
    std::int64_t written_ = 0;
    int writeError_ = 0;
    std::vector<unsigned char> tail_;  // the last bytes that were written
    bool wroteDelimitation_ = false;
};

PackFault writeFault(int error) {
    return std::string("a temporary file cannot be written: ") + std::strerror(error);
}

PackFault hand(platform::ScratchFile& scratch, const PixelStream& stream, DICT_UID syntax, DcBuf& to) {
    platform::FileHandle handle = scratch.takeReading();
    if (!handle) return writeFault(errno);
    DcBuf whole(handle.release(), 0, static_cast<unsigned int>(stream.written()), syntax);
    to.move(&whole);
    return {};
}

}  // namespace

PackFault packPixels(const DcBuf& from, unsigned int unit, platform::ScratchFile& scratch, DcBuf& to) {
    if (!scratch) return writeFault(errno);
    PixelStream stream(from, unit, scratch.forWriting());
    stream.setMost(from.getLen());
    const int result = lzwEncode(stream.io(), from.getLen());
    if (stream.writeError() != 0) return writeFault(stream.writeError());
    if (result == ELEM_LZW_OUTPUT) {
        return "the pixel data does not become smaller under LZW (result " + std::to_string(result) + ")";
    }
    if (result != RESULT_OK) return resultText(result);
    // Readers find the end of the packed value by this pattern alone (PS3.5 7.5.2).
    if (stream.wroteDelimitation()) return "the packed pixel data would hold a Sequence Delimitation Item";
    return hand(scratch, stream, UID_ORVKIT5_LZW, to);
}

PackFault unpackPixels(const DcBuf& from, platform::ScratchFile& scratch, DcBuf& to) {
    if (!scratch) return writeFault(errno);
    PixelStream stream(from, 1, scratch.forWriting());
    const unsigned int claimed = stream.claimed();
    stream.setMost(claimed);
    int result = lzwDecode(stream.io());
    if (stream.writeError() != 0) return writeFault(stream.writeError());
    if (result == RESULT_OK && stream.written() != claimed) result = ELEM_LZW_CODE;
    if (result != RESULT_OK) return "the LZW pixel data is damaged (result " + std::to_string(result) + ")";
    return hand(scratch, stream, UID_LITTLE_ENDIAN_EXPLICIT, to);
}

}  // namespace services
