// What a platform must implement: text in other encodings.
#ifndef ORVKIT_PLATFORM_CHARSET_H
#define ORVKIT_PLATFORM_CHARSET_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace orvkit::platform {

inline constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// One encoding beside UTF-8, by its name among the registered character sets: "ISO-8859-5", "EUC-JP". To be
// kept for the next text, and used by one thread at a time. std::bad_alloc where memory is gone.
class Encoding {
  public:
    explicit Encoding(const char* name);
    Encoding(const Encoding&) = delete;
    Encoding& operator=(const Encoding&) = delete;
    ~Encoding();

    // U+FFFD stands for each byte that cannot be converted, all of them when the system lacks the encoding;
    // `lost` is told where in `bytes` it stands.
    void toUtf8(std::string_view bytes, std::string& out, const std::function<void(std::size_t)>& lost) const;
    // One character; false when the encoding has none for it.
    bool fromUtf8(std::string_view character, std::string& out) const;

  private:
    void* decoder_ = nullptr;  // the system's own; null where it lacks the encoding
    void* encoder_ = nullptr;
};

}  // namespace orvkit::platform

#endif
