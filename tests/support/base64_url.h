// The base64 of tokens (RFC 7515 2): without padding, and with the letters that addresses may have.
#ifndef ORVKIT_TESTS_SUPPORT_BASE64_URL_H
#define ORVKIT_TESTS_SUPPORT_BASE64_URL_H

#include <openssl/evp.h>

#include <string>
#include <string_view>

inline std::string base64Url(std::string_view bytes) {
    std::string text(4 * (bytes.size() / 3 + 1) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    for (char& c : text) c = c == '+' ? '-' : c == '/' ? '_' : c;
    return text.substr(0, text.find('='));
}

#endif
