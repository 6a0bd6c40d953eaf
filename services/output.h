// Standard output as the dump writes it: gathered and written in large pieces.
#ifndef ORVKIT_SERVICES_OUTPUT_H
#define ORVKIT_SERVICES_OUTPUT_H

#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

#include "services/report.h"

namespace services {

// Decides when text may be written that several threads gather at once.
class OutputGate {
  public:
    OutputGate() = default;
    OutputGate(const OutputGate&) = delete;
    OutputGate& operator=(const OutputGate&) = delete;
    virtual ~OutputGate() = default;
    // Whether text may go out of which `size` bytes wait; it may let the thread wait for that.
    virtual bool opens(std::size_t size) = 0;
};

class Output {
  public:
    // Without a gate, text is written when a piece is full.
    explicit Output(OutputGate* gate = nullptr) : gate_(gate) { text_.reserve(kPiece + kPiece / 4); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() { flush(); }

    Output& operator<<(char c) {
        text_ += c;
        return *this;
    }
    Output& operator<<(std::string_view text) {
        if (text_.size() + text.size() > kPiece) flush();
        text_ += text;
        return *this;
    }
    Output& operator<<(const char* text) { return *this << std::string_view(text); }
    template <typename T, typename = std::enable_if_t<std::is_arithmetic_v<T> && !std::is_same_v<T, char>>>
    Output& operator<<(T number) {  // reals with the fewest digits that give them back
        char room[40];
        const auto end = std::to_chars(room, room + sizeof room, number);
        return *this << std::string_view(room, static_cast<std::size_t>(end.ptr - room));
    }
    // At least `digits` hexadecimal digits.
    Output& hex(unsigned long long value, int digits = 1, bool upper = false) {
        char room[16];
        int at = sizeof room;
        do {
            room[--at] = (upper ? "0123456789ABCDEF" : "0123456789abcdef")[value & 0xF];
            value >>= 4;
        } while (value != 0 || static_cast<int>(sizeof room) - at < digits);
        return *this << std::string_view(room + at, sizeof room - static_cast<std::size_t>(at));
    }
    // "(gggg,eeee)"
    Output& tag(unsigned int tag) {
        *this << '(';
        hex(tag >> 16, 4) << ',';
        return hex(tag & 0xFFFF, 4) << ')';
    }
    Output& pad(std::size_t times) {
        text_.append(times, ' ');
        return *this;
    }

    // Bytes put so far.
    std::size_t total() const { return flushed_ + text_.size(); }

    void flush() {
        if (gate_ != nullptr && !text_.empty() && !gate_->opens(text_.size())) return;
        if (!text_.empty() && std::fwrite(text_.data(), 1, text_.size(), stdout) != text_.size()) {
            noteOutputFailure();
        }
        flushed_ += text_.size();
        text_.clear();
    }
    // Also what the stream still holds; false when it does not get out.
    [[nodiscard]] bool deliver() {
        flush();
        if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
        noteOutputFailure();
        return false;
    }
    bool failed() const { return std::ferror(stdout) != 0; }

  private:
    static constexpr std::size_t kPiece = 1 << 16;
    OutputGate* gate_;
    std::string text_;
    std::size_t flushed_ = 0;
};

}  // namespace services

#endif
