// orvkit extract: documents, videos and codestreams out of the objects that carry them.
#include <climits>
#include <memory>

#include "orvkit/file.h"
#include "services/extract.h"
#include "services/paths.h"
#include "tools/commands.h"

namespace tools {
void addExtract(Command& program) {
    Command& command = program.command("extract", "Write the documents, videos and codestreams in objects");
    auto request = std::make_shared<ExtractRequest>();
    command
        .texts("FILE", request->paths,
               "DICOM files, and directories, which are searched through with everything below them")
        .required();
    command
        .text("-o,--output OUT", request->out,
              "The file, where there is one thing to write, or a directory for files that are named after "
              "their objects: pdf, xml, stl, mpg, mp4, and jpg, jls, j2k, j2c, jxl, rle or raw with the "
              "number of the frame")
        .required();
    command.number("--frame N", request->frame, "This frame alone, from 1").range(1, INT_MAX).hideDefault();
    command.flag("--keep-going", request->keepGoing, "Go on with other files after one that cannot be read");
    command.footer(
        "Nothing is unpacked or changed: see render and convert for that. In directories, files that carry\n"
        "nothing are passed over.");
    command.run([request] {
        muteLog();
        dirSetMaxFileSize(INT_MAX);
        request->outIsFile =
            request->paths.size() == 1 && !isFolder(request->paths.front()) && namesFile(request->out);
        return int{extractFiles(*request) ? EXIT_OK : EXIT_FAILED};
    });
}

}  // namespace tools
