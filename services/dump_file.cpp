#include "services/dump_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/log.h"
#include "orvkit/scan.h"
#include "platform/file.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

constexpr unsigned int kPixelData = 0x7FE00010;
constexpr unsigned int kUndefined = 0xFFFFFFFF;
constexpr std::size_t kPreamble = 132;  // with "DICM"
constexpr std::size_t kFirstRead = 1 << 16;
constexpr std::size_t kMost = 0x7FFFFFFF;  // bytes of one file in memory

// The beginning of a file in memory, read on as far as it is asked for.
class Head {
  public:
    explicit Head(const std::string& path) : file_(platform::openRead(path.c_str())) {}

    int handle() const { return file_.get(); }
    unsigned char* data() { return room_.data(); }
    std::size_t size() const { return used_; }
    long long fileSize() const { return fileSize_; }
    bool isDirectory() const { return directory_; }

    // false with errno.
    bool begin() {
        platform::FileInfo info;
        if (!file_ || !platform::examine(file_.get(), info)) return false;
        directory_ = info.kind == platform::FileKind::directory;
        if (directory_) return true;
        regular_ = info.kind == platform::FileKind::regular;
        fileSize_ = info.size;
        if (regular_) return fill(kFirstRead);
        return readStream();
    }
    // false when there is nothing more.
    bool more() { return !ended_ && used_ < kMost && fill(used_ * 2); }
    bool readRest() {
        while (more()) {
        }
        return ended_;
    }

  private:
    // The size of a pipe shows at its end; one that begins as no DICOM file does may have none.
    bool readStream() {
        if (!fill(kFirstRead)) return false;
        const bool wanted = used_ >= kPreamble && std::memcmp(data() + kPreamble - 4, "DICM", 4) == 0;
        while (wanted && !ended_) {
            if (used_ >= kMost) {
                errno = EFBIG;
                return false;
            }
            if (!fill(std::min(used_ * 2, kMost))) return false;
        }
        ended_ = true;
        fileSize_ = static_cast<long long>(used_);
        return true;
    }
    bool fill(std::size_t wanted) {
        if (regular_)
            wanted = static_cast<std::size_t>(std::min<long long>(static_cast<long long>(wanted), fileSize_));
        if (room_.size() < wanted) room_.resize(wanted);
        const std::int64_t n = platform::read(file_.get(), room_.data() + used_, wanted - used_);
        if (n < 0) return false;
        used_ += static_cast<std::size_t>(n);
        ended_ = used_ < wanted || (regular_ && static_cast<long long>(used_) >= fileSize_);
        return true;
    }

    static std::vector<unsigned char> room_;  // kept from file to file

    platform::FileHandle file_;
    std::size_t used_ = 0;
    long long fileSize_ = 0;
    bool directory_ = false;
    bool regular_ = false;
    bool ended_ = false;
};
std::vector<unsigned char> Head::room_;

// Gathers the faults of one decoding; offsets are counted from the start of the file.
class FaultCollector {
  public:
    FaultCollector(std::vector<std::string>& faults, long long start) : faults_(faults), start_(start) {
        MsgBuf[0] = '\0';
        (void)elemListRegisterFaultCB(this, collect);
    }
    FaultCollector(const FaultCollector&) = delete;
    FaultCollector& operator=(const FaultCollector&) = delete;
    ~FaultCollector() { (void)elemListRegisterFaultCB(nullptr, nullptr); }

    bool any() const { return any_; }

  private:
    static void collect(void* context, const DcElemFault& fault) {
        auto& self = *static_cast<FaultCollector*>(context);
        self.any_ = true;
        // The offset in the message is that within the data set.
        std::string text = fault.text;
        if (const std::size_t at = text.find(" at offset 0x"); at != std::string::npos) text.resize(at);
        self.faults_.push_back(pathText(fault.path, fault.pathLength) + " at byte " +
                               std::to_string(self.start_ + fault.offset) + ": " + text);
    }

    std::vector<std::string>& faults_;
    long long start_;
    bool any_ = false;
};

