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
#include "media/packed_data.h"
#include "orvkit/edition.h"
#include "orvkit/keywords.h"
#include "platform/new_file.h"

using namespace orvkit;

namespace {

constexpr const char* kWriteReporter = "dirWriteFile";

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
            return fail(result, LOG_ERROR, kWriteReporter,
                        "Missing or invalid T_0008_0016_sopClassUid in Element List");
        }
    }
    if (meta.sopInstanceUid[0] == '\0') {
        const int result = ElemListAccess::firstValue(dataset, kTagSopInstance, meta.sopInstanceUid,
                                                      static_cast<int>(sizeof meta.sopInstanceUid - 1));
        if (result != RESULT_OK) {
            return fail(result, LOG_ERROR, kWriteReporter,
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
    return fail(DIR_FILE_SIZE, LOG_ERROR, kWriteReporter, "File size exceeds limit of %g Mbytes",
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
            return fail(ELEM_VALUE_REFUSED, LOG_ERROR, kWriteReporter,
                        "Element (%04x,%04x) - disk based raw buffers cannot be written in a sequence",
                        ElemAccess::tag(e) >> 16, ElemAccess::tag(e) & 0xFFFF);
        }
        if (!isSource(e, path)) return int{RESULT_OK};
        return fail(DIR_OPEN, LOG_ERROR, kWriteReporter, "File '%s' holds the pixel data to be written",
                    path);
    });
}

int failWrite() {
    return fail(DIR_READ_WRITE, LOG_ERROR, kWriteReporter, "Write error, disk may be full");
}

// Packs the data set of a file in memory, in its place.
int packBlock(unsigned char* file, unsigned int& length, unsigned int room,
              const orvkit::DataSetCodec& codec) {
    DcDirMetaInfo meta;
    unsigned int begin = 0;
    if (const int result = dirReadFileMetaInfo(file, length, meta, begin); result != RESULT_OK) return result;
    if (begin == length) return RESULT_OK;  // a header, for a stream that follows
    orvkit::MemorySink packed;
    const int result = orvkit::putPacked(packed, codec, {file + begin, length - begin},
                                         UID_LITTLE_ENDIAN_EXPLICIT, {}, kWriteReporter);
    if (result != RESULT_OK) return result;
    if (packed.bytes().size() > room - begin) {
        return fail(ELEM_SHORT_BUFFER, LOG_ERROR, kWriteReporter,
                    "The compressed data set is larger than its room");
    }
    std::memcpy(file + begin, packed.bytes().data(), packed.bytes().size());
    length = begin + static_cast<unsigned int>(packed.bytes().size());
    return RESULT_OK;
}

int failOpen(const char* path) {
    return fail(DIR_OPEN, LOG_ERROR, kWriteReporter, "Error opening file - '%s'", path);
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
    const orvkit::DataSetCodec* codec_ = nullptr;
    DICT_UID xferSyn_ = UID_NONE;  // of what is framed
    Aside aside_;
    Block block_;
    std::size_t start_ = 0;  // of the data set in the block
    unsigned int length_ = 0;
    std::vector<FramedHeader> onDisk_;
};

int FileImage::check(const char* path) {
    int result = takeIdentity(meta_, dataset_);
    if (result == RESULT_OK) result = dirCheckMetaInfo(meta_);
    codec_ = orvkit::codecOf(meta_.transferSyntax);
    xferSyn_ = codec_ != nullptr ? orvkit::unpackedSyntax(meta_.transferSyntax) : meta_.transferSyntax;
    if (result == RESULT_OK) result = checkSize(dataset_, xferSyn_);
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
        return fail(ELEM_NO_MEMORY, LOG_ERROR, kWriteReporter,
                    "file '%s', unable to allocated 0x%x (%d) bytes of memory", path, length_,
                    static_cast<int>(length_));
    }
    if (result = frameMeta(group); result != RESULT_OK) return result;
    return ElemListAccess::frame(dataset_, block_.get() + start_, orvkit::kMostRoom, length_, xferSyn_,
                                 &onDisk_);
}

int FileImage::write(int handle) const {
    orvkit::HandleSink file(handle);
    if (!file.put({block_.get(), start_})) return failWrite();
    const std::span<const unsigned char> dataset(block_.get() + start_, length_);
    if (codec_ == nullptr) return orvkit::putSpliced(file, dataset, xferSyn_, onDisk_, kWriteReporter);
    return orvkit::putPacked(file, *codec_, dataset, xferSyn_, onDisk_, kWriteReporter);
}

}  // namespace

int dirWriteFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset) try {
    if (path == nullptr) return failNull(DIR_NULL_ARGUMENT, kWriteReporter, LOG_NOTICE);
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
    if (buf == nullptr) return failNull(DIR_NULL_ARGUMENT, kWriteReporter, LOG_NOTICE);
    for (const unsigned int tag :
         {kTagMetaLength, kTagMetaVersion, kTagMetaSopClass, kTagMetaSopInstance, kTagMetaTransferSyntax}) {
        if (dataset.getElem(tag, static_cast<DcElem**>(nullptr)) == RESULT_OK) continue;
        char name[64];
        (void)Dict.getDesc(tag, name);
        return fail(DIR_META_INFO, LOG_ERROR, kWriteReporter, "Element %s missing", name);
    }
    DICT_UID xferSyn = UID_NONE;
    if (ElemListAccess::firstValue(dataset, kTagMetaTransferSyntax, xferSyn) != RESULT_OK) {
        return fail(DIR_META_INFO, LOG_ERROR, kWriteReporter,
                    "Invalid value in T_0002_0010_transferSyntaxUid");
    }
    Aside aside(dataset);
    takeCommandAndMeta(aside, dataset, 0x0000);
    std::memset(buf, 0, orvkit::kPreambleSize);
    std::memcpy(buf + orvkit::kPreambleSize, "DICM", 4);
    const orvkit::DataSetCodec* const codec = orvkit::codecOf(xferSyn);
    const DICT_UID inside = codec != nullptr ? orvkit::unpackedSyntax(xferSyn) : xferSyn;
    unsigned int room = 0;
    (void)dataset.getBufSize(room, static_cast<unsigned int*>(nullptr));
    const int result = dataset.frame(buf + orvkit::kMetaOffset, length, inside);
    length += orvkit::kMetaOffset;
    if (result != RESULT_OK || codec == nullptr) return result;
    return packBlock(buf, length, room + orvkit::kMetaOffset, *codec);
} catch (const std::bad_alloc&) {
    return failMemory("dirWriteFile");
}
