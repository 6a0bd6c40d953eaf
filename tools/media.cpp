// orvkit media: the media storage services over a file set (PS3.10 8.1).
#include <cstdio>
#include <memory>
#include <string>

#include "orvkit/mediamgr.h"
#include "orvkit/result.h"
#include "services/file_set.h"
#include "services/folder.h"
#include "services/report.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

struct MediaOptions {
    std::string directory;
    std::string fileId;
    std::string file;  // to read from or to write to
    MEDIA_ROLE role = MEDIA_ROLE_UPDATER;
};

// The log of the library has told why.
int outcome(int result) {
    if (result != RESULT_OK && errorsLogged() == 0) complain("%s", resultText(result).c_str());
    return result == RESULT_OK ? EXIT_OK : EXIT_FAILED;
}

std::string timeText(DcElemValueDT& t) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.year, t.month, t.day, t.hour,
                  t.minute, static_cast<int>(t.second));
    return text;
}

bool open(DcMediaMgr& manager, const MediaOptions& options) {
    return readDicomdir(manager, options.directory, false);
}
bool openToWrite(DcMediaMgr& manager, const MediaOptions& options, orvkit::platform::FileHandle& lock) {
    return lockFileSet(options.directory, lock) && readDicomdir(manager, options.directory, true);
}

int mediaRead(const MediaOptions& options) {
    DcMediaMgr manager(options.role, nullptr);
    if (!open(manager, options)) return EXIT_FAILED;
    DcDirMetaInfo meta;
    DcElemList dataset;
    int result = manager.mRead(options.fileId.c_str(), meta, dataset);
    if (result != RESULT_OK) return outcome(result);
    WholeFile file(options.file);
    if (!file.ok()) return EXIT_FAILED;
    result = dirWriteFile(file.temporaryPath().c_str(), meta, dataset);
    if (result != RESULT_OK) return outcome(result);
    return file.commit() ? EXIT_OK : EXIT_FAILED;
}

int mediaWrite(const MediaOptions& options) {
    DcMediaMgr manager(options.role, nullptr);
    orvkit::platform::FileHandle lock;
    if (!openToWrite(manager, options, lock)) return EXIT_FAILED;
    SourceFile source;
    DcDirMetaInfo meta;
    DcElemList dataset;
    if (readSource(options.file, source) != SourceFile::Kind::dicom ||
        dirReadFile(options.file.c_str(), meta, dataset) != RESULT_OK) {
        return failed("%s: %s", options.file.c_str(),
                      source.fault.empty() ? "not a DICOM Part 10 file" : source.fault.c_str());
    }
    FileSet set(manager);
    FileSet::Faults faults;
    const FileSet::Placed placed = set.place(source, faults);
    for (const std::string& fault : faults) complain("%s: %s", options.file.c_str(), fault.c_str());
    if (placed.leaf == nullptr) return EXIT_FAILED;
    const int status = outcome(manager.mWrite(placed.leaf, options.fileId.c_str(), meta, dataset));
    return status == EXIT_OK && !faults.empty() ? EXIT_FAILED : status;
}

int mediaDelete(const MediaOptions& options) {
    DcMediaMgr manager(options.role, nullptr);
    orvkit::platform::FileHandle lock;
    if (!openToWrite(manager, options, lock)) return EXIT_FAILED;
    return outcome(manager.mDelete(options.fileId.c_str()));
}

int mediaInquireFile(const MediaOptions& options) {
    DcMediaMgr manager(options.role, nullptr);
    if (!open(manager, options)) return EXIT_FAILED;
    DcElemValueDT created;
    DcElemValueDT modified;
    const int result = manager.mInquireFile(options.fileId.c_str(), created, modified);
    if (result == RESULT_OK) {
        std::printf("created   %s\nmodified  %s\n", timeText(created).c_str(), timeText(modified).c_str());
    }
    return outcome(result);
}

int mediaInquireFileSet(const MediaOptions& options) {
    DcMediaMgr manager(options.role, nullptr);
    if (!open(manager, options)) return EXIT_FAILED;
    unsigned int free = 0;
    const int result = manager.mInquireFileSet(free);
    if (result == RESULT_OK) std::printf("free  %u bytes (the low 32 bits of the number)\n", free);
    return outcome(result);
}

}  // namespace

void addMedia(Command& program) {
    Command& command = program.command("media", "The media storage services on a file set");
    auto options = std::make_shared<MediaOptions>();
    command.named("--role", options->role,
                  {{"none", MEDIA_ROLE_NONE},
                   {"creator", MEDIA_ROLE_CREATOR},
                   {"reader", MEDIA_ROLE_READER},
                   {"creator-reader", MEDIA_ROLE_CREATOR_READER},
                   {"updater", MEDIA_ROLE_UPDATER}},
                  "What the service is asked as; an updater may do everything");
    const auto add = [&](const char* name, const char* what, int (*run)(const MediaOptions&)) -> Command& {
        Command& sub = command.command(name, what);
        sub.text("DIR", options->directory, "The folder of the file set").required().existingFolder();
        sub.run([options, run] { return run(*options); });
        return sub;
    };
    const auto addFileId = [&](Command& sub) -> Command& {
        sub.text("FILEID", options->fileId, "File ID, with slashes or backslashes").required();
        return sub;
    };
    addFileId(add("read", "M-READ: copy a file of the set to OUT", mediaRead))
        .text("OUT", options->file, "The file to write")
        .required();
    addFileId(add("write", "M-WRITE: put the file IN into the set", mediaWrite))
        .text("IN", options->file, "A DICOM Part 10 file")
        .required()
        .existingFile();
    addFileId(add("delete", "M-DELETE: delete a file; its record stays, without a file", mediaDelete));
    addFileId(add("inquire-file", "M-INQUIRE FILE: when a file was created and changed", mediaInquireFile));
    add("inquire-set", "M-INQUIRE FILE-SET: the free space for the set", mediaInquireFileSet);
}

}  // namespace tools
