// orvkit dump: what stands in DICOM files.
#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "orvkit/file.h"
#include "services/charset.h"
#include "services/dump_run.h"
#include "services/report.h"
#include "tools/commands.h"

namespace tools {
namespace {

struct DumpOptions {
    std::vector<std::string> paths;
    std::vector<std::string> tags;
    bool flat = false;
    bool json = false;
    bool full = false;
    bool keywords = false;
    std::string charset = "utf8";
    unsigned int jobs = 0;  // 0: as many as there are processors
};

std::string charsetFault(const std::string& text) {
    if (text == "utf8" || text == "raw") return {};
    if (!text.empty() && Charset(text).known()) return {};
    return "'" + text + "' is neither utf8 nor raw, nor a character set such as ISO_IR 100, GB18030 or " +
           "'ISO 2022 IR 6\\ISO 2022 IR 87'";
}

int dump(const DumpOptions& options) {
    if (options.json && options.charset == "raw")
        return misused("--json is UTF-8: it excludes --charset raw");
    DumpRequest request;
    for (const std::string& tags : options.tags) {
        const std::string unknown = request.pick.add(tags);
        if (unknown.empty()) continue;
        return misused("--tag %s: %s", unknown.c_str(), noTagText(unknown).c_str());
    }
    request.paths = options.paths;
    request.look = options.json ? DumpLook::json : options.flat ? DumpLook::flat : DumpLook::tree;
    if (options.charset == "raw") {
        request.charset = Charset::none();
    } else if (options.charset != "utf8") {
        request.charset = Charset(options.charset);
    }
    request.print = {.full = options.full, .keywords = options.keywords};
    const unsigned int jobs = options.jobs > 0 ? options.jobs : std::thread::hardware_concurrency();
    // The log of the library is that of all threads: where all of it is shown, it stays in order.
    request.jobs = logIsVerbose() ? 1 : std::clamp(jobs, 1u, 64u);
    return dumpFiles(request) ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

void addDump(Command& program) {
    Command& command = program.command("dump", "Show what stands in DICOM files");
    auto options = std::make_shared<DumpOptions>();
    command
        .texts("FILE", options->paths,
               "DICOM files, and directories, which are searched through with everything below them")
        .required();
    command.flag("--flat", options->flat, "One line for every value instead of a tree");
    command
        .flag("--json", options->json,
              "The DICOM JSON model (PS3.18 Annex F): an array with an object for each file, without the "
              "file meta information")
        .excludes("--flat");
    command.texts("--tag", options->tags,
                  "Show only this element, with its path, wherever it is nested: (gggg,eeee), ggggeeee or a "
                  "name (PatientName). Several with commas between, or the option again");
    command.flag("--keywords", options->keywords, "Name elements by tag and keyword: (0010,0010) PatientName")
        .excludes("--json");
    command
        .text("--charset utf8|raw|TERMS", options->charset,
              "How text is shown: utf8, brought to UTF-8 from the Specific Character Set that the file "
              "names; raw, the bytes as they are; or the character set to take it for, whatever the file "
              "names (ISO_IR 100)")
        .check(charsetFault);
    command.flag("--full", options->full, "Show long values and lists of values whole");
    command.number("--jobs N", options->jobs, "Files that are read at once; as many as there are processors")
        .range(1, 64);
    command.footer(
        "The value of Pixel Data is not read: its length and place in the file are shown. What is wrong with "
        "a\n"
        "file is told on standard error with the element's path and offset, and the exit status is then 1.");
    command.run([options] {
        muteLog();
        dirSetMaxFileSize(INT_MAX);
        (void)dirSetImplicitDirectory(1);
        return dump(*options);
    });
}

}  // namespace tools
