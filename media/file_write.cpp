// Writing Part 10 files (PS3.10 7).
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "dataset/disk_elems.h"
#include "dataset/elem_access.h"
#include "dataset/elem_aside.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/fail.h"
#include "media/meta_info.h"
#include "media/pixel_copy.h"
#include "orvkit/edition.h"
#include "orvkit/keywords.h"
#include "platform/new_file.h"

using namespace orvkit;

namespace {

constexpr const char* kReporter = "dirWriteFile";
constexpr std::size_t kWriteChunk = 1048576;

// Takes the elements of groups 0000 and 0002 up to `lastGroup`.
void takeCommandAndMeta(Aside& aside, DcElemList& dataset, unsigned int lastGroup) {
    for (DcElem* e = dataset.first(); e != nullptr;) {
        DcElem* const next = e->next();
        const unsigned int group = ElemAccess::tag(*e) >> 16;
        if (group > lastGroup) break;
        if (group == 0x0000 || group == 0x0002) aside.take(e);
        e = next;
    }
}

// The elements of group 0002 that the record has no place for go from the data set into the file, in today's
// edition: the AE titles and addresses of both sides (PS3.10 7.1).
int addRoute(DcElemList& aside, DcElemList& group) {
    if (dictGetEdition() == DICT_EDITION_2008) return RESULT_OK;
    unsigned int tags[] = {DcTag::SendingApplicationEntityTitle, DcTag::ReceivingApplicationEntityTitle,
                           DcTag::SourcePresentationAddress,     DcTag::SendingPresentationAddress,
                           DcTag::ReceivingPresentationAddress,  TAG_LIST_END};
    const bool any = std::ranges::any_of(
        tags, [&](unsigned int tag) { return ElemListAccess::find(aside, tag) != nullptr; });
    return any ? aside.duplicate(&group, tags) : RESULT_OK;
}

int takeIdentity(DcDirMetaInfo& meta, DcElemList& dataset) {
    if (meta.sopClassUid == UID_NONE) {
        const int result = ElemListAccess::firstValue(dataset, kTagSopClass, meta.sopClassUid);
        if (result != RESULT_OK) {
            return fail(result, LOG_ERROR, kReporter,
                        "Missing or invalid T_0008_0016_sopClassUid in Element List");
        }
    }
    if (meta.sopInstanceUid[0] == '\0') {
        const int result = ElemListAccess::firstValue(dataset, kTagSopInstance, meta.sopInstanceUid,
                                                      static_cast<int>(sizeof meta.sopInstanceUid - 1));
        if (result != RESULT_OK) {
            return fail(result, LOG_ERROR, kReporter,
                        "Missing or invalid T_0008_0018_sopInstanceUid in Element List");
        }
    }
    return RESULT_OK;
}

// The room for a delimiter that this syntax does not write is no part of the file.
int checkSize(const DcElemList& dataset, DICT_UID xferSyn) {
    unsigned int size = 0;
    (void)dataset.getBufSize(size, static_cast<unsigned int*>(nullptr));
    const DcElem* const pixels = ElemListAccess::find(dataset, kTagPixelData);
    if (pixels != nullptr && !ElemAccess::undefinedInStream(*pixels, xferSyn)) {
        size -= ElemAccess::delimiterRoom(*pixels);
    }
    if (size <= static_cast<unsigned int>(maxFileSize())) return RESULT_OK;
    return fail(DIR_FILE_SIZE, LOG_ERROR, kReporter, "File size exceeds limit of %g Mbytes",
                megabytes(maxFileSize()));
}

// Opening the file at `path` for writing would destroy what is to be copied from it.
bool isSource(const DcElem& e, const char* path) {
    platform::FileInfo target;
    if (!platform::examine(path, target)) return false;
    for (const DcBuf* b = ElemAccess::firstBuf(e); b != nullptr; b = b->next()) {
        platform::FileInfo source;
        const bool known = b->getType() == BUF_HANDLE    ? platform::examine(b->getHandle(), source)
                           : b->getFileName() != nullptr ? platform::examine(b->getFileName(), source)
                                                         : false;
        if (known && source.isSameFile(target)) return true;
    }
    return false;
}

// Values that stand in other files cannot be written inside of sequences: the lengths around them are those
// of what was framed.
int checkDiskElems(DcElemList& dataset, const char* path) {
    return visitDiskElems(dataset, [path](const DcElem& e, bool inSequence) {
        if (inSequence) {
            return fail(ELEM_VALUE_REFUSED, LOG_ERROR, kReporter,
                        "Element (%04x,%04x) - disk based raw buffers cannot be written in a sequence",
                        ElemAccess::tag(e) >> 16, ElemAccess::tag(e) & 0xFFFF);
        }
        if (!isSource(e, path)) return int{RESULT_OK};
        return fail(DIR_OPEN, LOG_ERROR, kReporter, "File '%s' holds the pixel data to be written", path);
    });
}

int failWrite() {
    return fail(DIR_READ_WRITE, LOG_ERROR, kReporter, "Write error, disk may be full");
}

int writeAll(int handle, std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const auto chunk = bytes.first(std::min(bytes.size(), kWriteChunk));
        if (!platform::writeAll(handle, chunk.data(), chunk.size())) return failWrite();
        bytes = bytes.subspan(chunk.size());
    }
    return RESULT_OK;
}

