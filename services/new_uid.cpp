#include "services/new_uid.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>

namespace services {

std::string newUid() {
    std::random_device random;
    std::array<std::uint32_t, 4> bits{};
    for (std::uint32_t& part : bits) part = static_cast<std::uint32_t>(random());
    bits[1] = (bits[1] & 0xFFFF0FFF) | 0x4000;  // version and variant of such numbers
    bits[2] = (bits[2] & 0x3FFFFFFF) | 0x80000000;
    std::string digits;
    while (std::ranges::any_of(bits, [](std::uint32_t part) { return part != 0; })) {
        std::uint64_t rest = 0;
        for (std::uint32_t& part : bits) {
            rest = rest << 32 | part;
            part = static_cast<std::uint32_t>(rest / 10);
            rest %= 10;
        }
        digits += static_cast<char>('0' + rest);
    }
    std::ranges::reverse(digits);
    return "2.25." + digits;
}

}  // namespace services
