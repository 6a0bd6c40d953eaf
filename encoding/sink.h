// Where encoded bytes go.
#ifndef ORVKIT_ENCODING_SINK_H
#define ORVKIT_ENCODING_SINK_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace orvkit {

class ByteSink {
  public:
    ByteSink() = default;
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;
    virtual ~ByteSink() = default;
    // Takes all of them, or fails.
    [[nodiscard]] virtual bool put(std::span<const unsigned char> bytes) = 0;
    // The next `length` bytes are those of a file, from `offset`. Gives their number, smaller only when the
    // file ends early; -1 on failure.
    [[nodiscard]] virtual std::int64_t copy(int from, std::int64_t offset, std::int64_t length);
};

// The position of an open file.
class HandleSink final : public ByteSink {
  public:
    explicit HandleSink(int handle) noexcept : handle_(handle) {}
    [[nodiscard]] bool put(std::span<const unsigned char> bytes) override;
    [[nodiscard]] std::int64_t copy(int from, std::int64_t offset, std::int64_t length) override;

  private:
    int handle_;
};

// A block that grows with what comes.
class MemorySink final : public ByteSink {
  public:
    // False without memory.
    [[nodiscard]] bool put(std::span<const unsigned char> bytes) override;
    std::span<unsigned char> bytes() const noexcept { return {block_.get(), size_}; }

  private:
    struct Free {
        void operator()(unsigned char* p) const noexcept { std::free(p); }
    };
    std::unique_ptr<unsigned char, Free> block_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace orvkit

#endif
