// What directory records and file sets print.
#include <cstring>
#include <memory>
#include <new>

#include "foundation/fail.h"
#include "media/dir_rec.h"
#include "media/meta_info.h"
#include "platform/file.h"

using namespace orvkit;

namespace {

constexpr std::size_t kMostCells = 64;  // deeper levels print no more cells

std::string typeOf(const DcDirRec* r) {
    char text[32] = "";
    if (r != nullptr) r->getDesc(text);
    return text;
}

void printPointer(FILE* file, const char* format, const DcDirRec* r) {
    std::fprintf(file, format, static_cast<const void*>(r), typeOf(r).c_str(),
                 r != nullptr ? fileIdOf(*r).c_str() : "");
}

void printRecord(FILE* file, const DcDirRec& r) {
    DcDirRec* mrdr = nullptr;
    r.getMrdr(mrdr);
    printPointer(file, "%p parent %-12.12s %s\n", r.parent());
    printPointer(file, "%p prev   %-12.12s %s\n", r.previous());
    printPointer(file, "%p this   %-12.12s %s\n", &r);
    printPointer(file, "%p next   %-12.12s %s\n", r.next());
    printPointer(file, "%p child  %-12.12s %s\n", r.first());
    printPointer(file, "%p mrdr   %-12.12s %s\n", mrdr);
}

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

template <typename Print>
int printTo(const char* path, const char* mode, const char* reporter, Print print) {
    if (path == nullptr || mode == nullptr) return failNull(DIR_NULL_ARGUMENT, reporter);
    const File file(platform::openStream(path, mode), &std::fclose);
    if (file == nullptr) {
        return fail(DIR_OPEN, LOG_VALIDATION, reporter, "Error opening file %s in mode %s", path, mode);
    }
    return print(file.get());
}

}  // namespace

// ---- records ----------------------------------------------------------------------------------------------

int DcDirRec::printNodeList(FILE* file) const try {
    if (file == nullptr) return failNull(DIR_NULL_ARGUMENT, "DcDirRec::printNodeList");
    printRecord(file, *this);
    for (TreeWalk walk(*this); const DcDirRec* r = walk.next();) {
        std::fputc('\n', file);
        printRecord(file, *r);
    }
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcDirRec::printNodeList");
}

int DcDirRec::printNodeTree(FILE* file) const try {
    if (file == nullptr) return failNull(DIR_NULL_ARGUMENT, "DcDirRec::printNodeTree");
    std::fprintf(file, "%s   %s\n", "", typeOf(this).c_str());
    std::string prefix;
    for (TreeWalk walk(*this); const DcDirRec* r = walk.next();) {
        const auto path = walk.path();
        prefix.clear();
        for (std::size_t i = 0; i + 1 < path.size() && i < kMostCells; ++i) {
            prefix += path[i]->next() != nullptr ? "|  " : "   ";
        }
        prefix += r->next() != nullptr ? "|--" : "+--";
        std::fprintf(file, "%s   %s\n", prefix.c_str(), typeOf(r).c_str());
    }
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcDirRec::printNodeTree");
}

void DcDirRecInfo::reset() noexcept {
    inUseFlag = DIR_REC_NOT_IN_USE;
    std::memset(privateRecordUid, 0, sizeof privateRecordUid);
    std::memset(refFileId, 0, sizeof refFileId);
    refFileXferSyn = UID_NONE;
    refFileSopClass = UID_NONE;
    std::memset(refFileSopInstance, 0, sizeof refFileSopInstance);
    numberOfReferences = 0;
}

int DcDirRecInfo::printInfo(FILE* file) const {
    if (file == nullptr) return failNull(DIR_NULL_ARGUMENT, "DcDirRecInfo::printInfo");
    std::fprintf(file, "In Use Flag             - 0x%04x", static_cast<unsigned int>(inUseFlag));
    std::fprintf(file, "%s", inUseFlag != DIR_REC_NOT_IN_USE ? "(in use)\n" : "(not in use)\n");
    std::fprintf(file, "Private Record UID      - :%s:\n", privateRecordUid);
    std::fprintf(file, "Ref. File ID            - :%s:\n", refFileId);
    std::fprintf(file, "Ref. File Transfer Syn. - :%s: %s\n", uidText(refFileXferSyn),
                 uidName(refFileXferSyn));
    std::fprintf(file, "Ref. File SOP Class UID - :%s: %s\n", uidText(refFileSopClass),
                 uidName(refFileSopClass));
    std::fprintf(file, "Ref. File SOP Inst. UID - :%s:\n", refFileSopInstance);
    std::fprintf(file, "Number of References    -  %d\n", numberOfReferences);
    return RESULT_OK;
}

// ---- file sets --------------------------------------------------------------------------------------------

void DcDirDicomDirInfo::reset() noexcept {
    std::memset(filesetId, 0, sizeof filesetId);
    std::memset(descriptorFileId, 0, sizeof descriptorFileId);
    std::memset(charset, 0, sizeof charset);
    consistencyFlag = DIR_FILESET_IS_CONSISTENT;
}

int DcDirDicomDirInfo::printInfo(FILE* file) const {
    if (file == nullptr) return failNull(DIR_NULL_ARGUMENT, "DcDirDicomDirInfo::printInfo");
    std::fprintf(file, "Fileset ID       - :%s:\n", filesetId);
    std::fprintf(file, "Character Set    - :%s:\n", charset);
    std::fprintf(file, "Consistency Flag - 0x%04x", static_cast<unsigned int>(consistencyFlag));
    std::fprintf(file, "%s",
                 consistencyFlag == DIR_FILESET_IS_CONSISTENT ? "(consistent)\n" : "(inconsistent)\n");
    std::fprintf(file, "DescriptorFileID -");
    for (const auto& component : descriptorFileId) {
        if (component[0] != '\0') std::fprintf(file, ":%s:", component);
    }
    std::fprintf(file, "\n");
    return RESULT_OK;
}

int DcDirDicomDir::printNodeList(const char* path, const char* mode) const try {
    return printTo(path, mode, "DcDirDicomDir::printNodeList",
                   [this](FILE* file) { return DcDirRec::printNodeList(file); });
} catch (const std::bad_alloc&) {
    return failMemory("DcDirDicomDir::printNodeList");
}

int DcDirDicomDir::printNodeTree(const char* path, const char* mode) const try {
    return printTo(path, mode, "DcDirDicomDir::printNodeTree",
                   [this](FILE* file) { return DcDirRec::printNodeTree(file); });
} catch (const std::bad_alloc&) {
    return failMemory("DcDirDicomDir::printNodeTree");
}
