// orvkit import: objects made of pictures, documents and videos.
#include <memory>

#include "services/import_object.h"
#include "services/isolation.h"
#include "services/paths.h"
#include "tools/commands.h"

namespace tools {

void addImport(Command& program) {
    Command& command = program.command("import", "Make objects of pictures, documents and videos");
    auto request = std::make_shared<ImportRequest>();
    const auto isolate = std::make_shared<bool>(false);
    command
        .texts("FILE", request->files,
               "PNG, JPEG (its codestream is kept), TIFF, PNM, PDF, CDA, STL, MP4 and MPEG-2 files")
        .required();
    command
        .text("-o,--output OUT", request->out,
              "The object's file, or a directory for objects that are named after their files")
        .required();
    command.texts("-k,--key TAG=VALUE", request->keys,
                  "What the objects are to say: PatientName=Doe^Jane, 0008,1030=..., in UTF-8; backslashes "
                  "stand between several values");
    command
        .text("--like DICOM-FILE", request->like,
              "Take patient and study from this object; what --key says goes before")
        .existingFile();
    addIsolate(command, *isolate);
    command.footer(
        "What the standard asks for is made up where that can be: dates, UIDs, \"OT\" for the modality.\n"
        "What cannot be is asked for by its keyword. All objects of a run are one study.");
    command.run([request, isolate]() -> int {
        if (*isolate && !isolateCodecs()) return EXIT_FAILED;
        muteLog();
        request->outIsFile = request->files.size() == 1 && namesFile(request->out);
        return int{importFiles(*request) ? EXIT_OK : EXIT_FAILED};
    });
}

}  // namespace tools