void decode(std::vector<std::string>& faults, DcElemList& list, unsigned char* bytes, std::size_t length,
            DICT_UID xferSyn, long long start) {
    FaultCollector collector(faults, start);
    const int replaced = elementsReplaced();
    auto n = static_cast<unsigned int>(length);
    const int result = n == 0 ? 0 : list.decode(bytes, n, xferSyn);
    if (const int twice = elementsReplaced() - replaced; twice > 0) {
        faults.push_back("from byte " + std::to_string(start) + ": " + std::to_string(twice) +
                         (twice == 1 ? " element comes" : " elements come") +
                         " again further on, and only the last is shown");
    }
    if (result == 0 || collector.any()) return;
    faults.push_back("at byte " + std::to_string(start + n) + ": " + MsgBuf);
}

// ---- files that are no Part 10 files ----------------------------------------------------------------------

unsigned int load16(const unsigned char* p, bool big) {
    return big ? static_cast<unsigned int>(p[0] << 8 | p[1]) : static_cast<unsigned int>(p[1] << 8 | p[0]);
}
bool isVr(const unsigned char* p) {
    return DcDict::vrOfCode(static_cast<char>(p[0]), static_cast<char>(p[1])) != 0;
}
bool isKnown(const unsigned char* p, bool big) {
    return Dict.facts(load16(p, big) << 16 | load16(p + 2, big)).known;
}

const char* whatItIs(const unsigned char* p, std::size_t n) {
    if (n == 0) return "an empty file";
    if (n >= kPreamble && std::memcmp(p + kPreamble - 4, "DICM", 4) == 0) {
        return "not a DICOM Part 10 file: no file meta information behind \"DICM\"";
    }
    if (n >= 8 && isVr(p + 4)) {
        if (load16(p, false) == 0x0002) {
            return "not a DICOM Part 10 file: file meta information without the preamble and \"DICM\"";
        }
        if (isKnown(p, false)) return "a bare data set (explicit VR little endian) and no DICOM Part 10 file";
        if (isKnown(p, true)) return "a bare data set (explicit VR big endian) and no DICOM Part 10 file";
    }
    if (n >= 8 && isKnown(p, false) && (load16(p + 4, false) | load16(p + 6, false) << 16) <= n - 8) {
        return "a bare data set (implicit VR little endian) and no DICOM Part 10 file";
    }
    return "not a DICOM file";
}

// ---- Part 10 files ----------------------------------------------------------------------------------------

// Where the data set begins; 0 when there is no meta information.
std::size_t readMeta(Head& head, DumpedFile& file) {
    unsigned int end = 0;
    DcDirMetaInfo meta;
    int result;
    do {
        end = 0;
        result = dirReadFileMetaInfo(head.data(), static_cast<unsigned int>(head.size()), meta, end);
    } while (result != 0 && head.size() >= kPreamble &&
             std::memcmp(head.data() + kPreamble - 4, "DICM", 4) == 0 && head.more());
    if (result != 0 && end <= kPreamble) {
        const bool part10 =
            head.size() > kPreamble + 8 && std::memcmp(head.data() + kPreamble - 4, "DICM\x02\x00", 6) == 0;
        file.faults.push_back(part10 ? "file meta information: " + std::string(MsgBuf)
                                     : whatItIs(head.data(), head.size()));
        return 0;
    }
    file.xferSyn = meta.transferSyntax;
    decode(file.faults, file.meta, head.data() + kPreamble, end - kPreamble, UID_LITTLE_ENDIAN_EXPLICIT,
           kPreamble);
    return end;
}

// Whether the data set can be read, and how.
bool settleXferSyn(DumpedFile& file, long long dataSize) {
    char uid[65];
    (void)file.meta.getValue(0x00020010, uid, 64);
    if (uid[0] == '\0') {
        file.faults.emplace_back("(0002,0010): no transfer syntax, the data set is not read");
        return false;
    }
    if (file.xferSyn == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT || file.xferSyn == UID_JPIP_REFERENCED_DEFLATE) {
        file.faults.push_back("the data set is deflated (" + std::string(uid) + "): its " +
                              std::to_string(dataSize) + " bytes are not read");
        return false;
    }
    // A syntax that the registry does not know is an encapsulated one: those are all explicit little endian
    // (PS3.5 A.4).
    if (Dict.getUidType(file.xferSyn) != UID_TYPE_XFER_SYN) file.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    return true;
}

