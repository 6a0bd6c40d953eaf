#include "dataset/print_sink.h"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace orvkit {

void TextSink::flush() noexcept {
    // A stream that cannot be written to keeps its own error flag.
    if (used_ != 0) (void)std::fwrite(buf_, 1, used_, file_);
    flushed_ += used_;
    used_ = 0;
}

void TextSink::put(std::string_view text) noexcept {
    if (text.size() > sizeof buf_ - used_) {
        flush();
        if (text.size() > sizeof buf_) {
            (void)std::fwrite(text.data(), 1, text.size(), file_);
            flushed_ += text.size();
            return;
        }
    }
    if (text.empty()) return;
    std::memcpy(buf_ + used_, text.data(), text.size());
    used_ += text.size();
}

void TextSink::pad(char c, std::size_t times) noexcept {
    for (; times != 0; --times) put(c);
}

void TextSink::hex(unsigned int value, unsigned int digits) noexcept {
    char text[8];
    unsigned int at = sizeof text;
    do {
        text[--at] = "0123456789abcdef"[value & 0xF];
        value >>= 4;
    } while (value != 0);
    while (sizeof text - at < digits) text[--at] = '0';
    put(std::string_view(text + at, sizeof text - at));
}

void TextSink::dec(int value) noexcept {
    char text[12];
    const auto end = std::to_chars(text, text + sizeof text, value);
    put(std::string_view(text, static_cast<std::size_t>(end.ptr - text)));
}

void TextSink::real(double value) noexcept {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6);
    put(std::string_view(text, static_cast<std::size_t>(end.ptr - text)));
}

void TextSink::pointer(const void* address) noexcept {
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%p", address);
    if (n > 0) put(std::string_view(text, static_cast<std::size_t>(n)));
}

void TextSink::tag(unsigned int tag) noexcept {
    put('(');
    hex(tag >> 16, 4);
    put(',');
    hex(tag & 0xFFFF, 4);
    put(')');
}

}  // namespace orvkit
