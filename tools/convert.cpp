// orvkit convert: the same data set in another transfer syntax or character set.
#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "encoding/codec.h"
#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/image.h"
#include "orvkit/result.h"
#include "services/conversion.h"
#include "services/report.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

struct ConvertOptions : ConversionRequest {
    std::string syntax;  // the name of the target; "": as it is
    unsigned int ratio = 10;
};

void chooseTarget(ConvertOptions& options) {
    options.target = xferSynFromName(options.syntax);
    if (options.target != UID_NONE) return;
    options.frames.target = imageFindCodec(options.syntax.c_str());
    if (options.frames.target != nullptr) (void)Dict.getUidDef(options.frames.target->uid, options.target);
}

bool convert(ConvertOptions& options) {
    if (!options.syntax.empty()) chooseTarget(options);
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
    std::vector<std::string> names;
    for (const orvkit::SyntaxRow& row : orvkit::syntax_table::rows) {
        const bool plain = row.packing == orvkit::Packing::plain;
        if (*row.name != '\0' && (plain || orvkit::codecOf(row.syntax) != nullptr))
            names.emplace_back(row.name);
    }
    std::size_t count = 0;
    const DcImageCodec* codecs = imageCodecs(count);
    for (const DcImageCodec* codec = codecs; codec != codecs + count; ++codec) {
        const bool repacks = codec->decodes && std::string("jxl-jpeg") == codec->name;
        if (codec->encodes || repacks) names.emplace_back(codec->name);
    }
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
              "endian, compressed as a whole), lzw (the library's own lossless packing of pixel data), or a "
              "way to pack frames one by one")
        .oneOf(targets());
    DcImageOptions& packing = options->frames.options;
    command.number("--quality", packing.quality, "Of jpeg and jxl-lossy, in percent")
        .range(1, 100)
        .value("Q");
    command.number("--ratio", options->ratio, "Native bytes to one of j2k-lossy and htj2k-lossy")
        .range(2, 1000)
        .value("N");
    command.number("--near", packing.nearLossless, "The most that jpegls-near may change a value")
        .range(1, 255)
        .value("N");
    command.number("--jobs", options->frames.jobs, "Frames that are packed at a time")
        .range(1, 256)
        .value("N");
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
        options->frames.options.ratio = options->ratio;
        if (options->syntax.empty() && !options->force && !options->metaFromDataset && !options->utf8) {
            return misused("--to is required, where nothing else is to be changed");
        }
        return int{convert(*options) ? EXIT_OK : EXIT_FAILED};
    });
}

}  // namespace tools
