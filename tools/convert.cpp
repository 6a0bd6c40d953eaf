// orvkit convert: the same data set in another transfer syntax or character set.
#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "encoding/codec.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "services/conversion.h"
#include "services/report.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

struct ConvertOptions : ConversionRequest {
    std::string syntax;  // the name of the target; "": as it is
};

bool convert(ConvertOptions& options) {
    if (!options.syntax.empty()) options.target = xferSynFromName(options.syntax);
    Conversion conversion(options);
    muteLog();
    const bool ready = conversion.prepare();
    muteLog(false);
    for (const std::string& note : conversion.notes()) complain("%s: %s", options.in.c_str(), note.c_str());
    if (!ready)
        return complain("%s: %s; nothing was written", options.in.c_str(), conversion.fault().c_str());
    WholeFile file(options.out);
    if (!file.ok()) return false;
    const int result = conversion.write(file.temporaryPath());
    if (result != RESULT_OK)
        return complain("%s: %s; it was not written", options.out.c_str(), resultText(result).c_str());
    return file.commit();
}

std::vector<std::string> targets() {
    std::vector<std::string> names{"implicit", "explicit", "big", "lzw"};
    if (orvkit::codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT) != nullptr) names.emplace_back("deflated");
    return names;
}

}  // namespace

void addConvert(Command& program) {
    Command& command = program.command("convert", "Write a file in another transfer syntax or character set");
    auto options = std::make_shared<ConvertOptions>();
    command.text("IN", options->in, "The DICOM file to read").required();
    command.text("OUT", options->out, "The file to write; it appears whole or not at all, and may be IN")
        .required();
    command
        .text("--to", options->syntax,
              "implicit, explicit (both little endian), big (explicit big endian), deflated (explicit little "
              "endian, compressed as a whole), or lzw (the library's own lossless packing of pixel data)")
        .oneOf(targets());
    command.flag(
        "--force", options->force,
        "Also read what is no DICOM file by the letter: a data set without a header, or with one of odd "
        "form; how it was read is told");
    command.flag("--meta-from-dataset", options->metaFromDataset,
                 "Make the header from the data set alone; nothing of the old one stays");
    command.flag("--utf8", options->utf8,
                 "Bring all text to UTF-8 (Specific Character Set ISO_IR 192), exactly or not at all");
    command.run([options] {
        dirSetMaxFileSize(INT_MAX);
        if (options->syntax.empty() && !options->force && !options->metaFromDataset && !options->utf8) {
            return misused("--to is required, where nothing else is to be changed");
        }
        return int{convert(*options) ? EXIT_OK : EXIT_FAILED};
    });
}

}  // namespace tools
