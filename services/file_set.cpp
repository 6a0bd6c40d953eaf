#include "services/file_set.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

#include "orvkit/log.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "platform/new_file.h"
#include "services/file_id.h"
#include "services/folder.h"
#include "services/icon.h"
#include "services/paths.h"
#include "services/record_fill.h"
#include "services/record_types.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

constexpr std::size_t kLevels = 4;  // of records, from the patient down

constexpr unsigned int identityOf(DIR_REC type) {
    switch (type) {
        case DIR_REC_PATIENT:
            return T_0010_0020_patientId;
        case DIR_REC_STUDY:
            return T_0020_000d_studyInstanceUid;
        case DIR_REC_SERIES:
            return T_0020_000e_seriesInstanceUid;
        default:
            return 0;
    }
}

const char* folderPrefix(DIR_REC type) {
    switch (type) {
        case DIR_REC_PATIENT:
            return "PT";
        case DIR_REC_STUDY:
            return "ST";
        case DIR_REC_SERIES:
            return "SE";
        default:
            return "IM";
    }
}

std::string placeKey(const DcDirRec* above, DIR_REC type, const std::string& identity) {
    return std::to_string(reinterpret_cast<std::uintptr_t>(above)) + ' ' + std::to_string(type) + ' ' +
           identity;
}

std::string fileIdOf(const DcDirRec& record) {
    return infoOf(record).refFileId;
}

}  // namespace

DcDirRec* nextRecord(const DcDirRec& top, DcDirRec* record, int& level) {
    if (DcDirRec* below = record->first()) {
        ++level;
        return below;
    }
    for (DcDirRec* at = record; at != nullptr && at != &top; at = at->parent(), --level) {
        if (DcDirRec* following = at->next()) return following;
    }
    return nullptr;
}

FileSet::FileSet(DcDirDicomDir& directory, bool icons) : directory_(directory), icons_(icons) {
    char root[DIR_ROOT_PATH_LIMIT + 1] = "";
    directory.getRootPath(root);
    root_ = root;
    int level = 0;
    for (DcDirRec* r = directory.first(); r != nullptr; r = nextRecord(directory, r, level)) note(*r);
}

// ---- what is in the set -----------------------------------------------------------------------------------

void FileSet::note(DcDirRec& record) {
    if (const unsigned int tag = identityOf(typeOf(record))) {
        std::string identity = textOf(record, tag);
        if (identity.empty()) identity = textOf(record, T_0004_1511_referencedFileInstanceUid);
        parents_.emplace(placeKey(record.parent(), typeOf(record), identity), &record);
    }
    const std::string fileId = fileIdOf(record);
    if (fileId.empty()) return;
    files_.insert(fileId);
    instances_.emplace(textOf(record, T_0004_1511_referencedFileInstanceUid), fileId);
}

void FileSet::forget(const DcDirRec& record) {
    if (const unsigned int tag = identityOf(typeOf(record))) {
        const auto known = parents_.find(placeKey(record.parent(), typeOf(record), textOf(record, tag)));
        if (known != parents_.end() && known->second == &record) parents_.erase(known);
    }
    files_.erase(fileIdOf(record));
    instances_.erase(textOf(record, T_0004_1511_referencedFileInstanceUid));
    numbers_.erase(&record);
}

bool FileSet::references(const std::string& fileId) const {
    return files_.contains(normalFileId(fileId));
}

std::string FileSet::fileOf(const std::string& instance) const {
    const auto known = instances_.find(instance);
    return known != instances_.end() ? known->second : std::string();
}

FileSet::Numbers& FileSet::numbersOf(const DcDirRec& record) {
    const auto [entry, fresh] = numbers_.try_emplace(&record);
    if (fresh) {
        for (const DcDirRec* r = record.first(); r != nullptr; r = r->next()) ++entry->second.children;
    }
    return entry->second;
}

// ---- records ----------------------------------------------------------------------------------------------

struct FileSet::Placing {
    SourceFile& source;
    Faults& faults;
    Lacks lacks;
    Placed placed;
};

// Null when the file cannot have it.
DcDirRec* FileSet::newRecord(DIR_REC type, DcDirRec& above, Placing& placing) {
    auto record = std::make_unique<DcDirRec>(type);
    Numbers& numbers = numbersOf(above);
    fillRecord(*record, placing.source, numbers.children + 1, placing.lacks);
    if (!placing.lacks.missing.empty()) return nullptr;
    DcDirRec* const added = above.add(record.release());
    if (added == nullptr) {
        placing.faults.push_back(MsgBuf);
        return nullptr;
    }
    ++numbers.children;
    placing.placed.fresh.push_back(added);
    note(*added);
    return added;
}

