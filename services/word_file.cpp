#include "services/word_file.h"

#include <algorithm>
#include <fstream>

#include "services/paths.h"

namespace services {

namespace {

constexpr std::size_t kMostOfWords = 16 << 20;  // bytes of a file

// False: a quote is not closed.
bool split(std::string_view line, std::vector<std::string>& words) {
    for (std::size_t at = 0;;) {
        at = line.find_first_not_of(" \t\r", at);
        if (at == std::string_view::npos || line[at] == '#') return true;
        const bool quoted = line[at] == '"';
        if (quoted) ++at;
        const std::size_t end = line.find_first_of(quoted ? "\"" : " \t\r", at);
        if (quoted && end == std::string_view::npos) return false;
        words.emplace_back(line.substr(at, end - at));
        if (end == std::string_view::npos) return true;
        at = end + (quoted ? 1 : 0);
    }
}

}  // namespace

bool readText(const std::string& file, std::string& text, std::string& fault) {
    std::ifstream in(pathOf(file), std::ios::binary);
    std::vector<char> piece(64 * 1024);
    text.clear();
    while (in.good() && text.size() <= kMostOfWords) {
        in.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        text.append(piece.data(), static_cast<std::size_t>(in.gcount()));
    }
    if (in.eof() && !in.bad()) return true;
    fault = file + (in.good() ? ": it is too large" : ": cannot be read");
    return false;
}

std::string_view takeUntil(std::string_view& text, char end) {
    const std::string_view front = text.substr(0, text.find(end));
    text.remove_prefix(std::min(front.size() + 1, text.size()));
    return front;
}

bool eachLine(std::string_view text, const std::string& name, const TakeLine& take, std::string& fault) {
    for (int number = 1; !text.empty(); ++number) {
        std::vector<std::string> words;
        std::string wrong = split(takeUntil(text, '\n'), words) ? "" : "a quote is not closed";
        if (wrong.empty() && !words.empty()) wrong = take(words);
        if (wrong.empty()) continue;
        fault = name + ":" + std::to_string(number) + ": " + wrong;
        return false;
    }
    return true;
}

std::string wordText(const std::string& word) {
    const bool plain = !word.empty() && word.front() != '#' && word.find_first_of(" \t") == std::string::npos;
    return plain ? word : "\"" + word + "\"";
}

}  // namespace services
