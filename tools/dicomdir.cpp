// orvkit dicomdir: file sets, that is folders of DICOM files with a directory of them (PS3.10 8, PS3.3 F).
#include "services/file_set_jobs.h"

#include <memory>

#include "tools/commands.h"

namespace tools {
void addDicomdir(Command& program) {
    Command& command = program.command("dicomdir", "Make, change, list and check file sets (DICOMDIR)");
    auto options = std::make_shared<DicomdirOptions>();
    using Work = int (*)(const DicomdirOptions&);
    const auto add = [&](const char* name, const char* what, Work work,
                         bool makesFolder = false) -> Command& {
        Command& sub = command.command(name, what);
        const char* const folder = "The folder of the file set";
        if (makesFolder) {
            sub.text("DIR", options->directory, std::string(folder) + "; made when it is missing").required();
        } else {
            sub.text("DIR", options->directory, folder).required().existingFolder();
        }
        sub.run([options, work] { return work(*options); });
        return sub;
    };
    const auto addBuilding = [&](Command& sub) {
        sub.text("--copy-from", options->copyFrom,
                 "Also copy the DICOM files below this folder into the set, under new names")
            .existingFolder();
        sub.flag("--icons", options->icons, "Icon images in the records of images with native pixel data");
        sub.text("--id", options->id, "File-set ID: at most 16 of A-Z, 0-9, blank and _");
    };
    addBuilding(add("make", "Make the DICOMDIR of a folder of DICOM files", makeDicomdir, true));
    Command& update = add("update", "Add files that the DICOMDIR does not have yet", updateDicomdir);
    addBuilding(update);
    update.flag("--prune", options->prune, "Drop the records of files that are gone");
    Command& remove = add("remove", "Drop files from the DICOMDIR", removeFromDicomdir);
    remove.texts("FILEID", options->fileIds, "File IDs, with slashes or backslashes").required();
    remove.flag("--delete", options->deleteFiles, "Delete the files, too");
    Command& list = add("list", "Show the records of a DICOMDIR", listDicomdir);
    list.flag("--json", options->json, "For programs");
    add("check", "Compare a DICOMDIR with its files; exit status 1 on any finding", checkDicomdir);
    command.footer("Help on one of them: orvkit dicomdir make --help");
}

}  // namespace tools
