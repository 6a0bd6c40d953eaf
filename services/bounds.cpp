#include "services/bounds.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace services {

namespace {

constexpr std::uint64_t kMostCount = 1'000'000'000;
constexpr std::string_view kUnits = "KMGT";

// clang-format off
constexpr struct Row {
    std::string_view name;
    std::uint64_t Limits::*limit;
    bool ofPeer;
    bool bytes;
} rows[] = {
    {"connections",  &Limits::connections,  false, false},
    {"failures",     &Limits::failures,     false, false},
    {"associations", &Limits::associations, true,  false},
    {"objects",      &Limits::objects,      true,  false},
    {"bytes",        &Limits::bytes,        true,  true },
    {"object-size",  &Limits::objectSize,   true,  true },
    {"idle",         &Limits::idle,         true,  false},
};
// clang-format on

const Row* find(std::string_view name) {
    const auto* const row = std::ranges::find(rows, name, &Row::name);
    return row == std::end(rows) ? nullptr : row;
}

std::string bytesWord(std::uint64_t bytes) {
    std::size_t unit = 0;
    while (unit < kUnits.size() && bytes != 0 && bytes % 1024 == 0) {
        bytes /= 1024;
        ++unit;
    }
    return std::to_string(bytes) + (unit == 0 ? "" : std::string(1, kUnits[unit - 1]));
}

}  // namespace

bool parseBytes(std::string_view text, std::uint64_t& bytes) {
    const std::size_t unit = text.empty() ? std::string_view::npos : kUnits.find(text.back());
    if (unit != std::string_view::npos) text.remove_suffix(1);
    const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
    if (error != std::errc() || at != text.data() + text.size()) return false;
    const unsigned int shift =
        unit == std::string_view::npos ? 0 : 10 * (static_cast<unsigned int>(unit) + 1);
    if (bytes > (UINT64_MAX >> 1) >> shift) return false;
    bytes <<= shift;
    return true;
}

Limits Limits::with(const Limits& own) const {
    Limits both = *this;
    for (const Row& row : rows) {
        if (own.*row.limit != 0) both.*row.limit = own.*row.limit;
    }
    return both;
}

std::vector<std::string> Limits::words() const {
    std::vector<std::string> words;
    for (const Row& row : rows) {
        const std::uint64_t limit = this->*row.limit;
        if (limit == 0) continue;
        words.emplace_back(row.name);
        words.push_back(row.bytes ? bytesWord(limit) : std::to_string(limit));
    }
    return words;
}

bool isPeerLimit(std::string_view name) {
    const Row* const row = find(name);
    return row != nullptr && row->ofPeer;
}

std::string takeLimit(Limits& limits, std::string_view name, std::string_view value) {
    const Row* const row = find(name);
    if (row == nullptr) return "'" + std::string(name) + "' is no limit";
    std::uint64_t& limit = limits.*row->limit;
    const bool plain = value.find_first_not_of("0123456789") == std::string_view::npos;
    const bool read = (row->bytes || plain) && parseBytes(value, limit);
    if (read && limit > 0 && (row->bytes || limit <= kMostCount)) return "";
    return std::string(name) +
           (row->bytes ? " is a number of bytes, such as 500M or 4G" : " is a number from 1 on");
}

}  // namespace services
