#include "services/same_object.h"

#include <cstdint>
#include <cstring>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/result.h"
#include "platform/file.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

// The rest of a file behind its meta information.
struct Dataset {
    explicit Dataset(const std::string& path) {
        DcDirMetaInfo meta;
        platform::FileInfo info;
        // Whoever opens a pipe waits for its writer.
        if (!platform::examine(path.c_str(), info) || info.kind != platform::FileKind::regular) return;
        file = platform::openRead(path.c_str());
        if (!file || dirReadFileMetaInfo(path.c_str(), meta, begin) != RESULT_OK ||
            !platform::examine(file.get(), info)) {
            file.reset();
        }
        xferSyn = meta.transferSyntax;
        length = info.size - begin;
    }
    platform::FileHandle file;
    unsigned int begin = 0;
    std::int64_t length = 0;
    DICT_UID xferSyn = UID_NONE;
};

bool isSame(const Dataset& one, const Dataset& other) {
    if (!one.file || !other.file || one.xferSyn != other.xferSyn || one.length != other.length) return false;
    constexpr std::size_t piece = 1 << 16;
    std::vector<char> a(piece), b(piece);
    for (std::int64_t at = 0, n = 0; at < one.length; at += n) {
        n = platform::readAt(one.file.get(), a.data(), piece, one.begin + at);
        if (n <= 0 || platform::readAt(other.file.get(), b.data(), piece, other.begin + at) != n ||
            std::memcmp(a.data(), b.data(), static_cast<std::size_t>(n)) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool isSameObject(const std::string& path, const std::string& other) {
    return isSame(Dataset(path), Dataset(other));
}

}  // namespace services
