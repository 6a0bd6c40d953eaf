#include "services/write_behind.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "platform/file.h"

namespace services {
namespace {

constexpr std::size_t kLeastRoom = 32768;  // less is not worth a receive of its own

}  // namespace

WriteBehind::WriteBehind(int file, bool syncs)
    : file_(file), syncs_(syncs), thread_(&WriteBehind::run, this) {}

WriteBehind::~WriteBehind() {
    end(true);
}

void WriteBehind::run() {
    std::int64_t unsynced = 0;
    for (std::size_t next = 0;; next = (next + 1) % kBlocks) {
        bool failed = false;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return waiting_ > 0 || ending_; });
            if (waiting_ == 0 || dropping_) return;
            failed = error_ != 0;
        }
        Block& block = blocks_[next];
        errno = 0;
        const bool written = !failed && orvkit::platform::writeAll(file_, block.bytes.get(), block.used);
        const int reason = written ? 0 : errno != 0 ? errno : EIO;
        unsynced += static_cast<std::int64_t>(block.used);
        if (syncs_ && written && unsynced >= orvkit::platform::syncPiece) {
            orvkit::platform::beginSync(file_);
            unsynced = 0;
        }
        block.used = 0;
        {
            const std::lock_guard lock(mutex_);
            if (error_ == 0) error_ = reason;
            --waiting_;
        }
        changed_.notify_all();
    }
}

// Until then the block that is to be filled belongs to the thread.
void WriteBehind::awaitFree() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return waiting_ < kBlocks; });
}

std::span<unsigned char> WriteBehind::room() {
    awaitFree();
    Block& block = blocks_[filling_];
    if (block.bytes == nullptr) block.bytes.reset(new (std::nothrow) unsigned char[kBlock]);
    if (block.bytes == nullptr) {
        const std::lock_guard lock(mutex_);
        if (error_ == 0) error_ = ENOMEM;
        return {};
    }
    return {block.bytes.get() + block.used, kBlock - block.used};
}

bool WriteBehind::append(const unsigned char* data, std::size_t length) {
    while (length > 0) {
        const std::span<unsigned char> to = room();
        if (to.empty()) return false;
        const std::size_t count = std::min(length, to.size());
        if (data != to.data()) std::memcpy(to.data(), data, count);
        data += count;
        length -= count;
        Block& block = blocks_[filling_];
        block.used += count;
        if (kBlock - block.used < kLeastRoom) handOver();
    }
    return error() == 0;
}

void WriteBehind::handOver() {
    {
        const std::lock_guard lock(mutex_);
        ++waiting_;
    }
    changed_.notify_all();
    filling_ = (filling_ + 1) % kBlocks;
}

bool WriteBehind::finish() {
    awaitFree();
    if (blocks_[filling_].used > 0) handOver();
    end(false);
    return error_ == 0;
}

void WriteBehind::end(bool drop) {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        dropping_ = drop;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
}

int WriteBehind::error() {
    const std::lock_guard lock(mutex_);
    return error_;
}

}  // namespace services
