#include "tls/password.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include "orvkit/result.h"
#include "tls/openssl.h"

#if ORVKIT_WITH_CRYPT
#include <crypt.h>
#endif

namespace orvkit::tls {

#if ORVKIT_WITH_CRYPT

namespace {

// What a hash is worked out in; the password is among it.
struct Work {
    crypt_data data{};
    ~Work() { OPENSSL_cleanse(&data, sizeof data); }
};

// Null when the setting is none. One at a time: each takes some megabytes and milliseconds, on purpose.
const char* hashOf(const char* password, const char* setting, Work& work) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    const char* const hash = ::crypt_r(password, setting, &work.data);
    return hash == nullptr || hash[0] == '*' ? nullptr : hash;
}

}  // namespace

int hashPassword(const char* password, std::string& hash, Words& fault) {
    char setting[CRYPT_GENSALT_OUTPUT_SIZE] = "";
    const auto work = std::make_unique<Work>();
    if (::crypt_gensalt_rn("$y$", 0, nullptr, 0, setting, sizeof setting) != nullptr) {
        if (const char* const made = hashOf(password, setting, *work)) {
            hash = made;
            return RESULT_OK;
        }
    }
    fault.set("a password cannot be hashed: it is too long, or the system has no yescrypt");
    return TLS_SETTING;
}

int checkPasswordHash(const char* hash, Words& fault) {
    if (::crypt_checksalt(hash) != CRYPT_SALT_INVALID && hash[0] == '$') return RESULT_OK;
    fault.set("this is no hash of a password (crypt(5), such as $y$...)");
    return TLS_SETTING;
}

int checkPassword(std::string_view password, const char* hash, Words& fault) {
    if (const int result = checkPasswordHash(hash, fault); result != RESULT_OK) return result;
    const auto work = std::make_unique<Work>();
    std::string text(password);
    const bool sound = text.find('\0') == std::string::npos;
    const char* const own = sound ? hashOf(text.c_str(), hash, *work) : nullptr;
    OPENSSL_cleanse(text.data(), text.size());
    const std::size_t length = std::strlen(hash);
    if (own != nullptr && std::strlen(own) == length && CRYPTO_memcmp(own, hash, length) == 0)
        return RESULT_OK;
    fault.set("the password is another");
    return TLS_PASSWORD;
}

#else

int hashPassword(const char*, std::string&, Words& fault) {
    fault.set("passwords of users are left out of this build: libxcrypt was not there");
    return TLS_SETTING;
}

int checkPasswordHash(const char*, Words& fault) {
    std::string none;
    return hashPassword("", none, fault);
}

int checkPassword(std::string_view, const char* hash, Words& fault) {
    return checkPasswordHash(hash, fault);
}

#endif

}  // namespace orvkit::tls
