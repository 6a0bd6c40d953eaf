#include "services/terminal_picture.h"

#include <algorithm>
#include <array>
#include <vector>

#include "platform/terminal.h"

namespace services {
namespace {

using Colour = std::array<unsigned char, 3>;

// White below the picture's last row has no place: it is as black as the rest.
Colour colourAt(const DcPicture& picture, unsigned int x, unsigned int y) {
    if (y >= picture.height()) return {};
    const unsigned char* const pixel = picture.row(y) + std::size_t{x} * picture.samples();
    return picture.samples() == 1 ? Colour{pixel[0], pixel[0], pixel[0]}
                                  : Colour{pixel[0], pixel[1], pixel[2]};
}

void putColour(std::string& text, const char* front, const Colour& colour) {
    text += front;
    text +=
        std::to_string(colour[0]) + ';' + std::to_string(colour[1]) + ';' + std::to_string(colour[2]) + 'm';
}

constexpr unsigned int kGreys = 64;
constexpr unsigned int kSteps = 6;  // of each of three colours

// The colour of a pixel by its number among those of the sixels.
unsigned int numberAt(const DcPicture& picture, unsigned int x, unsigned int y) {
    const Colour c = colourAt(picture, x, y);
    if (picture.samples() == 1) return c[0] / (256 / kGreys);
    const auto step = [](unsigned char level) { return (level * (kSteps - 1) + 127) / 255; };
    return (step(c[0]) * kSteps + step(c[1])) * kSteps + step(c[2]);
}

// The colours, in percent.
std::string sixelPalette(const DcPicture& picture) {
    std::string text;
    const bool isGrey = picture.samples() == 1;
    for (unsigned int i = 0; i < (isGrey ? kGreys : kSteps * kSteps * kSteps); ++i) {
        unsigned int parts[] = {i * 100 / (kGreys - 1), i * 100 / (kGreys - 1), i * 100 / (kGreys - 1)};
        for (unsigned int c = 0, rest = i; !isGrey && c < 3; ++c, rest /= kSteps)
            parts[2 - c] = rest % kSteps * 20;
        text += '#' + std::to_string(i) + ";2";
        for (const unsigned int part : parts) text += ';' + std::to_string(part);
    }
    return text;
}

void putRun(std::string& text, char c, unsigned int count) {
    if (count > 3) {
        text += '!' + std::to_string(count) + c;
    } else {
        text.append(count, c);
    }
}

// Six rows in one of the colours.
void putLine(std::string& text, const std::vector<unsigned int>& numbers, unsigned int width,
             unsigned int colour) {
    text += '#' + std::to_string(colour);
    char last = 0;
    unsigned int run = 0;
    for (unsigned int x = 0; x < width; ++x) {
        unsigned int bits = 0;
        for (unsigned int y = 0; y < numbers.size() / width; ++y)
            bits |= (numbers[y * width + x] == colour ? 1u : 0u) << y;
        const char c = static_cast<char>('?' + bits);
        if (c != last) {
            putRun(text, last, run);
            run = 0;
        }
        last = c;
        ++run;
    }
    if (last != '?') putRun(text, last, run);
    text += '$';
}

}  // namespace

std::string halfBlocks(const DcPicture& picture) {
    std::string text;
    for (unsigned int y = 0; y < picture.height(); y += 2) {
        Colour above{}, below{};
        for (unsigned int x = 0; x < picture.width(); ++x) {
            const Colour upper = colourAt(picture, x, y), lower = colourAt(picture, x, y + 1);
            if (x == 0 || upper != above) putColour(text, "\033[38;2;", upper);
            if (x == 0 || lower != below) putColour(text, "\033[48;2;", lower);
            text += "\u2580";
            above = upper;
            below = lower;
        }
        text += "\033[0m\n";
    }
    return text;
}

std::string sixels(const DcPicture& picture) {
    std::string text =
        "\033Pq\"1;1;" + std::to_string(picture.width()) + ';' + std::to_string(picture.height());
    text += sixelPalette(picture);
    const unsigned int width = picture.width();
    for (unsigned int top = 0; top < picture.height(); top += 6) {
        std::vector<unsigned int> numbers;
        for (unsigned int y = top; y < std::min(top + 6, picture.height()); ++y) {
            for (unsigned int x = 0; x < width; ++x) numbers.push_back(numberAt(picture, x, y));
        }
        std::vector<unsigned int> colours = numbers;
        std::sort(colours.begin(), colours.end());
        colours.erase(std::unique(colours.begin(), colours.end()), colours.end());
        for (const unsigned int colour : colours) putLine(text, numbers, width, colour);
        text += '-';
    }
    return text + "\033\\\n";
}

// The answer to Primary Device Attributes lists 4 for sixels.
bool terminalHasSixels() {
    const std::string answer = orvkit::platform::askTerminal("\033[c", 'c', 300);
    return answer.find(";4;") != std::string::npos || answer.find(";4c") != std::string::npos;
}

TerminalBox terminalBox(bool inSixels) {
    const orvkit::platform::TerminalSize size = orvkit::platform::outputSize();
    const unsigned int columns = size.columns != 0 ? size.columns : 80;
    const unsigned int rows = size.rows > 2 ? size.rows - 2 : 22;
    if (!inSixels) return {columns, 2 * rows};
    const unsigned int cellWidth =
        size.columns != 0 && size.width >= size.columns ? size.width / size.columns : 8;
    const unsigned int cellHeight = size.rows != 0 && size.height >= size.rows ? size.height / size.rows : 16;
    return {std::min(columns * cellWidth, 1600u), std::min(rows * cellHeight, 1200u)};
}

}  // namespace services
