#include "platform/charset.h"

#include <iconv.h>

#include <cerrno>
#include <new>

namespace orvkit::platform {

namespace {

constexpr std::size_t iconvFailed = static_cast<std::size_t>(-1);

void* opened(const char* to, const char* from, bool& memory) noexcept {
    const iconv_t made = ::iconv_open(to, from);
    if (made != reinterpret_cast<iconv_t>(-1)) return made;
    if (errno == ENOMEM) memory = false;
    return nullptr;
}

void close(void* encoding) noexcept {
    if (encoding != nullptr) ::iconv_close(encoding);
}

}  // namespace

Encoding::Encoding(const char* name) {
    bool memory = true;
    decoder_ = opened("UTF-8", name, memory);
    encoder_ = opened(name, "UTF-8", memory);
    if (memory) return;
    close(decoder_);
    close(encoder_);
    throw std::bad_alloc();
}

Encoding::~Encoding() {
    close(decoder_);
    close(encoder_);
}

void Encoding::toUtf8(std::string_view bytes, std::string& out,
                      const std::function<void(std::size_t)>& lost) const {
    std::string source(bytes);  // iconv takes a pointer to what it only reads
    char* from = source.data();
    std::size_t left = source.size();
    if (decoder_ != nullptr) (void)::iconv(decoder_, nullptr, nullptr, nullptr, nullptr);
    while (left != 0) {
        char room[512];
        char* to = room;
        std::size_t space = sizeof room;
        const std::size_t result =
            decoder_ == nullptr ? iconvFailed : ::iconv(decoder_, &from, &left, &to, &space);
        out.append(room, static_cast<std::size_t>(to - room));
        if (result != iconvFailed || (decoder_ != nullptr && errno == E2BIG)) continue;
        lost(source.size() - left);
        out += kReplacement;
        ++from;
        --left;
    }
}

bool Encoding::fromUtf8(std::string_view character, std::string& out) const {
    if (encoder_ == nullptr) return false;
    (void)::iconv(encoder_, nullptr, nullptr, nullptr, nullptr);
    std::string source(character);
    char* from = source.data();
    std::size_t left = source.size();
    char room[16];
    char* to = room;
    std::size_t space = sizeof room;
    if (::iconv(encoder_, &from, &left, &to, &space) != 0) return false;
    out.append(room, static_cast<std::size_t>(to - room));
    return true;
}

}  // namespace orvkit::platform
