#include "media/stored_value.h"

#include <algorithm>
#include <cstring>

#include "foundation/fail.h"

namespace orvkit {

void StoredValue::append(const unsigned char* data, int handle, std::uint64_t offset, std::uint64_t length) {
    if (length == 0) return;
    pieces_.push_back({size_, length, data, handle, offset});
    size_ += length;
}

void StoredValue::add(const SharedFile& file, std::uint64_t offset, std::uint64_t length) {
    platform::FileInfo info;
    if (!platform::examine(file->get(), info)) return;
    const std::uint64_t held = static_cast<std::uint64_t>(std::max<std::int64_t>(info.size, 0));
    files_.push_back(file);
    append(nullptr, file->get(), offset, offset < held ? std::min(length, held - offset) : 0);
}

int StoredValue::add(const DcBuf& buffer, const char* reporter) {
    if (buffer.getType() == BUF_MEMORY) {
        const auto* const data = static_cast<const unsigned char*>(buffer.getBuf());
        if (data != nullptr) append(data, -1, 0, buffer.getLen64());
        return RESULT_OK;
    }
    SharedFile file;
    if (buffer.getType() == BUF_HANDLE) {
        file = std::make_shared<const platform::FileHandle>(platform::duplicate(buffer.getHandle()));
    } else {
        const char* const name = buffer.getFileName() != nullptr ? buffer.getFileName() : "";
        platform::FileInfo info;
        // A pipe would keep the opener waiting.
        if (name_ != nullptr && std::strcmp(name_, name) == 0) {
            file = files_.back();
        } else if (platform::examine(name, info) && info.kind == platform::FileKind::regular) {
            file = std::make_shared<const platform::FileHandle>(platform::openRead(name));
        }
        name_ = name;
    }
    platform::FileInfo info;
    if (!file || !*file || !platform::examine(file->get(), info) ||
        info.kind != platform::FileKind::regular) {
        return fail(DIR_OPEN, LOG_ERROR, reporter, "Error opening pixel data file %s",
                    buffer.getFileName() != nullptr ? buffer.getFileName() : "");
    }
    add(file, buffer.getOffset64(), buffer.getLen64());
    return RESULT_OK;
}

std::int64_t StoredValue::copy(std::uint64_t at, std::span<unsigned char> into) const {
    std::size_t done = 0;
    bool failed = false;
    if (at >= size_) return 0;
    eachRun(at, std::min<std::uint64_t>(into.size(), size_ - at), [&](const DcFrameRun& run) {
        if (failed) return;
        const auto n = static_cast<std::size_t>(run.length);
        unsigned char* const to = into.data() + done;
        if (run.data != nullptr) {
            std::memcpy(to, run.data, n);
            done += n;
            return;
        }
        const std::int64_t got = platform::readAt(run.handle, to, n, static_cast<std::int64_t>(run.offset));
        // A file that has become shorter is as unreadable as a broken one.
        failed = got != static_cast<std::int64_t>(n);
        if (!failed) done += n;
    });
    return failed ? -1 : static_cast<std::int64_t>(done);
}

}  // namespace orvkit
