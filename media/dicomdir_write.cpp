// Writing a DICOMDIR: header, records, and the replacement of the file.
#include <cstring>
#include <memory>
#include <new>

#include "encoding/header.h"
#include "foundation/fail.h"
#include "media/dicomdir_header.h"
#include "media/dir_rec.h"
#include "media/meta_info.h"
#include "platform/new_file.h"

using namespace orvkit;

namespace {

constexpr const char* kSaveReporter = "DcDirDicomDir::write";
constexpr unsigned int kSequenceHeader = orvkit::kLongHeader;
constexpr unsigned int kMostOfHeader = 512;  // the elements of group 0004 in front of the records

void putHeader(ByteWriter& w, unsigned int tag, DICT_VR vr, std::size_t length) {
    writeHeader(w, Mode::explicitLittle(), tag, vr, static_cast<unsigned int>(length));
}

void putText(ByteWriter& w, unsigned int tag, std::string text) {
    if (text.size() % 2 != 0) text += ' ';
    putHeader(w, tag, VR_CS, text.size());
    w.bytes(text.data(), text.size());
}

void putOffset(ByteWriter& w, unsigned int tag, unsigned int offset) {
    putHeader(w, tag, VR_UL, 4);
    w.u32(offset);
}

std::string joined(const char (&components)[8][13]) {
    std::string text;
    for (const auto& component : components) {
        if (component[0] == '\0') continue;
        if (!text.empty()) text += '\\';
        text += component;
    }
    return text;
}

void fillMetaGroup(const DcDirMetaInfo& from, DcElemList& group) {
    DcDirMetaInfo meta(from);
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (meta.sopInstanceUid[0] == '\0') Dict.genUid(meta.sopInstanceUid);
    const bool named = meta.implVersionName[0] != '\0';
    (void)dirCheckMetaInfo(meta);
    if (!named) meta.implVersionName[0] = '\0';
    orvkit::needMemory(dirFileMetaInfoToElemList(meta, group));
}

int failLimit() {
    return fail(DIR_FILE_SIZE, LOG_ERROR, kSaveReporter, "File size exceeds limit of %g Mbytes",
                megabytes(maxFileSize()));
}

// After a crash the old file or the new one is there.
int replaceFile(const std::string& path, std::span<const unsigned char> bytes) {
    platform::NewFile file;
    if (!file.beginBeside(path)) {
        return fail(DIR_OPEN, LOG_ERROR, kSaveReporter, "Error opening file - '%s'", path.c_str());
    }
    if (platform::writeAll(file.handle(), bytes.data(), bytes.size()) && file.commit(path, true)) {
        return RESULT_OK;
    }
    return fail(DIR_READ_WRITE, LOG_ERROR, kSaveReporter, "Write error, disk may be full");
}

}  // namespace

int DcDirDicomDir::frameHeader(unsigned char* buf, unsigned int& length, unsigned int first,
                               unsigned int last) {
    if (meta_.sopInstanceUid[0] == '\0') Dict.genUid(meta_.sopInstanceUid);
    std::memcpy(buf, meta_.preamble, kPreambleSize);
    std::memcpy(buf + kPreambleSize, "DICM", 4);
    DcElemList group;
    fillMetaGroup(meta_, group);
    length = 0;
    const int result = group.frame(buf + kMetaOffset, length, UID_LITTLE_ENDIAN_EXPLICIT);
    if (result != RESULT_OK) return result;
    length += kMetaOffset;

    ByteWriter w({buf + length, kMostOfHeader}, ByteOrder::little);
    putText(w, kTagFilesetId, header_.filesetId);
    const std::string descriptor = joined(header_.descriptorFileId);
    if (!descriptor.empty()) putText(w, kTagDescriptorFileId, descriptor);
    if (header_.charset[0] != '\0') putText(w, kTagDescriptorCharset, header_.charset);
    putOffset(w, kTagFirstRecord, first);
    putOffset(w, kTagLastRecord, last);
    putHeader(w, kTagConsistency, VR_US, 2);
    w.u16(static_cast<std::uint16_t>(header_.consistencyFlag));
    length += static_cast<unsigned int>(w.offset());
    return RESULT_OK;
}

