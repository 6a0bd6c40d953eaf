// Writes a file in a thread of its own, so that whoever receives the bytes need not wait for the disk.
#ifndef ORVKIT_SERVICES_WRITE_BEHIND_H
#define ORVKIT_SERVICES_WRITE_BEHIND_H

#include <array>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <span>
#include <thread>

namespace services {

// For one caller at a time. Holds up to kBlocks blocks, each from when it is needed first.
class WriteBehind {
  public:
    static constexpr std::size_t kBlock = std::size_t{512} << 10;
    static constexpr std::size_t kBlocks = 8;

    // Writes at the position of the handle, which stays the caller's; `syncs`: he waits for the disk at the
    // end. Throws std::system_error when the system has no thread left.
    WriteBehind(int file, bool syncs);
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;
    // Waits for the block that is being written; what is behind it is dropped.
    ~WriteBehind();

    // Room for the next bytes, which need not be copied when they are put there; waits while all blocks are
    // full. Empty when there is no memory for it: a failed write.
    std::span<unsigned char> room();
    // Takes the next bytes, wherever they are. False after a failed write, see error.
    [[nodiscard]] bool append(const unsigned char* data, std::size_t length);
    // Waits until everything is written; false: it was not, see error. Nothing may be appended after it.
    [[nodiscard]] bool finish();
    // Why a write failed, as in errno; 0 while none has.
    int error();

  private:
    struct Block {
        std::unique_ptr<unsigned char[]> bytes;
        std::size_t used = 0;
    };

    void run();
    void awaitFree();
    void handOver();
    void end(bool drop);

    const int file_;
    const bool syncs_;
    std::array<Block, kBlocks> blocks_;
    std::size_t filling_ = 0;  // its index; the caller's alone

    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t waiting_ = 0;  // blocks that are full
    bool ending_ = false;
    bool dropping_ = false;
    int error_ = 0;
    std::thread thread_;
};

}  // namespace services

#endif
