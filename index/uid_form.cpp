#include "index/uid_form.h"

#include "index/record.h"

namespace orvkit::index {
namespace {

constexpr unsigned int kPoint = 1;
constexpr unsigned int kZero = 2;
constexpr char kNoUid = '\xFF';

unsigned int digitOf(char c) {
    return c == '.' ? kPoint : kZero + static_cast<unsigned int>(c - '0');
}

}  // namespace

std::string packedUid(std::string_view uid) {
    if (uid.empty()) return {};
    if (!isUid(uid)) return kNoUid + std::string(uid);
    std::string bytes((uid.size() + 1) / 2, '\0');
    for (std::size_t i = 0; i < uid.size(); ++i) {
        const unsigned int digit = digitOf(uid[i]) << (i % 2 == 0 ? 4 : 0);
        bytes[i / 2] = static_cast<char>(static_cast<unsigned char>(bytes[i / 2]) | digit);
    }
    return bytes;
}

std::string unpackedUid(std::string_view bytes) {
    std::string uid;
    for (const char byte : bytes) {
        for (const unsigned int digit :
             {static_cast<unsigned char>(byte) / 16U, static_cast<unsigned char>(byte) % 16U}) {
            if (digit != 0) uid += digit == kPoint ? '.' : static_cast<char>('0' + (digit - kZero));
        }
    }
    return uid;
}

}  // namespace orvkit::index