DcDirRec* FileSet::parentFor(DIR_REC type, DcDirRec& above, Placing& placing) {
    const std::string identity =
        type == DIR_REC_PATIENT ? patientIdOf(placing.source) : placing.source.text(identityOf(type));
    const auto known = parents_.find(placeKey(&above, type, identity));
    if (known == parents_.end()) return newRecord(type, above, placing);
    compareKeys(*known->second, placing.source, placing.faults);
    return known->second;
}

// The leaf, or null.
DcDirRec* FileSet::newPath(DIR_REC type, Placing& placing) {
    DcDirRec* above = &directory_;
    if (!standsAlone(type)) {
        for (const DIR_REC level : {DIR_REC_PATIENT, DIR_REC_STUDY, DIR_REC_SERIES}) {
            if (above != nullptr) above = parentFor(level, *above, placing);
        }
    }
    DcDirRec* const leaf = above != nullptr ? newRecord(type, *above, placing) : nullptr;
    if (leaf == nullptr) return nullptr;
    std::string made;
    for (const std::string& value : placing.lacks.made)
        made += (made.empty() ? "made up for it: " : ", ") + value;
    if (!made.empty()) placing.faults.push_back(made);
    if (icons_ && type == DIR_REC_IMAGE) {
        std::string why;
        if (DcElemSq* icon = makeIcon(placing.source, why)) leaf->add(icon);
        if (!why.empty()) placing.faults.push_back(why);
    }
    return leaf;
}

FileSet::Placed FileSet::place(SourceFile& source, Faults& faults) {
    const std::string sopClass = source.sopClass();
    const std::string instance = source.sopInstance();
    if (sopClass.empty() || instance.empty()) {
        faults.push_back("it names no SOP class or no SOP instance");
        return {};
    }
    if (instances_.contains(instance)) {
        faults.push_back("SOP instance " + instance + " is in the file set already");
        return {};
    }
    Placing placing{source, faults, {}, {}};
    Placed& placed = placing.placed;
    placed.fresh.reserve(kLevels);
    const bool hasRows = source.hasPixels || !source.text(T_0028_0010_rows).empty();
    try {
        placed.leaf = newPath(recordTypeOf(sopClass, hasRows), placing);
    } catch (const std::bad_alloc&) {
        undo(placed);
        throw;
    }
    if (placed.leaf == nullptr) {
        undo(placed);
        placed.fresh.clear();
        for (const std::string& key : placing.lacks.missing) {
            faults.push_back("there is no " + key + ", without which it has no place in a file set");
        }
    }
    return placed;
}

void FileSet::keep(const Placed& placed) {
    note(*placed.leaf);
    changed_ = true;
}

void FileSet::undo(const Placed& placed) {
    for (auto record = placed.fresh.rbegin(); record != placed.fresh.rend(); ++record) drop(*record);
}

// The record and what is below it.
void FileSet::drop(DcDirRec* record) {
    int level = 0;
    for (DcDirRec* r = record->first(); r != nullptr && r != record; r = nextRecord(*record, r, level)) {
        forget(*r);
    }
    forget(*record);
    DcDirRec* const above = record->parent();
    if (above != nullptr) {
        const auto numbers = numbers_.find(above);
        if (numbers != numbers_.end()) --numbers->second.children;
        above->subtract(record);
    }
    delete record;
}

bool FileSet::remove(const std::string& fileId) {
    DcDirRec* found = nullptr;
    if (directory_.getRefFileObj(fileId.c_str(), &found) != RESULT_OK) return false;
    std::vector<DcDirRec*> doomed{found};
    if (typeOf(*found) == DIR_REC_MRDR) {
        int level = 0;
        for (DcDirRec* r = directory_.first(); r != nullptr; r = nextRecord(directory_, r, level)) {
            if (mrdrOf(*r) == found) doomed.push_back(r);
        }
    }
    for (DcDirRec* record : doomed) {
        // A record with others below it stays for their sake.
        while (record != &directory_ && record->first() == nullptr) {
            DcDirRec* const above = record->parent();
            drop(record);
            record = above;
            if (!fileIdOf(*record).empty()) break;
        }
        if (record != &directory_ && fileIdOf(*record) == normalFileId(fileId)) {
            forget(*record);
            record->setRefFile("");
            note(*record);
        }
    }
    changed_ = true;
    return true;
}

// ---- files ------------------------------------------------------------------------------------------------

FileSet::Added FileSet::settle(const Placed& placed, SourceFile& source, const std::string& fileId,
                               Faults& faults) {
    if (placed.leaf->setRefFile(fileId.c_str()) != RESULT_OK) {
        faults.push_back(MsgBuf);
        undo(placed);
        return Added::leftOut;
    }
    try {
        keep(placed);
        // The record has what the meta information says.
        const std::string instance = source.sopInstance();
        if (instances_.emplace(instance, fileId).second) {
            faults.push_back("the data set is of SOP instance " + instance + ", the meta information says " +
                             textOf(*placed.leaf, T_0004_1511_referencedFileInstanceUid));
        }
    } catch (const std::bad_alloc&) {
        undo(placed);
        throw;
    }
    return faults.empty() ? Added::whole : Added::told;
}

