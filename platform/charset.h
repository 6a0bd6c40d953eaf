// What a platform must implement: text in other encodings.
#ifndef ORVKIT_PLATFORM_CHARSET_H
#define ORVKIT_PLATFORM_CHARSET_H

#include <string>
#include <string_view>

namespace orvkit::platform {

// From one encoding to UTF-8. To be kept for the next text, and used by one thread.
class ToUtf8 {
  public:
    // By its name among the registered character sets: "ISO-8859-5", "EUC-JP".
    explicit ToUtf8(const char* encoding) noexcept;
    ToUtf8(const ToUtf8&) = delete;
    ToUtf8& operator=(const ToUtf8&) = delete;
    ~ToUtf8();

    // U+FFFD stands for each byte that cannot be converted: all of them when the system lacks the encoding.
    void append(std::string_view bytes, std::string& out) const;

  private:
    void* converter_ = nullptr;  // the system's own; null where it lacks the encoding
};

inline constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

}  // namespace orvkit::platform

#endif
