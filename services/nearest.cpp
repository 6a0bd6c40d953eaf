#include "services/nearest.h"

#include <algorithm>
#include <cctype>

namespace services {
namespace {

bool same(char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

// Three rows of the table: only neighbouring letters are swapped.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before(b.size() + 1);
    std::vector<std::size_t> above(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) above[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = above[j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, changed});
            const bool swapped = i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1]);
            if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
        }
        std::swap(before, above);
        std::swap(above, row);
    }
    return above[b.size()];
}

}  // namespace

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
    std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
    std::string found;
    for (const std::string& candidate : candidates) {
        const std::size_t far =
            std::max(word.size(), candidate.size()) - std::min(word.size(), candidate.size());
        if (far >= least) continue;
        const std::size_t d = distance(word, candidate);
        if (d >= least || d >= candidate.size()) continue;
        least = d;
        found = candidate;
    }
    return found;
}

std::string didYouMean(const std::string& candidate) {
    return candidate.empty() ? std::string() : "; did you mean " + candidate + "?";
}

}  // namespace services