FileSet::Added FileSet::add(const std::string& fileId, Faults& faults) {
    SourceFile source;
    const SourceFile::Kind kind = readSource(pathOfFileId(root_, fileId), source);
    if (kind == SourceFile::Kind::notDicom || source.meta.sopClassUid == UID_MEDIA_STORAGE_DIR_STORAGE) {
        return Added::notDicom;
    }
    if (!source.fault.empty()) faults.push_back(source.fault);
    if (kind == SourceFile::Kind::damaged) return Added::leftOut;
    if (const std::string fault = fileIdFault(fileId); !fault.empty()) {
        faults.push_back(fault);
        return Added::leftOut;
    }
    const Placed placed = place(source, faults);
    return placed.leaf != nullptr ? settle(placed, source, fileId, faults) : Added::leftOut;
}

// The next free name in a folder of the set.
std::string FileSet::freeName(const DcDirRec& above, const std::string& folder, const char* prefix) {
    constexpr unsigned int most = 999999;
    Numbers& numbers = numbersOf(above);
    while (numbers.lastName < most) {
        char name[16];
        std::snprintf(name, sizeof name, "%s%06u", prefix, ++numbers.lastName);
        std::string fileId = folder.empty() ? name : folder + '\\' + name;
        std::error_code error;
        if (!fs::exists(fs::symlink_status(pathOf(pathOfFileId(root_, fileId)), error)) &&
            !files_.contains(fileId)) {
            return fileId;
        }
    }
    return {};
}

const std::string& FileSet::folderOf(DcDirRec& record) {
    Numbers& numbers = numbersOf(record);
    if (&record != &directory_ && numbers.folder.empty()) {
        DcDirRec& above = *record.parent();
        const std::string outer = folderOf(above);
        numbersOf(record).folder = freeName(above, outer, folderPrefix(typeOf(record)));
    }
    return numbersOf(record).folder;
}

std::string FileSet::newFileId(DcDirRec& leaf) {
    DcDirRec& above = *leaf.parent();
    const std::string folder = folderOf(above);
    return folder.empty() && &above != &directory_ ? std::string() : freeName(above, folder, "IM");
}

namespace {

// The file gets its name when all of it is there.
bool copyWhole(const std::string& from, const std::string& to, std::error_code& error) {
    const platform::FileHandle source = platform::openRead(from.c_str());
    platform::FileInfo info;
    platform::NewFile file;
    errno = 0;
    if (source && platform::examine(source.get(), info) && file.beginBeside(to) &&
        platform::copyRange(source.get(), 0, file.handle(), info.size) == info.size &&
        file.commit(to, false)) {
        return true;
    }
    error.assign(errno != 0 ? errno : EIO, std::generic_category());
    return false;
}

}  // namespace

std::string FileSet::freeFileId(const Placed& placed, Faults& faults) {
    std::string fileId = newFileId(*placed.leaf);
    if (fileId.empty()) faults.push_back("there is no free File ID left for it");
    return fileId;
}

bool FileSet::copyTo(const std::string& from, const std::string& fileId, Faults& faults) {
    std::error_code error;
    const std::string name = pathOfFileId(root_, fileId);
    const fs::path to = pathOf(name);
    fs::create_directories(to.parent_path(), error);
    if (!error && copyWhole(from, name, error)) return true;
    faults.push_back("it cannot be copied to " + name + ": " + error.message());
    removeEmptyFolders(root_, fileId);
    return false;
}

FileSet::Added FileSet::adopt(const std::string& path, Faults& faults) {
    SourceFile source;
    const SourceFile::Kind kind = readSource(path, source);
    if (kind == SourceFile::Kind::notDicom || source.meta.sopClassUid == UID_MEDIA_STORAGE_DIR_STORAGE) {
        return Added::notDicom;
    }
    if (!source.fault.empty()) faults.push_back(source.fault);
    if (kind == SourceFile::Kind::damaged) return Added::leftOut;
    const Placed placed = place(source, faults);
    if (placed.leaf == nullptr) return Added::leftOut;
    const std::string id = freeFileId(placed, faults);
    if (id.empty() || !copyTo(path, id, faults)) {
        undo(placed);
        return Added::leftOut;
    }
    adopted_ = true;
    const auto takeBack = [&] {
        (void)orvkit::platform::remove(pathOfFileId(root_, id).c_str());
        removeEmptyFolders(root_, id);
    };
    try {
        const Added added = settle(placed, source, id, faults);
        if (added == Added::leftOut) takeBack();
        return added;
    } catch (const std::bad_alloc&) {
        takeBack();
        throw;
    }
}

int FileSet::write() {
    if (adopted_) platform::syncAll();
    adopted_ = false;
    const int result = directory_.write();
    if (result == RESULT_OK) changed_ = false;
    return result;
}

}  // namespace services
