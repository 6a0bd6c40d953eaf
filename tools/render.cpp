// orvkit render: images as pictures.
#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/render.h"
#include "services/contact_sheet.h"
#include "services/isolation.h"
#include "services/paths.h"
#include "services/picture_file.h"
#include "services/render_run.h"
#include "services/render_terminal.h"
#include "tools/commands.h"

namespace tools {
namespace {

struct RenderOptions {
    std::vector<std::string> paths;
    std::string out;
    std::string format;
    std::string window;
    std::string size;
    unsigned int bits = 8;
    unsigned int frame = 0;
    unsigned int tile = 192;
    unsigned int jobs = 0;  // 0: as many as there are processors
    int quality = 90;
    bool all = false;
    bool overlay = false;
    bool invert = false;
    bool stored = false;
    bool sheet = false;
    bool terminal = false;
    bool sixel = false;
    bool keepGoing = false;
    bool isolate = false;
};

// Two numbers with one character between them.
template <typename Number>
bool parsePair(const std::string& text, char between, Number& first, Number& second) {
    const char* const end = text.data() + text.size();
    const auto one = std::from_chars(text.data(), end, first);
    if (one.ec != std::errc() || one.ptr == end || *one.ptr != between) return false;
    const auto two = std::from_chars(one.ptr + 1, end, second);
    return two.ec == std::errc() && two.ptr == end;
}
bool parseNumber(const std::string& text, unsigned int& number) {
    const auto one = std::from_chars(text.data(), text.data() + text.size(), number);
    return one.ec == std::errc() && one.ptr == text.data() + text.size();
}

bool parseWindow(const std::string& text, DcRenderOptions& options) {
    static constexpr std::pair<const char*, RENDER_VOI> words[] = {
        {"", RENDER_VOI_IMAGE},    {"auto", RENDER_VOI_PERCENTILE}, {"full", RENDER_VOI_RANGE},
        {"bits", RENDER_VOI_BITS}, {"lut", RENDER_VOI_LUT},
    };
    for (const auto& [word, voi] : words) {
        if (text != word) continue;
        options.voi = voi;
        return true;
    }
    options.voi = RENDER_VOI_GIVEN;
    if (parsePair(text, ',', options.center, options.width)) return options.width > 0;
    options.voi = RENDER_VOI_WINDOW;
    return parseNumber(text, options.index) && options.index > 0;
}

bool parseSize(const std::string& text, DcRenderOptions& options) {
    constexpr unsigned int most = 65535;
    if (text.empty()) return true;
    if (parseNumber(text, options.boxWidth)) {
        options.boxHeight = options.boxWidth;
    } else if (!parsePair(text, 'x', options.boxWidth, options.boxHeight)) {
        return false;
    }
    return options.boxWidth > 0 && options.boxHeight > 0 &&
           std::max(options.boxWidth, options.boxHeight) <= most;
}

// A check of what an option was given, by what reads it.
template <typename Parse>
Option::Check checkOf(Parse parse, const char* wanted) {
    return [=](const std::string& text) {
        DcRenderOptions options;
        return parse(text, options) ? std::string() : "not " + std::string(wanted) + ": " + text;
    };
}

const DcPictureFormat* formatNamed(const std::string& name) {
    return pictureFormatOf(("." + name).c_str());
}

// Where the pictures go, and as what; EXIT_OK or EXIT_USAGE.
int findTarget(const RenderOptions& options, RenderRequest& request) {
    request.out = options.out;
    const DcPictureFormat* format = isFolder(options.out) ? nullptr : pictureFormatOf(options.out.c_str());
    request.outIsFile = format != nullptr;
    if (!options.format.empty()) format = formatNamed(options.format);
    if (format == nullptr) format = formatNamed("png");
    if (!format->isThere)
        return misused("%s was left out of this build: it needs %s", format->name, format->library);
    if (options.bits > format->mostBits)
        return misused("%s holds %u bits, and no %u", format->name, format->mostBits, options.bits);
    const std::string extensions = format->extensions;
    request.format = format->format;
    request.extension = extensions.substr(0, extensions.find(' '));
    const bool isOne = options.paths.size() == 1 && !isFolder(options.paths.front());
    if (request.outIsFile && !isOne && !options.sheet)
        return misused("several pictures need a directory: %s", options.out.c_str());
    if (!request.outIsFile && options.sheet)
        return misused("a sheet needs a file for its picture: %s", options.out.c_str());
    return EXIT_OK;
}

int makeSheetFile(const RenderOptions& options, const RenderRequest& request) {
    SheetRequest wanted;
    wanted.paths = request.paths;
    wanted.options = request.options;
    wanted.tile = options.tile;
    wanted.keepGoing = request.keepGoing;
    wanted.jobs = request.jobs;
    DcPicture sheet;
    const bool isWhole = makeSheet(wanted, sheet);
    if (sheet.width() == 0) return EXIT_FAILED;
    return savePicture(request.out, sheet, request.format, request.quality) && isWhole ? EXIT_OK
                                                                                       : EXIT_FAILED;
}

int render(const RenderOptions& options) {
    RenderRequest request;
    request.paths = options.paths;
    request.frame = options.frame;
    request.allFrames = options.all;
    request.quality = options.quality;
    request.keepGoing = options.keepGoing;
    request.jobs = std::clamp(options.jobs > 0 ? options.jobs : std::thread::hardware_concurrency(), 1u, 64u);
    (void)parseWindow(options.window, request.options);
    (void)parseSize(options.size, request.options);
    request.options.bits = options.bits;
    request.options.overlays = options.overlay;
    request.options.invert = options.invert;
    request.options.squarePixels = !options.stored;
    if (options.terminal || options.sixel)
        return renderInTerminal(request, options.sixel) ? EXIT_OK : EXIT_FAILED;
    if (options.out.empty()) return misused("--output is missing: the picture's file, or a directory");
    if (const int status = findTarget(options, request); status != EXIT_OK) return status;
    if (options.sheet) return makeSheetFile(options, request);
    return renderFiles(request) ? EXIT_OK : EXIT_FAILED;
}

void describePicture(Command& command, RenderOptions& options) {
    command
        .text("--window C,W|N|WORD", options.window,
              "Which values become black and white: C,W a window of that center and width; N the image's "
              "window of that number; lut its VOI LUT; auto all but the outermost of its values; full all of "
              "its values; bits all that its bits can hold. Without the option, as the image asks")
        .check(checkOf(parseWindow, "a window"));
    command
        .text("--size N|WxH", options.size,
              "Fit the picture into N x N pixels, or W x H. Smaller ones grow, too")
        .check(checkOf(parseSize, "a size from 1 to 65535"));
    command.number("--bits", options.bits, "Bits of a sample: 8 or 16").check([](const std::string& text) {
        return text == "8" || text == "16" ? std::string() : "neither 8 nor 16: " + text;
    });
    command.number("--quality", options.quality, "Quality of JPEG").range(1, 100);
    command.flag("--overlay", options.overlay, "Burn the image's overlays in");
    command.flag("--invert", options.invert, "Turn black and white, or every colour");
    command.flag("--stored-pixels", options.stored, "Leave pixels that are not square as they are stored");
}

}  // namespace

void addRender(Command& program) {
    Command& command = program.command("render", "Show images as pictures");
    auto options = std::make_shared<RenderOptions>();
    command
        .texts("FILE", options->paths,
               "DICOM files, and directories, which are searched through with everything below them")
        .required();
    command.text("-o,--output OUT", options->out,
                 "The picture's file, its format by the extension (png, jpg, tif, pnm, pgm, ppm), or a "
                 "directory for pictures that are named after their files");
    command
        .text("--format", options->format,
              "The format of pictures in a directory, or in spite of the extension")
        .oneOf({"png", "jpeg", "tiff", "pnm"});
    command
        .number("--frame N", options->frame,
                "This frame, from 1; without it, the one that stands for the image")
        .range(1, INT_MAX)
        .hideDefault();
    command.flag("--all", options->all, "Every frame, with its number in the name").excludes("--frame");
    describePicture(command, *options);
    command.flag("--sheet", options->sheet, "One picture of all: a small one for each series, with its name");
    command.number("--tile N", options->tile, "Sides of the small pictures of a sheet").range(32, 1024);
    command.flag("--terminal", options->terminal, "Draw in the terminal, as sharply as it says it can");
    command.flag("--sixel", options->sixel, "Draw in the terminal by sixels, whatever it says");
    command.flag("--keep-going", options->keepGoing,
                 "Go on with other frames and files after one that cannot be shown");
    command.number("--jobs N", options->jobs, "Threads; as many as there are processors").range(1, 64);
    addIsolate(command, options->isolate);
    command.footer(
        "What cannot be shown is told on standard error with its file, its frame and its codec, and the "
        "exit\n"
        "status is then 1. In directories, files that are no images are passed over.");
    command.run([options]() -> int {
        muteLog();
        dirSetMaxFileSize(INT_MAX);
        (void)dirSetImplicitDirectory(1);
        if (options->isolate && !isolateCodecs(options->jobs)) return EXIT_FAILED;
        return render(*options);
    });
}

}  // namespace tools
