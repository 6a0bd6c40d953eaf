// orvkit dicomdir: file sets, that is folders of DICOM files with a directory of them (PS3.10 8, PS3.3 F).
#include "services/file_set_jobs.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/commands.h"

namespace tools {
void addDicomdir(CLI::App& program, int& status) {
    CLI::App* command =
        program.add_subcommand("dicomdir", "Make, change, list and check file sets (DICOMDIR)");
    command->require_subcommand(1);
    auto options = std::make_shared<DicomdirOptions>();
    const auto add = [&](const char* name, const char* what, int (*run)(const DicomdirOptions&)) {
        CLI::App* sub = command->add_subcommand(name, what);
        sub->add_option("DIR", options->directory, "The folder of the file set")
            ->required()
            ->check(CLI::ExistingDirectory);
        sub->callback([options, run, &status] { status = run(*options); });
        return sub;
    };
    const auto addBuilding = [&](CLI::App* sub) {
        sub->add_option("--copy-from", options->copyFrom,
                        "Also copy the DICOM files below this folder into the set, under new names")
            ->check(CLI::ExistingDirectory);
        sub->add_flag("--icons", options->icons,
                      "Icon images in the records of images with native pixel data");
        sub->add_option("--id", options->id, "File-set ID: at most 16 of A-Z, 0-9, blank and _");
    };
    CLI::App* make = add("make", "Make the DICOMDIR of a folder of DICOM files", makeDicomdir);
    addBuilding(make);
    CLI::App* update = add("update", "Add files that the DICOMDIR does not have yet", updateDicomdir);
    addBuilding(update);
    update->add_flag("--prune", options->prune, "Drop the records of files that are gone");
    CLI::App* remove = add("remove", "Drop files from the DICOMDIR", removeFromDicomdir);
    remove->add_option("FILEID", options->fileIds, "File IDs, with slashes or backslashes")->required();
    remove->add_flag("--delete", options->deleteFiles, "Delete the files, too");
    CLI::App* list = add("list", "Show the records of a DICOMDIR", listDicomdir);
    list->add_flag("--json", options->json, "For programs");
    add("check", "Compare a DICOMDIR with its files; exit status 1 on any finding", checkDicomdir);
    command->footer("Help on one of them: orvkit dicomdir make --help");
}

}  // namespace tools
