// Files of settings that people write: lines of words with blanks between. Quotes hold blanks together, and
// '#' where a word could begin begins a comment.
#ifndef ORVKIT_SERVICES_WORD_FILE_H
#define ORVKIT_SERVICES_WORD_FILE_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace services {

// What is wrong with the words of a line, or "". There is at least one.
using TakeLine = std::function<std::string(const std::vector<std::string>& words)>;

// The whole of a file, of 16 MiB at most. False: `fault` tells why it cannot be read.
[[nodiscard]] bool readText(const std::string& file, std::string& text, std::string& fault);
// False when a line is wrong: `fault` is then "NAME:LINE: reason".
[[nodiscard]] bool eachLine(std::string_view text, const std::string& name, const TakeLine& take,
                            std::string& fault);
// As the file would have it: in quotes where it needs them.
std::string wordText(const std::string& word);

// The front of a text up to a character, which goes with it.
std::string_view takeUntil(std::string_view& text, char end);

}  // namespace services

#endif
