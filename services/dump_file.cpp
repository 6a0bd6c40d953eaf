#include "services/dump_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/elements.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

constexpr std::size_t kWithPrefix = 132;  // the preamble and "DICM"
constexpr std::size_t kFirstOfPipe = 1 << 16;
constexpr std::size_t kMostOfPipe = 0x7FFFFFFF;  // bytes of a pipe in memory

// Without the name of the file.
std::string behindName(const std::string& text) {
    const std::size_t at = text.find("', ");
    return at == std::string::npos ? text : text.substr(at + 3);
}

// Gathers the faults that decoding tells.
class FaultCollector {
  public:
    FaultCollector(std::vector<std::string>& faults, const DcDirAround& around)
        : faults_(faults), around_(around) {
        (void)elemListRegisterFaultCB(this, collect);
    }
    FaultCollector(const FaultCollector&) = delete;
    FaultCollector& operator=(const FaultCollector&) = delete;
    ~FaultCollector() { (void)elemListRegisterFaultCB(nullptr, nullptr); }

  private:
    static void collect(void* context, const DcElemFault& fault) {
        auto& self = *static_cast<FaultCollector*>(context);
        // The offset in the message is that within what is decoded at once.
        std::string text = fault.text;
        if (const std::size_t at = text.find(" at offset 0x"); at != std::string::npos) text.resize(at);
        if (fault.pathLength == 0) {
            self.faults_.push_back(behindName(fault.text));
            return;
        }
        self.faults_.push_back(pathText(fault.path, fault.pathLength) + " at byte " +
                               std::to_string(self.around_.streamOffset + fault.offset) + ": " + text);
    }

    std::vector<std::string>& faults_;
    const DcDirAround& around_;
};

// What the library said of a file behind its name: "File 'x', text" and "File 'x' is ...: text".
std::string lastFaultBehind(std::string_view mark) {
    std::string text = lastFault();
    if (const std::size_t at = text.find(mark); at != std::string::npos) text.erase(0, at + mark.size());
    return text;
}

// What a result means that no fault has told.
std::string resultFault(int result, const DumpedFile& file) {
    switch (result) {
        case DIR_NOT_PART10:
            return lastFaultBehind(" is not a Part 10 file: ");
        case DIR_META_INFO:
            return "file meta information: " + lastFault();
        case ELEM_XFER_SYNTAX:
            return lastFaultBehind("', ") + ": it is not read";
        default:
            return lastFaultBehind("File '" + file.path + "', ");
    }
}

// `read(meta, around)` is one of the forms of dirReadAroundPixels.
template <typename Read>
int readWith(DumpedFile& file, Read read) {
    DcDirMetaInfo meta;
    DcDirAround around;
    around.meta = &file.meta;
    around.byTable = 1;
    DcDirFound found;
    around.found = &found;
    const int replaced = elementsReplaced();
    (void)takeRemark();
    forgetFault();
    int result;
    {
        const FaultCollector collector(file.faults, around);
        result = read(meta, around);
    }
    file.remark = takeRemark();
    if (result != RESULT_OK && file.faults.empty() && result != DIR_STAT && result != DIR_OPEN) {
        file.faults.push_back(resultFault(result, file));
    }
    if (const int twice = elementsReplaced() - replaced; twice > 0) {
        file.faults.push_back(std::to_string(twice) + (twice == 1 ? " element comes" : " elements come") +
                              " again further on, and only the last is shown");
    }
    if (result != DIR_NOT_PART10 && around.xferSyn != UID_NONE) file.note = describeFound(found);
    // Without meta information nothing is known of a file.
    if (file.meta.first() == nullptr && file.data.first() == nullptr)
        file.kind = DumpedFile::Kind::unreadable;
    return result;
}

// Whether bytes are the beginning of something that can be shown.
bool beginsAsDicom(std::vector<unsigned char>& bytes) {
    if (bytes.size() >= kWithPrefix && std::memcmp(bytes.data() + kWithPrefix - 4, "DICM", 4) == 0)
        return true;
    DcDirMetaInfo meta;
    DcElemList data;
    DcDirFound found;
    DcDirAround around;
    around.found = &found;
    (void)dirReadAroundPixels(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, data, around);
    return found.meta || found.xferSyn != UID_NONE;
}

// Reads a pipe to its end; one that begins as no DICOM file does may have none. false with errno.
bool readStream(int handle, std::vector<unsigned char>& bytes) {
    std::size_t used = 0;
    for (std::size_t wanted = kFirstOfPipe;; wanted = std::min(wanted * 2, kMostOfPipe)) {
        bytes.resize(wanted);
        const std::int64_t n = platform::read(handle, bytes.data() + used, wanted - used);
        if (n < 0) return false;
        used += static_cast<std::size_t>(n);
        if (used < wanted || (wanted == kFirstOfPipe && !beginsAsDicom(bytes))) break;
        if (wanted == kMostOfPipe) {
            errno = EFBIG;
            return false;
        }
    }
    bytes.resize(used);
    return true;
}

// What is no regular file, or cannot be read. false with errno.
bool readOther(DumpedFile& file) {
    const platform::FileHandle handle = platform::openRead(file.path.c_str());
    platform::FileInfo info;
    if (!handle || !platform::examine(handle.get(), info)) return false;
    if (info.kind == platform::FileKind::directory) {
        file.kind = DumpedFile::Kind::directory;
        return true;
    }
    std::vector<unsigned char> bytes;
    if (!readStream(handle.get(), bytes)) return false;
    static unsigned char none;
    (void)readWith(file, [&](DcDirMetaInfo& meta, DcDirAround& around) {
        return dirReadAroundPixels(bytes.empty() ? &none : bytes.data(),
                                   static_cast<unsigned int>(bytes.size()), meta, file.data, around);
    });
    return true;
}

}  // namespace

void readForDump(DumpedFile& file) {
    const int result = readWith(file, [&file](DcDirMetaInfo& meta, DcDirAround& around) {
        return dirReadAroundPixels(file.path.c_str(), meta, file.data, around);
    });
    if (result != DIR_STAT && result != DIR_OPEN) return;
    file.kind = DumpedFile::Kind::file;
    if (readOther(file)) return;
    file.kind = DumpedFile::Kind::unreadable;
    file.faults.emplace_back(std::strerror(errno));
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
