// File names are UTF-8 at the library's interface and UTF-16 at the system's.
#ifndef ORVKIT_PLATFORM_WIN32_PATH_H
#define ORVKIT_PLATFORM_WIN32_PATH_H

#include <memory>

namespace orvkit::platform {

// A path for the wide calls; `ok` is false when the text is no UTF-8 or there is no memory.
class WidePath {
  public:
    explicit WidePath(const char* path) noexcept;
    bool ok() const noexcept { return text_ != nullptr; }
    const wchar_t* get() const noexcept { return text_.get(); }

  private:
    std::unique_ptr<wchar_t[]> text_;
};

// Sets errno to what the last error of the system means; false.
bool failWithErrno() noexcept;

}  // namespace orvkit::platform

#endif