// Writes what was framed; behind the header of each element that is held on disk go its bytes.
int writeSpliced(int handle, std::span<const unsigned char> framed, DICT_UID xferSyn,
                 std::span<const FramedHeader> onDisk) {
    std::size_t written = 0;
    for (const FramedHeader& header : onDisk) {
        int result = writeAll(handle, framed.subspan(written, header.end - written));
        if (result == RESULT_OK) result = copyPixels(handle, *header.element, xferSyn, kReporter);
        if (result == RESULT_OK && header.undefinedLength) result = writeAll(handle, kPixelDataEnd);
        if (result != RESULT_OK) return result;
        written = header.end;
    }
    // The limit was kept when the whole was measured, but another thread may have lowered it since.
    const int limit = maxFileSize();
    if (!onDisk.empty() && framed.size() - written >= static_cast<std::size_t>(limit)) {
        return fail(RESULT_OK, LOG_ERROR, kReporter, "Data beyond pixels exceeds limit of %g Mbytes, ignored",
                    megabytes(limit));
    }
    return writeAll(handle, framed.subspan(written));
}

int failOpen(const char* path) {
    return fail(DIR_OPEN, LOG_ERROR, kReporter, "Error opening file - '%s'", path);
}

// All that goes into a file. What does not go into it is moved aside, and moved back in the end.
class FileImage {
  public:
    FileImage(DcDirMetaInfo& meta, DcElemList& dataset) : meta_(meta), dataset_(dataset), aside_(dataset) {}

    // `path` is where the file will stand.
    int check(const char* path);
    int frame(const char* path);
    int write(int handle) const;

  private:
    int frameMeta(DcElemList& group);

    DcDirMetaInfo& meta_;
    DcElemList& dataset_;
    Aside aside_;
    Block block_;
    std::size_t start_ = 0;  // of the data set in the block
    unsigned int length_ = 0;
    std::vector<FramedHeader> onDisk_;
};

int FileImage::check(const char* path) {
    int result = takeIdentity(meta_, dataset_);
    if (result == RESULT_OK) result = dirCheckMetaInfo(meta_);
    if (result == RESULT_OK) result = checkSize(dataset_, meta_.transferSyntax);
    return result == RESULT_OK ? checkDiskElems(dataset_, path) : result;
}

// Preamble, "DICM" and meta information at the beginning of the block.
int FileImage::frameMeta(DcElemList& group) {
    std::memcpy(block_.get(), meta_.preamble, kPreambleSize);
    std::memcpy(block_.get() + kPreambleSize, "DICM", 4);
    unsigned int length = 0;
    const int result = group.frame(block_.get() + kMetaOffset, length, UID_LITTLE_ENDIAN_EXPLICIT);
    start_ = kMetaOffset + std::size_t{length};
    return result;
}

