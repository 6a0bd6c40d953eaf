// orvkit convert: the same data set in another transfer syntax or character set.
#include <climits>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/result.h"
#include "services/conversion.h"
#include "services/file_run.h"
#include "services/isolation.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

struct ConvertOptions : ConversionRequest {
    std::string out;     // a file, or a directory
    std::string syntax;  // the name of the target; "": as it is
    unsigned int ratio = 10;
    bool outIsFile = true;
    bool keepGoing = false;
    bool isolate = false;
};

// One file that was asked for, or one of a directory.
void convertFile(const ConvertOptions& options, FileRun& run, const PictureSource& source) {
    ConversionRequest request = options;
    request.in = source.path;
    if (run.count() != 1) request.frames.jobs = 1;  // it is files then that go side by side
    std::string target = options.out;
    // Of a directory, the folder that a file goes to is made when there is something for it.
    if (!options.outIsFile) target = nameOf(pathOf(options.out) / pathOf(source.name));
    request.beside = options.outIsFile ? target : nameOf(pathOf(options.out) / "file");
    Conversion conversion(request);
    const bool ready = conversion.prepare();
    if (!ready && conversion.isOther() && !source.wasNamed) return;
    for (const std::string& note : conversion.notes()) complain("%s: %s", request.in.c_str(), note.c_str());
    if (!ready) return run.fail(request.in + ": " + conversion.fault() + "; nothing was written");
    run.deliver(source, target, [&] {
        WholeFile file(target);
        if (!file.ok()) return false;
        const int result = conversion.write(file.temporaryPath());
        if (result == RESULT_OK) return file.commit();
        return complain("%s: %s; it was not written", target.c_str(), resultText(result).c_str());
    });
}

int convert(ConvertOptions& options) {
    if (!options.syntax.empty()) chooseTarget(options.syntax, options);
    options.outIsFile = !isFolder(options.in);
    if (!options.outIsFile && !isFolder(options.out) && std::filesystem::exists(pathOf(options.out)))
        return misused("%s is a directory, and %s is none", options.in.c_str(), options.out.c_str());
    FileRun run("Converting", {options.in}, options.out, options.outIsFile, options.keepGoing);
    muteLog();
    const auto work = [&](const PictureSource& source) { convertFile(options, run, source); };
    if (!run.run(options.outIsFile ? 1 : options.frames.jobs, work)) return EXIT_FAILED;
    return run.delivered() > 0 || complain("%s: no DICOM file was found", options.in.c_str()) ? EXIT_OK
                                                                                              : EXIT_FAILED;
}

}  // namespace

void addConvert(Command& program) {
    Command& command = program.command("convert", "Write a file in another transfer syntax or character set");
    auto options = std::make_shared<ConvertOptions>();
    command.text("IN", options->in, "The DICOM file to read, or a directory of them").required();
    command
        .text("OUT", options->out,
              "The file to write, which appears whole or not at all and may be IN; of a directory another "
              "one, with the same names in it")
        .required();
    command
        .text("--to", options->syntax,
              "implicit, explicit (both little endian), big (explicit big endian), deflated (explicit little "
              "endian, compressed as a whole), lzw (the library's own lossless packing of pixel data), or a "
              "way to pack frames one by one")
        .check(whyNoTarget)
        .oneOf(targetNames());
    DcImageOptions& packing = options->frames.options;
    command.number("--quality Q", packing.quality, "Of jpeg and jxl-lossy, in percent").range(1, 100);
    command.number("--ratio N", options->ratio, "Native bytes to one of j2k-lossy and htj2k-lossy")
        .range(2, 1000);
    command.number("--near N", packing.nearLossless, "The most that jpegls-near may change a value")
        .range(1, 255);
    command
        .number("--jobs N", options->frames.jobs, "Frames that are packed at a time; of a directory, files")
        .range(1, 256);
    command.flag("--force", options->force,
                 "Also read what is no DICOM file by the letter: a data set without a header, or with one of "
                 "odd form; how it was read is told");
    command.flag("--meta-from-dataset", options->metaFromDataset,
                 "Make the header from the data set alone; nothing of the old one stays");
    command.flag("--utf8", options->utf8,
                 "Bring all text to UTF-8 (Specific Character Set ISO_IR 192), exactly or not at all");
    command.flag("--keep-going", options->keepGoing,
                 "Go on with other files after one that cannot be converted");
    addIsolate(command, options->isolate);
    command.run([options]() -> int {
        dirSetMaxFileSize(INT_MAX);
        options->frames.options.ratio = options->ratio;
        if (options->syntax.empty() && !options->force && !options->metaFromDataset && !options->utf8) {
            return misused("--to is required, where nothing else is to be changed");
        }
        if (options->isolate && !isolateCodecs(options->frames.jobs)) return EXIT_FAILED;
        return convert(*options);
    });
}

}  // namespace tools