int DcDirDicomDir::frame(unsigned char* buf, unsigned int& length) try {
    length = 0;
    if (buf == nullptr) return failNull(DIR_NULL_ARGUMENT, "DcDirDicomDir::frame");
    const DcDirRec* last = children_.last();
    while (last != nullptr && !DirRecAccess::isFramed(*last)) last = last->previous();
    const DcDirRec* const first = firstFramed(children_.first());
    return frameHeader(buf, length, first != nullptr ? first->offset_ : 0,
                       last != nullptr ? last->offset_ : 0);
} catch (const std::bad_alloc&) {
    return failMemory("DcDirDicomDir::frame");
}

int DcDirDicomDir::getBufSize(unsigned int& size, DIR_INCLUDE_CHILD include) const try {
    DcElemList group;
    fillMetaGroup(meta_, group);
    unsigned long long total = kMetaOffset + 0ull + sizeOf(group) + kMostOfHeader;
    if (include != DIR_WITHOUT_CHILD) {
        total += kSequenceHeader + sizeOf(elems_);  // elements behind the records
        for (const DcDirRec* r = children_.first(); r != nullptr; r = r->next()) {
            total += DirRecAccess::sizeOf(*r, DIR_WITH_CHILD);
        }
    }
    size = total > 0xFFFFFFFF ? 0xFFFFFFFF : static_cast<unsigned int>(total);
    return total > 0xFFFFFFFF ? DIR_FILE_SIZE : RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcDirDicomDir::getBufSize");
}

int DcDirDicomDir::write(const char* rootPath) try {
    if (rootPath != nullptr) {
        if (const int set = setRootPath(rootPath, kSaveReporter); set != RESULT_OK) return set;
    }
    if (rootPath_[0] == '\0')
        return fail(DIR_NOT_PART10, LOG_ERROR, kSaveReporter, "DICOMDIR root path not set");
    unsigned int size = 0;
    int result = getBufSize(size, DIR_WITH_CHILD);
    if (result == DIR_FILE_SIZE) return failLimit();
    if (result != RESULT_OK) return result;
    if (size > static_cast<unsigned int>(maxFileSize())) return failLimit();
    const std::unique_ptr<unsigned char[]> buf(new (std::nothrow) unsigned char[size]);
    if (buf == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, kSaveReporter, "unable to allocated 0x%x (%d) bytes of memory",
                    size, static_cast<int>(size));
    }

    // The length of the header does not depend on the offsets in it.
    unsigned int header = 0;
    if (result = frame(buf.get(), header); result != RESULT_OK) return result;
    const unsigned int start = header + kSequenceHeader;
    unsigned int at = start;
    for (DcDirRec* r = children_.first(); r != nullptr; r = r->next()) {
        unsigned int used = 0;
        r->offset_ = at;
        result = DirRecAccess::frameTree(*r, {buf.get() + at, size - at}, used, DIR_WITH_CHILD);
        if (result != RESULT_OK) return result;
        at += used;
    }
    // Every record has its place now.
    for (TreeWalk walk(*this); const DcDirRec* r = walk.next();) {
        if (DirRecAccess::isFramed(*r)) {
            DirRecAccess::patch(*r, buf.get() + r->offset_);
        } else {
            walk.skipChildren();
        }
    }
    if (result = frame(buf.get(), header); result != RESULT_OK) return result;
    ByteWriter w({buf.get() + header, kSequenceHeader}, ByteOrder::little);
    putHeader(w, kTagRecordSequence, VR_SQ, at - start);
    if (elems_.first() != nullptr) {
        unsigned int used = 0;
        result = elems_.frame(buf.get() + at, used, UID_LITTLE_ENDIAN_EXPLICIT);
        if (result != RESULT_OK) return result;
        at += used;
    }
    return replaceFile(pathBelow(rootPath_, "DICOMDIR"), {buf.get(), at});
} catch (const std::bad_alloc&) {
    return failMemory("DcDirDicomDir::write");
}
