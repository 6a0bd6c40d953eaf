// The file that a directory record describes: File IDs (PS3.10 8.2), their index, and setRefFile.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "foundation/fail.h"
#include "foundation/text.h"
#include "media/dir_rec.h"
#include "media/meta_info.h"
#include "platform/file.h"

namespace orvkit {
namespace {

int acceptAll(void*, unsigned int, DICT_VR, char*, char**) {
    return 0;
}

bool isFileIdChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

// ---- elements ---------------------------------------------------------------------------------------------

AcceptAll::AcceptAll(DcElemList& list) : list_(list) {
    list.registerValueExceptionCB(nullptr, &acceptAll);
}

AcceptAll::~AcceptAll() {
    DcElemList usual;
    void* const context = ElemListAccess::exceptionContext(usual);
    const DcElemValueExceptionCB callback = ElemListAccess::exceptionCB(usual);
    list_.registerValueExceptionCB(context, callback);
    for (DcElem* e = list_.first(); e != nullptr; e = e->next()) {
        e->registerValueExceptionCB(context, callback);
    }
}

// By an empty list of exclusions: the tag FFFFFFFF, which excludes none, may be that of an element.
unsigned int sizeOf(const DcElemList& list) {
    unsigned int size = 0;
    list.getBufSize(size, static_cast<unsigned int*>(nullptr));
    return size;
}

std::string textOf(const DcElemList& list, unsigned int tag) {
    std::string text;
    const DcElem* const e = ElemListAccess::find(list, tag);
    if (e == nullptr || isRawVr(ElemAccess::vr(*e)) || ElemAccess::vrSize(*e) != VR_SIZE_CHAR) return text;
    const int count = e->getValueCount();
    for (int i = 0; i < count; ++i) {
        if (i != 0) text += '\\';
        text += trimmed(storeText(ElemAccess::store(*e), static_cast<unsigned int>(i)));
    }
    return text;
}

void destroyElem(DcElemList& list, unsigned int tag) {
    DcElem* const e = ElemListAccess::find(list, tag);
    if (e == nullptr) return;
    list.subtract(e);
    delete e;
}

void setText(DcElemList& list, unsigned int tag, const std::string& text) {
    std::unique_ptr<DcElem> e;
    if (!text.empty()) {
        e = std::make_unique<DcElem>(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0);
        e->registerValueExceptionCB(nullptr, &acceptAll);
        needMemory(e->addValue(text.c_str(), ELEM_INDEX_APPEND));
    }
    destroyElem(list, tag);
    list.add(e.release());
}

// ---- File IDs ---------------------------------------------------------------------------------------------

std::string fileIdOf(const DcDirRec& r) {
    return textOf(DirRecAccess::elems(r), kTagRefFileId);
}

std::string normalFileId(const char* fileId) {
    std::string id(fileId != nullptr ? trimmed(fileId) : std::string_view());
    std::replace(id.begin(), id.end(), '/', '\\');
    return id;
}

int checkFileId(const char* fileId, const char* reporter) {
    const std::string id = normalFileId(fileId);
    if (std::count(id.begin(), id.end(), '\\') >= DIR_FILE_ID_COMPONENTS) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "Number of Entities exceeds 8 in '%s'", fileId);
    }
    for (std::size_t at = 0; at <= id.size();) {
        const std::size_t end = std::min(id.find('\\', at), id.size());
        const std::string part = id.substr(at, end - at);
        if (part.size() > 8) {
            return fail(DIR_FILE_ID, LOG_ERROR, reporter, "Record ID string '%s' exceeds 8 char limit",
                        part.c_str());
        }
        const auto bad = std::find_if_not(part.begin(), part.end(), isFileIdChar);
        if (bad != part.end()) {
            return fail(DIR_FILE_ID, LOG_ERROR, reporter, "Invalid character - '%c' in string '%s'", *bad,
                        part.c_str());
        }
        // A separator where a component should begin: also of a path from the root of the file system.
        if (part.empty()) {
            return fail(DIR_FILE_ID, LOG_ERROR, reporter, "Invalid character - '%c' in string '%s'", '\\',
                        fileId);
        }
        at = end + 1;
    }
    if (id.size() > DIR_FILE_ID_LIMIT) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "File ID string exceeds %d char limit",
                    DIR_FILE_ID_LIMIT);
    }
    return RESULT_OK;
}

bool staysBelowRoot(const std::string& id) {
    for (std::size_t at = 0; at <= id.size();) {
        const std::size_t end = std::min(id.find('\\', at), id.size());
        const std::string_view part(id.data() + at, end - at);
        if (part.empty() || part == "." || part == ".." ||
            part.find_first_of("/:") != std::string_view::npos) {
            return false;
        }
        at = end + 1;
    }
    return true;
}

// Slashes are understood on every platform.
std::string pathBelow(const char* root, const std::string& id) {
    std::string path(root);
    if (path.empty() || path.back() != '/') path += '/';
    path += id;
    std::replace(path.end() - static_cast<std::ptrdiff_t>(id.size()), path.end(), '\\', '/');
    return path;
}

// ---- the index --------------------------------------------------------------------------------------------

namespace {
unsigned int keyOf(const std::string& id) {
    return static_cast<unsigned int>(std::hash<std::string>()(id)) | 1u;
}
}  // namespace

void FileIdIndex::add(DcDirRec& r) {
    if (DirRecAccess::mrdr(r) != nullptr || DirRecAccess::indexKey(r) != 0) return;
    const std::string id = fileIdOf(r);
    if (id.empty()) return;
    DirRecAccess::indexKey(r) = keyOf(id);
    records_.emplace(keyOf(id), &r);
}

