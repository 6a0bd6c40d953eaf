// orvkit dump: what stands in DICOM files.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "platform/new_file.h"
#include "platform/process.h"
#include "services/dump_file.h"
#include "services/output.h"
#include "services/paths.h"
#include "services/print_forms.h"
#include "services/report.h"
#include "services/tag_names.h"
#include "tools/commands.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

struct DumpOptions {
    std::vector<std::string> paths;
    std::vector<std::string> tags;
    bool flat = false;
    bool json = false;
    bool full = false;
};

class Dump {
  public:
    explicit Dump(const DumpOptions& options)
        : options_(options),
          form_(options.json   ? makeJsonForm(out_)
                : options.flat ? makeFlatForm(out_, options.full)
                               : makeTreeForm(out_, options.full)),
          titles_(options.paths.size() > 1) {}

    int run() {
        for (const std::string& tag : options_.tags) {
            if (pick_.add(tag)) continue;
            complain("--tag %s: %s", tag.c_str(), noTagText(tag).c_str());
            return EXIT_USAGE;
        }
        form_->begin();
        for (const std::string& path : options_.paths) show(path);
        form_->end();
        out_.flush();
        return ok_ ? EXIT_OK : EXIT_FAILED;
    }

  private:
    void show(const std::string& path) {
        if (out_.failed()) return;  // nobody reads on: the end of the program says so
        DumpedFile file;
        file.path = path;
        readForDump(file);
        if (file.kind == DumpedFile::Kind::directory) return walk(path);
        if (file.kind == DumpedFile::Kind::file) form_->file(file, pick_, titles_ ? path.c_str() : nullptr);
        if (file.faults.empty()) return;
        ok_ = false;
        (void)out_.deliver();  // so that both stand in order where they go to the same place
        for (const std::string& fault : file.faults) {
            complain("%s: %s", withEscapes(path).c_str(), withEscapes(fault).c_str());
        }
    }

    // Everything in a directory, sorted by name. Links to directories are not followed.
    void walk(const std::string& path) {
        titles_ = true;
        std::vector<std::string> names;
        std::error_code error;
        fs::directory_iterator at = openFolder(pathOf(path), error);
        for (; !error && at != fs::directory_iterator(); at.increment(error)) {
            if (isWanted(*at)) names.push_back(nameOf(at->path().filename()));
        }
        if (error) {
            ok_ = false;
            complain("%s: %s", withEscapes(path).c_str(), error.message().c_str());
        }
        std::sort(names.begin(), names.end());
        for (const std::string& name : names) show(path.back() == '/' ? path + name : path + '/' + name);
    }
    // Regular files, links to such, and directories.
    static bool isWanted(const fs::directory_entry& entry) {
        std::error_code error;
        if (orvkit::platform::isUnfinished(nameOf(entry.path().filename()))) return false;
        if (!entry.is_symlink(error)) {
            return error || entry.is_regular_file(error) || entry.is_directory(error);
        }
        return entry.is_regular_file(error);
    }

    const DumpOptions& options_;
    Output out_;
    Pick pick_;
    std::unique_ptr<DumpForm> form_;
    bool titles_;
    bool ok_ = true;
};

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
                  "name (PatientName). May be given several times");
    command.flag("--full", options->full, "Show long values and lists of values whole");
    command.footer(
        "The value of Pixel Data is not read: its length and place in the file are shown. What is wrong with "
        "a\n"
        "file is told on standard error with the element's path and offset, and the exit status is then 1.");
    command.run([options] {
        orvkit::platform::ignoreBrokenPipe();  // a closed pipe is an error of writing like others
        muteLog();
        return Dump(*options).run();
    });
}

}  // namespace tools
