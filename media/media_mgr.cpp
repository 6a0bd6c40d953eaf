// The media storage services.
#include "orvkit/mediamgr.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <string>

#include "foundation/fail.h"
#include "media/dir_rec.h"
#include "media/meta_info.h"
#include "platform/clock.h"
#include "platform/file.h"
#include "platform/volume.h"

using namespace orvkit;

namespace {

enum Service : unsigned char { mReadBit = 1, mWriteBit = 2, mDeleteBit = 4, mFileBit = 8, mFileSetBit = 16 };

// What each role may do, from 0 to 7; no other number may do anything.
constexpr unsigned char kEverything = mReadBit | mWriteBit | mDeleteBit | mFileBit | mFileSetBit;
constexpr unsigned char kPermissions[] = {
    0,
    mWriteBit | mFileSetBit,
    mReadBit | mFileBit,
    mReadBit | mWriteBit | mFileBit | mFileSetBit,
    kEverything,
    kEverything,
    kEverything,
    kEverything,
};

int checkPermission(MEDIA_ROLE role, Service service, const char* name, const char* reporter) {
    const auto number = static_cast<unsigned int>(role);
    if (number < std::size(kPermissions) && (kPermissions[number] & service) != 0) return RESULT_OK;
    return fail(MEDIA_PERMISSION, LOG_ERROR, reporter, "Media Manager does not have %s permission", name);
}

int failUnknown(const char* fileId, const char* reporter) {
    return fail(MEDIA_FILE_ID, LOG_ERROR, reporter, "File ID '%s' not found in DICOMDIR", fileId);
}

// The record that references a File ID. One that leads out of the root, as a DICOMDIR from elsewhere may
// hold, is none.
DcDirRec* findRecord(DcDirDicomDir& set, const char* fileId) {
    DcDirRec* record = nullptr;
    if (!staysBelowRoot(normalFileId(fileId))) return nullptr;
    return set.getRefFileObj(fileId, &record) == RESULT_OK ? record : nullptr;
}

std::string pathOf(const DcDirDicomDir& set, const char* fileId) {
    char root[DIR_ROOT_PATH_LIMIT + 1] = "";
    set.getRootPath(root);
    return pathBelow(root, normalFileId(fileId));
}

void setTime(std::time_t when, DcElemValueDT& value) {
    std::tm local;
    if (!platform::localTime(when, local)) return;
    value.year = local.tm_year + 1900;
    value.month = local.tm_mon + 1;
    value.day = local.tm_mday;
    value.hour = local.tm_hour;
    value.minute = local.tm_min;
    value.second = local.tm_sec;
}

}  // namespace

DcMediaMgr::~DcMediaMgr() = default;

int DcMediaMgr::mRead(const char* fileId, DcDirMetaInfo& meta, DcElemList& dataset) try {
    constexpr const char* reporter = "DcMediaMgr::mRead";
    if (fileId == nullptr) return failNull(MEDIA_NULL_ARGUMENT, reporter);
    if (const int result = checkPermission(role_, mReadBit, "M-READ", reporter); result != RESULT_OK)
        return result;
    if (findRecord(*this, fileId) == nullptr) return failUnknown(fileId, reporter);
    return dirReadFile(pathOf(*this, fileId).c_str(), meta, dataset);
} catch (const std::bad_alloc&) {
    return failMemory("DcMediaMgr::mRead");
}