DICT_VR pixelVr(const unsigned char* header, DICT_UID xferSyn) {
    if (xferSyn == UID_LITTLE_ENDIAN_IMPLICIT) return VR_OW;  // PS3.5 A.1
    const DICT_VR vr = DcDict::vrOfCode(static_cast<char>(header[4]), static_cast<char>(header[5]));
    return vr == 0 ? VR_OB : vr;
}

// Where the value of Pixel Data ends, delimiter included.
long long placePixels(Head& head, DumpedFile& file, std::size_t start, const DcElemOffsetInfo& info) {
    const unsigned char* header = head.data() + start + info.offset;
    file.pixels.element = new DcElem(kPixelData, nullptr, 0, UID_NONE, pixelVr(header, file.xferSyn), 0);
    (void)file.data.add(file.pixels.element);
    const long long offset = static_cast<long long>(start) + info.valueOffset;
    const long long left = head.fileSize() - offset;
    file.pixels.offset = offset;
    file.pixels.length = info.valueLen;
    file.pixels.encapsulated = info.valueLen == kUndefined;
    std::string fault;
    if (!file.pixels.encapsulated) {
        if (info.valueLen <= left) return offset + info.valueLen;
        fault = "a value of " + std::to_string(info.valueLen) + " bytes, of which the file holds " +
                std::to_string(left);
    } else if (info.endOffset != 0) {
        file.pixels.length = info.endOffset - info.valueOffset - 8;
        return static_cast<long long>(start) + info.endOffset;
    } else {
        unsigned int length = 0;
        int extra = 0;
        MsgBuf[0] = '\0';
        if (offset < std::numeric_limits<int>::max() && left < static_cast<long long>(kUndefined) &&
            utilGetSqValLen(head.handle(), static_cast<int>(offset - 4), static_cast<unsigned int>(left + 4),
                            file.xferSyn, length, extra, 0) == 0) {
            file.pixels.length = length;
            return offset + length + extra;
        }
        fault = "fragments without their end";
        file.pixels.length = left;
    }
    const unsigned int path[] = {kPixelData};
    file.faults.push_back(pathText(path, 1) + " at byte " + std::to_string(start + info.offset) + ": " +
                          fault);
    return head.fileSize();
}

void readData(Head& head, DumpedFile& file, std::size_t start) {
    DcElemOffsetInfo info;
    info.tag = kPixelData;
    for (;;) {
        const int result = utilGetElemOffsetInfo(
            head.data() + start, static_cast<unsigned int>(head.size() - start), file.xferSyn, info);
        // Found, though perhaps its value is not in memory.
        if (result == 0 || info.valueOffset != 0 || !head.more()) break;
    }
    const bool pixels = info.valueOffset != 0;
    const std::size_t length = pixels ? info.offset : head.size() - start;
    decode(file.faults, file.data, head.data() + start, length, file.xferSyn, static_cast<long long>(start));
    if (!pixels) return;
    const long long end = placePixels(head, file, start, info);
    // Elements behind Pixel Data, where they are at hand.
    if (end < head.fileSize() && static_cast<long long>(head.size()) == head.fileSize()) {
        const auto at = static_cast<std::size_t>(end);
        decode(file.faults, file.data, head.data() + at, head.size() - at, file.xferSyn, end);
    }
}

}  // namespace

void readForDump(DumpedFile& file) {
    Head head(file.path);
    if (!head.begin()) {
        file.kind = DumpedFile::Kind::unreadable;
        file.faults.emplace_back(std::strerror(errno));
        return;
    }
    if (head.isDirectory()) {
        file.kind = DumpedFile::Kind::directory;
        return;
    }
    const std::size_t start = readMeta(head, file);
    if (start == 0) {
        file.kind = DumpedFile::Kind::unreadable;
        return;
    }
    if (start < head.size() || head.more()) {
        if (settleXferSyn(file, head.fileSize() - static_cast<long long>(start))) readData(head, file, start);
    }
}

std::string pathText(const unsigned int* path, int length) {
    std::string text;
    for (int i = 0; i < length; ++i) {
        char part[24];
        if (i % 2 == 0) {
            std::snprintf(part, sizeof part, "%s(%04x,%04x)", i == 0 ? "" : ".", path[i] >> 16,
                          path[i] & 0xFFFF);
        } else {
            std::snprintf(part, sizeof part, "[%u]", path[i]);
        }
        text += part;
    }
    return text;
}

}  // namespace services