void FileIdIndex::remove(DcDirRec& r) {
    const unsigned int key = DirRecAccess::indexKey(r);
    if (key == 0) return;
    const auto [first, last] = records_.equal_range(key);
    const auto entry = std::find_if(first, last, [&r](const auto& each) { return each.second == &r; });
    if (entry != last) records_.erase(entry);
    DirRecAccess::indexKey(r) = 0;
}

void FileIdIndex::addTree(DcDirRec& top) {
    add(top);
    for (TreeWalk walk(top); DcDirRec* r = walk.next();) add(*r);
}

void FileIdIndex::removeTree(DcDirRec& top) {
    remove(top);
    for (TreeWalk walk(top); DcDirRec* r = walk.next();) remove(*r);
}

// A record's elements may have been changed behind the index.
DcDirRec* FileIdIndex::find(const std::string& id) const {
    DcDirRec* found = nullptr;
    const auto [first, last] = records_.equal_range(keyOf(id));
    for (auto each = first; each != last; ++each) {
        DcDirRec* const r = each->second;
        if (fileIdOf(*r) != id) continue;
        if (DirRecAccess::type(*r) == DIR_REC_MRDR) return r;
        if (found == nullptr) found = r;
    }
    return found;
}

// ---- a record's file --------------------------------------------------------------------------------------

void DirRecAccess::setRefFile(DcDirRec& r, const std::string& fileId, const std::string& sopClass,
                              const std::string& instance, const std::string& xferSyn) {
    DcDirDicomDir* const set = r.fileSet();
    FileIdIndex* const index = set != nullptr ? set->index_ : nullptr;
    if (index != nullptr) index->remove(r);
    setText(r.elems_, kTagRefFileId, fileId);
    setText(r.elems_, kTagRefSopClass, sopClass);
    setText(r.elems_, kTagRefSopInstance, instance);
    setText(r.elems_, kTagRefXferSyn, xferSyn);
    if (index != nullptr) index->add(r);
}

void DirRecAccess::clearRefFile(DcDirRec& r) {
    setRefFile(r, "", "", "", "");
}

namespace {

struct FileIdentity {
    std::string sopClass;
    std::string instance;
    std::string xferSyn;
};

// The meta information with UIDs as they stand in the file: those that are not registered are kept, too.
int readIdentity(const std::string& path, FileIdentity& identity) {
    DcDirMetaInfo meta;
    unsigned int end = 0;
    if (const int result = dirReadFileMetaInfo(path.c_str(), meta, end); result != RESULT_OK) return result;
    identity = {uidText(meta.sopClassUid), meta.sopInstanceUid, uidText(meta.transferSyntax)};
    if (!identity.sopClass.empty() && !identity.xferSyn.empty()) return RESULT_OK;
    const platform::FileHandle file = platform::openRead(path.c_str());
    std::vector<unsigned char> bytes(end - kMetaOffset);
    if (!file || platform::readAt(file.get(), bytes.data(), bytes.size(), kMetaOffset) < 0)
        return DIR_READ_WRITE;
    DcElemList group;
    const AcceptAll accept(group);
    auto length = static_cast<unsigned int>(bytes.size());
    needMemory(group.parse(bytes.data(), length, UID_LITTLE_ENDIAN_EXPLICIT));
    identity.sopClass = textOf(group, kTagMetaSopClass);
    identity.xferSyn = textOf(group, kTagMetaTransferSyntax);
    return RESULT_OK;
}

}  // namespace
}  // namespace orvkit

using namespace orvkit;

int DcDirRec::setRefFile(const char* fileId) try {
    constexpr const char* reporter = "DcDirRec::setRefFile";
    if (fileId == nullptr) return failNull(DIR_NULL_ARGUMENT, reporter);
    if (fileId[0] == '\0') {
        linkTo(nullptr);
        DirRecAccess::clearRefFile(*this);
        return RESULT_OK;
    }
    if (const int result = checkFileId(fileId, reporter); result != RESULT_OK) return result;
    char root[DIR_ROOT_PATH_LIMIT + 1];
    if (const int result = getRootPath(root); result != RESULT_OK) return result;
    const std::string id = normalFileId(fileId);
    const std::string path = pathBelow(root, id);
    platform::FileInfo info;
    if (!platform::examine(path.c_str(), info) || info.kind != platform::FileKind::regular) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "File '%s' not found", path.c_str());
    }
    const DcDirDicomDir* const set = fileSet();
    const DcDirRec* const other = set != nullptr ? set->index().find(id) : nullptr;
    if (other != nullptr && other != this) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "File ID '%s' is already in use", fileId);
    }
    FileIdentity identity;
    const int result = readIdentity(path, identity);
    needMemory(result);
    const bool unreadable = result == DIR_NOT_PART10 || result == DIR_READ_WRITE || result == DIR_META_INFO;
    if (result != RESULT_OK && !unreadable) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "File '%s', rc - 0x%04x", path.c_str(),
                    static_cast<unsigned int>(result));
    }
    if (unreadable || identity.sopClass.empty() || identity.instance.empty() || identity.xferSyn.empty()) {
        return fail(DIR_FILE_ID, LOG_ERROR, reporter, "File '%s', invalid Meta Info", path.c_str());
    }
    linkTo(nullptr);
    DirRecAccess::setRefFile(*this, id, identity.sopClass, identity.instance, identity.xferSyn);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcDirRec::setRefFile");
}
