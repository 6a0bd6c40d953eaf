// Numbers in texts, always as in the "C" locale whatever the process runs under.
#ifndef ORVKIT_DATASET_NUMBER_TEXT_H
#define ORVKIT_DATASET_NUMBER_TEXT_H

#include <array>
#include <cstddef>
#include <string_view>

namespace orvkit {

// As atof: leading blanks, the longest number, the rest ignored; 0 without a number, infinity and 0 beyond
// the range.
double toDouble(std::string_view text) noexcept;

// As strtol and strtoul with a 32-bit long: base 0 takes the prefixes 0x and 0; beyond the range the nearest
// limit; 0 without a number. A minus wraps an unsigned number around.
int toInt(std::string_view text, int base) noexcept;
unsigned int toUInt(std::string_view text, int base) noexcept;

// A double as an int for messages: saturated, 0 for a NaN.
int toIntSaturated(double v) noexcept;

// A short text under construction. What does not fit is dropped; the room covers every value format.
class TextOut {
  public:
    std::string_view view() const noexcept { return {data_.data(), size_}; }
    void put(char c) noexcept {
        if (size_ < data_.size()) data_[size_++] = c;
    }
    void put(std::string_view s) noexcept {
        for (const char c : s) put(c);
    }
    void dropBack() noexcept { --size_; }
    bool endsWith(char c) const noexcept { return size_ != 0 && data_[size_ - 1] == c; }

    void number(int v, std::size_t width = 0) noexcept;  // "%0*d"
    void wide(long long v) noexcept;
    void wide(unsigned long long v) noexcept;
    void signedNumber(int v) noexcept;                 // "%+d"
    void hex(unsigned int v) noexcept;                 // "%04x" of 16 bits
    void fixed(double v, std::size_t width) noexcept;  // "%0*.6f"
    void general(double v) noexcept;                   // "%g"

  private:
    void padded(std::string_view digits, std::size_t width) noexcept;
    std::array<char, 340> data_;
    std::size_t size_ = 0;
};

}  // namespace orvkit

#endif
