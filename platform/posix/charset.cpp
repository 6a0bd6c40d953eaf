#include "platform/charset.h"

#include <iconv.h>

#include <cerrno>

namespace orvkit::platform {

ToUtf8::ToUtf8(const char* encoding) noexcept {
    const iconv_t made = ::iconv_open("UTF-8", encoding);
    if (made != reinterpret_cast<iconv_t>(-1)) converter_ = made;
}

ToUtf8::~ToUtf8() {
    if (converter_ != nullptr) ::iconv_close(converter_);
}

void ToUtf8::append(std::string_view bytes, std::string& out) const {
    if (converter_ == nullptr) {
        for (std::size_t i = 0; i < bytes.size(); ++i) out += kReplacement;
        return;
    }
    (void)::iconv(converter_, nullptr, nullptr, nullptr, nullptr);
    std::string source(bytes);  // iconv takes a pointer to what it only reads
    char* from = source.data();
    std::size_t left = source.size();
    while (left != 0) {
        char room[512];
        char* to = room;
        std::size_t space = sizeof room;
        const std::size_t result = ::iconv(converter_, &from, &left, &to, &space);
        out.append(room, static_cast<std::size_t>(to - room));
        if (result != static_cast<std::size_t>(-1) || errno == E2BIG) continue;
        out += kReplacement;
        ++from;
        --left;
    }
}

}  // namespace orvkit::platform
