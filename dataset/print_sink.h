// Where prints go: text is gathered in a buffer and handed to the stream in large pieces.
#ifndef ORVKIT_DATASET_PRINT_SINK_H
#define ORVKIT_DATASET_PRINT_SINK_H

#include <cstddef>
#include <cstdio>
#include <string_view>

namespace orvkit {

class TextSink {
  public:
    explicit TextSink(FILE* file) noexcept : file_(file) {}
    TextSink(const TextSink&) = delete;
    TextSink& operator=(const TextSink&) = delete;
    ~TextSink() { flush(); }

    FILE* file() const noexcept { return file_; }
    // Bytes put so far.
    unsigned long long total() const noexcept { return flushed_ + used_; }
    void put(char c) noexcept {
        if (used_ == sizeof buf_) flush();
        buf_[used_++] = c;
    }
    void put(std::string_view text) noexcept;
    void pad(char c, std::size_t times) noexcept;
    // At least `digits` lower-case hexadecimal digits, as %0*x does.
    void hex(unsigned int value, unsigned int digits = 1) noexcept;
    void dec(int value) noexcept;
    void real(double value) noexcept;            // as %g
    void pointer(const void* address) noexcept;  // as %p
    // "(gggg,eeee)"
    void tag(unsigned int tag) noexcept;
    // What is gathered goes to the stream; the stream itself is not flushed.
    void flush() noexcept;

  private:
    FILE* file_;
    std::size_t used_ = 0;
    unsigned long long flushed_ = 0;
    char buf_[8192];
};

}  // namespace orvkit

#endif