int DcMediaMgr::mWrite(DcDirRec* record, const char* fileId, DcDirMetaInfo& meta, DcElemList& dataset) try {
    constexpr const char* reporter = "DcMediaMgr::mWrite";
    if (record == nullptr || fileId == nullptr) return failNull(MEDIA_NULL_ARGUMENT, reporter, LOG_NOTICE);
    int result = checkPermission(role_, mWriteBit, "M-WRITE", reporter);
    if (result != RESULT_OK) return result;
    // What setRefFile would refuse is not written in the first place: it could be anybody's file.
    if (result = checkFileId(fileId, reporter); result != RESULT_OK) return result;
    const DcDirRec* const owner = findRecord(*this, fileId);
    if (owner != nullptr && owner != record) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "File ID '%s' is already in use", fileId);
    }
    char root[DIR_ROOT_PATH_LIMIT + 1];
    if (result = record->getRootPath(root); result != RESULT_OK) return result;
    result = writeWholeFile(pathOf(*this, fileId).c_str(), meta, dataset);
    if (result == RESULT_OK) result = record->setRefFile(fileId);
    return result == RESULT_OK ? write(nullptr) : result;
} catch (const std::bad_alloc&) {
    return failMemory("DcMediaMgr::mWrite");
}

int DcMediaMgr::mDelete(const char* fileId) try {
    constexpr const char* reporter = "DcMediaMgr::mDelete";
    if (fileId == nullptr) return failNull(MEDIA_NULL_ARGUMENT, reporter);
    if (const int result = checkPermission(role_, mDeleteBit, "M-DELETE", reporter); result != RESULT_OK) {
        return result;
    }
    DcDirRec* const record = findRecord(*this, fileId);
    if (record == nullptr) return failUnknown(fileId, reporter);
    DIR_REC type = DIR_REC_UNKNOWN;
    DcDirRecInfo info;
    record->getType(type);
    record->getInfo(info);
    // Whatever its in-use flag says: other records would lose their file.
    if (type == DIR_REC_MRDR && info.numberOfReferences > 0) {
        return fail(MEDIA_IN_USE, LOG_ERROR, reporter, "File ID '%s' referred by in-use MRDR", fileId);
    }
    const std::string path = pathOf(*this, fileId);
    if (!platform::remove(path.c_str())) {
        return fail(MEDIA_REMOVE, LOG_ERROR, reporter, "Error in removing '%s'", path.c_str());
    }
    record->setRefFile("");
    return write(nullptr);
} catch (const std::bad_alloc&) {
    return failMemory("DcMediaMgr::mDelete");
}

int DcMediaMgr::mInquireFile(const char* fileId, DcElemValueDT& created, DcElemValueDT& modified) try {
    constexpr const char* reporter = "DcMediaMgr::mInquireFile";
    if (const int result = checkPermission(role_, mFileBit, "M-INQUIRE FILE", reporter);
        result != RESULT_OK) {
        return result;
    }
    created.reset();
    modified.reset();
    const std::string path = pathOf(*this, fileId);
    platform::FileInfo info;
    if (!staysBelowRoot(normalFileId(fileId)) || !platform::examine(path.c_str(), info)) {
        return fail(MEDIA_STAT, LOG_ERROR, reporter, "stat error file '%s'", path.c_str());
    }
    setTime(info.created, created);
    setTime(info.modified, modified);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcMediaMgr::mInquireFile");
}

int DcMediaMgr::mInquireFileSet(unsigned int& freeBytes) try {
    constexpr const char* reporter = "DcMediaMgr::mInquireFileSet";
    constexpr std::size_t mostOfReason = 121;
    if (const int result = checkPermission(role_, mFileSetBit, "M-INQUIRE FILE-SET", reporter);
        result != RESULT_OK) {
        return result;
    }
    freeBytes = 0;
    char root[DIR_ROOT_PATH_LIMIT + 1] = "";
    getRootPath(root);
    std::uint64_t bytes = 0;
    std::string reason;
    if (!platform::freeSpace(root, bytes, reason)) {
        reason.resize(std::min(reason.size(), mostOfReason));
        reason.resize(reason.find_last_not_of(" \r\n\t") + 1);
        return fail(MEDIA_FILE_ID, LOG_ERROR, reporter, "'%s', %s", root, reason.c_str());
    }
    freeBytes = static_cast<unsigned int>(bytes & 0xFFFFFFFF);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcMediaMgr::mInquireFileSet");
}