int FileImage::frame(const char* path) {
    int result = RESULT_OK;
    // The command group has no place in a file, and the meta group is the record's.
    takeCommandAndMeta(aside_, dataset_, 0x0002);
    DcElemList group;
    result = dirFileMetaInfoToElemList(meta_, group);
    if (result == RESULT_OK) result = addRoute(aside_.list(), group);
    if (result != RESULT_OK) return result;
    unsigned int groupSize = 0;
    (void)group.getBufSize(groupSize, static_cast<unsigned int*>(nullptr));
    (void)dataset_.getBufSize(length_, static_cast<unsigned int*>(nullptr));
    const std::size_t size = kMetaOffset + std::size_t{groupSize} + length_;
    block_ = allocate(size);
    if (block_ == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, kReporter,
                    "file '%s', unable to allocated 0x%x (%d) bytes of memory", path, length_,
                    static_cast<int>(length_));
    }
    if (result = frameMeta(group); result != RESULT_OK) return result;
    return ElemListAccess::frame(dataset_, block_.get() + start_, kMostRoom, length_, meta_.transferSyntax,
                                 &onDisk_);
}

int FileImage::write(int handle) const {
    const int result = writeAll(handle, {block_.get(), start_});
    if (result != RESULT_OK) return result;
    return writeSpliced(handle, {block_.get() + start_, length_}, meta_.transferSyntax, onDisk_);
}

}  // namespace

int dirWriteFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset) try {
    if (path == nullptr) return failNull(DIR_NULL_ARGUMENT, kReporter, LOG_NOTICE);
    FileImage image(meta, dataset);
    int result = image.check(path);
    if (result != RESULT_OK) return result;
    platform::FileHandle file = platform::createWrite(path);
    if (!file) return failOpen(path);
    result = image.frame(path);
    if (result == RESULT_OK) result = image.write(file.get());
    if (result == RESULT_OK && !file.close()) result = failWrite();
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("dirWriteFile");
}

int orvkit::writeWholeFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset) {
    FileImage image(meta, dataset);
    int result = image.check(path);
    if (result == RESULT_OK) result = image.frame(path);
    if (result != RESULT_OK) return result;
    platform::FileInfo info;
    platform::NewFile file;
    // What may not be written to is not replaced either.
    if (platform::examine(path, info) && !platform::openAppend(path)) return failOpen(path);
    const std::string target = platform::linkTarget(path);
    if (!file.beginBeside(target)) return failOpen(path);
    result = image.write(file.handle());
    if (result == RESULT_OK && !file.commit(target, true)) result = failWrite();
    return result;
}

int dirWriteFile(unsigned char* buf, unsigned int& length, DcElemList& dataset) try {
    length = 0;
    if (buf == nullptr) return failNull(DIR_NULL_ARGUMENT, kReporter, LOG_NOTICE);
    for (const unsigned int tag :
         {kTagMetaLength, kTagMetaVersion, kTagMetaSopClass, kTagMetaSopInstance, kTagMetaTransferSyntax}) {
        if (dataset.getElem(tag, static_cast<DcElem**>(nullptr)) == RESULT_OK) continue;
        char name[64];
        (void)Dict.getDesc(tag, name);
        return fail(DIR_META_INFO, LOG_ERROR, kReporter, "Element %s missing", name);
    }
    DICT_UID xferSyn = UID_NONE;
    if (ElemListAccess::firstValue(dataset, kTagMetaTransferSyntax, xferSyn) != RESULT_OK) {
        return fail(DIR_META_INFO, LOG_ERROR, kReporter, "Invalid value in T_0002_0010_transferSyntaxUid");
    }
    Aside aside(dataset);
    takeCommandAndMeta(aside, dataset, 0x0000);
    std::memset(buf, 0, kPreambleSize);
    std::memcpy(buf + kPreambleSize, "DICM", 4);
    const int result = dataset.frame(buf + kMetaOffset, length, xferSyn);
    length += kMetaOffset;
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("dirWriteFile");
}
