// Where encoded bytes come from: memory, or a file through a window. Users that keep theirs otherwise add
// sources of their own.
#ifndef ORVKIT_ENCODING_SOURCE_H
#define ORVKIT_ENCODING_SOURCE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

namespace orvkit {

// Bytes that are looked at through a window, which moves as it must.
class ByteSource {
  public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    std::uint64_t size() const noexcept { return size_; }
    // A read went wrong: what at() gave since then may be too short.
    bool failed() const noexcept { return failed_; }
    // How often the window had to move.
    std::uint64_t moves() const noexcept { return moves_; }
    // The bytes from `offset` on: at least `n` of them, fewer only where the source ends or a read failed.
    // Valid until the next call.
    std::span<const unsigned char> at(std::uint64_t offset, std::size_t n) {
        if (!holds(offset, n)) {
            ++moves_;
            load(offset, n);
        }
        if (offset < windowAt_ || offset - windowAt_ >= window_.size()) return {};
        return window_.subspan(static_cast<std::size_t>(offset - windowAt_));
    }

  protected:
    bool holds(std::uint64_t offset, std::size_t n) const noexcept {
        return offset >= windowAt_ && offset - windowAt_ <= window_.size() &&
               window_.size() - (offset - windowAt_) >= n;
    }
    // Moves the window to where it holds `n` bytes from `offset`, as far as they exist.
    virtual void load(std::uint64_t offset, std::size_t n) = 0;

    std::span<const unsigned char> window_;
    std::uint64_t windowAt_ = 0;
    std::uint64_t size_ = 0;
    std::uint64_t moves_ = 0;
    bool failed_ = false;
};

// Bytes in memory, which must stay as long as the source.
class SpanSource final : public ByteSource {
  public:
    explicit SpanSource(std::span<const unsigned char> bytes, std::uint64_t offset = 0) noexcept {
        window_ = bytes;
        windowAt_ = offset;
        size_ = offset + bytes.size();
    }

  private:
    void load(std::uint64_t, std::size_t) override {}
};

// The bytes of a file, through a buffer of 16384 bytes.
class FileSource : public ByteSource {
  protected:
    // Reads up to `room` bytes into `into`; gives their number, or -1.
    virtual std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) = 0;

  private:
    void load(std::uint64_t offset, std::size_t n) override;

    std::vector<unsigned char> buffer_;
};

// A regular file behind a low-level handle, whose own position is not used.
class HandleSource final : public FileSource {
  public:
    explicit HandleSource(int handle) noexcept;

  private:
    std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) override;

    int handle_;
};

// A stream that can be positioned; it is left where it stood.
class StreamSource final : public FileSource {
  public:
    explicit StreamSource(FILE* file) noexcept;
    ~StreamSource() override;
    std::uint64_t start() const noexcept { return start_ < 0 ? 0 : static_cast<std::uint64_t>(start_); }

  private:
    std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) override;

    FILE* file_;
    std::int64_t start_;
};

}  // namespace orvkit

#endif
