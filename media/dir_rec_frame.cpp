// A directory record as an item of the Directory Record Sequence (PS3.3 F.3.2.2): both ways.
#include <algorithm>
#include <cstring>
#include <new>

#include "dataset/elem_access.h"
#include "encoding/header.h"
#include "foundation/fail.h"
#include "media/dir_rec.h"
#include "orvkit/scan.h"

namespace orvkit {
namespace {

constexpr const char* kParse = "DcDirRec::parse";
constexpr const char* kFrame = "DcDirRec::frame";

// Where the offsets stand in a framed record: its first elements are always the same.
constexpr std::size_t kNextAt = kItemHeader + kShortHeader;
constexpr std::size_t kLowerAt = kNextAt + 4 + kShortHeader + 2 + kShortHeader;
constexpr std::size_t kFixedSize = kLowerAt + 4 - kItemHeader;  // elements 1400, 1410, 1420
// Besides these and the elements of the record: the type, and the elements for links.
constexpr unsigned int kMostOfRest = 64;

// ---- reading ----------------------------------------------------------------------------------------------

bool failRecord(unsigned int offset, const char* text) {
    (void)fail(DIR_READ_WRITE, LOG_ERROR, kParse, "Offset - %d (0x%06x), %s", static_cast<int>(offset),
               offset, text);
    return false;
}

// What group 0004 of a record holds.
struct Facts {
    bool inUseFound = false;
    unsigned int inUse = 0;
    bool typeFound = false;
    std::string type;
    std::string fileId;        // all of it, however many components
    std::size_t keepFrom = 0;  // where the elements begin that the record keeps
};

std::string textFrom(std::span<const unsigned char> value) {
    std::string text(value.begin(), value.end());
    text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
    const auto last = text.find_last_not_of(' ');
    text.resize(last == std::string::npos ? 0 : last + 1);
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

void note(unsigned int tag, std::span<const unsigned char> value, Facts& f, RecordLinks& links) {
    const auto number = [value](unsigned int otherwise) {
        return value.size() == 4 ? loadAt<std::uint32_t>(value.data(), ByteOrder::little) : otherwise;
    };
    switch (tag) {
        case kTagNextRecord:
            links.next = number(kNoOffset);
            break;
        case kTagLowerRecord:
            links.lower = number(kNoOffset);
            break;
        case kTagMrdrOffset:
            links.mrdr = number(kNoOffset);
            break;
        case kTagInUse:
            f.inUseFound = value.size() == 2;
            if (f.inUseFound) f.inUse = loadAt<std::uint16_t>(value.data(), ByteOrder::little);
            break;
        case kTagRecordType:
            f.type = textFrom(value);
            f.typeFound = !f.type.empty();
            break;
        case kTagRefFileId:
            f.fileId = textFrom(value);
            break;
        default:
            break;
    }
}

Facts scanGroup4(std::span<const unsigned char> content, RecordLinks& links, Mode mode) {
    Facts f;
    Header h;
    std::size_t at = 0;
    while (readHeader(content.subspan(at), mode, {}, h) && h.tag >> 16 <= 4) {
        const auto rest = content.subspan(at + h.size);
        if (h.length > rest.size()) break;
        if (h.tag >> 16 == 4) note(h.tag, rest.first(h.length), f, links);
        at += h.size + h.length;
        if (h.tag <= kTagRecordType) f.keepFrom = at;
    }
    return f;
}

// What decides what the record is.
bool checkType(const Facts& f, unsigned int offset, DIR_REC& type) {
    if (!f.inUseFound) return failRecord(offset, "T_0004_1410_recordInUseFlag missing or invalid");
    if (!f.typeFound) return failRecord(offset, "T_0004_1430_recordType missing or invalid");
    if (findRecordType(f.type, type)) return true;
    return failRecord(offset, ("invalid Record Type - '" + f.type + "'").c_str());
}

// What it says of itself and its file, as it was decoded.
bool checkElems(const Facts& f, unsigned int offset, DIR_REC type, const DcElemList& elems) {
    const auto has = [&elems](unsigned int tag) { return !textOf(elems, tag).empty(); };
    if (type == DIR_REC_PRIVATE && !has(kTagPrivateRecordUid)) {
        return failRecord(offset, "T_0004_1432_privateRecordUid missing or invalid");
    }
    if (elems.getElem(kTagRefFileId, static_cast<DcElem**>(nullptr)) != RESULT_OK) return true;
    // Written by some for a record without a file: told, and read as that.
    if (!has(kTagRefFileId)) {
        (void)failRecord(offset, "Zero length File ID");
        return true;
    }
    if (f.fileId.size() > DIR_FILE_ID_LIMIT ||
        std::count(f.fileId.begin(), f.fileId.end(), '\\') >= DIR_FILE_ID_COMPONENTS) {
        return failRecord(
            offset, ("File ID '" + f.fileId + "' exceeds limit in T_0004_1500_referencedFileId").c_str());
    }
    if (!has(kTagRefSopClass)) {
        return failRecord(offset, "T_0004_1510_referencedFileClassUid missing or invalid");
    }
    if (!has(kTagRefSopInstance)) {
        return failRecord(offset, "T_0004_1511_referencedFileInstanceUid missing or invalid");
    }
    return has(kTagRefXferSyn) ||
           failRecord(offset, "T_0004_1512_referencedFileXferSynUid missing or invalid");
}

}  // namespace

bool DirRecAccess::parse(DcDirRec& r, std::span<const unsigned char> file, std::size_t end,
                         unsigned int offset, RecordLinks& links, Mode mode) {
    const auto content = file.subspan(offset + kItemHeader, end - offset - kItemHeader);
    const Facts f = scanGroup4(content, links, mode);
    DIR_REC type = DIR_REC_UNKNOWN;
    if (!checkType(f, offset, type)) return false;
    const auto kept = content.subspan(f.keepFrom);
    auto length = static_cast<unsigned int>(kept.size());
    if (length != 0) {
        const AcceptAll accept(r.elems_);
        // What follows a fault inside the record is lost; decoding has told of it.
        orvkit::needMemory(
            r.elems_.parse(const_cast<unsigned char*>(kept.data()), length, syntaxOfMode(mode)));
    }
    (void)r.destroyTempElem(DIR_WITHOUT_CHILD);
    if (!checkElems(f, offset, type, r.elems_)) {
        while (DcElem* e = r.elems_.first()) {
            (void)r.elems_.subtract(e);
            delete e;
        }
        return false;
    }
    r.type_ = type;
    r.inUse_ = static_cast<DIR_REC_IN_USE>(f.inUse);
    r.offset_ = offset;
    const bool fileIdFound = r.elems_.getElem(kTagRefFileId, static_cast<DcElem**>(nullptr)) == RESULT_OK;
    if (fileIdFound && fileIdOf(r).empty()) clearRefFile(r);
    return true;
}

bool DirRecAccess::readLinks(std::span<const unsigned char> item, RecordLinks& links, Mode mode) {
    const Facts f = scanGroup4(item.subspan(kItemHeader), links, mode);
    return f.inUseFound && f.inUse != 0 && f.typeFound;
}

// ---- writing ----------------------------------------------------------------------------------------------

bool DirRecAccess::isFramed(const DcDirRec& r) {
    return r.type_ != DIR_REC_MRDR || r.numberOfReferences() > 0;
}

const DcDirRec* firstFramed(const DcDirRec* r) {
    while (r != nullptr && !DirRecAccess::isFramed(*r)) r = r->next();
    return r;
}

namespace {

unsigned int offsetOf(const DcDirRec* r) {
    return r != nullptr ? DirRecAccess::offset(*r) : 0;
}

void putHeader(ByteWriter& w, unsigned int tag, DICT_VR vr, std::size_t length) {
    writeHeader(w, Mode::explicitLittle(), tag, vr, static_cast<unsigned int>(length));
}

}  // namespace

int DirRecAccess::frameOne(DcDirRec& r, std::span<unsigned char> room, unsigned int& used) {
    used = 0;
    if (!isFramed(r)) return RESULT_OK;
    const auto shown = static_cast<int>(r.offset_);
    if (r.type_ == DIR_REC_UNKNOWN) {
        logReport(LOG_NOTICE, kFrame, "Record of type UNKNOWN framed at offset %d (0x%06x)", shown,
                  r.offset_);
    }
    if (r.type_ == DIR_REC_MRDR && fileIdOf(r).empty()) {
        logReport(LOG_ERROR, kFrame, "MRDR at offset %d (0x%06x) - missing Referenced File ID", shown,
                  r.offset_);
    }
    (void)r.destroyTempElem(DIR_WITHOUT_CHILD);
    if (r.mrdr_ != nullptr) (void)r.elems_.add(new DcElem(kTagMrdrOffset, r.mrdr_->offset_));
    if (r.type_ == DIR_REC_MRDR) {
        (void)r.elems_.add(new DcElem(kTagReferences, static_cast<unsigned int>(r.numberOfReferences())));
    }
    char type[32] = "";
    (void)dirGetDesc(r.type_, type);
    std::size_t typeLength = std::strlen(type);
    if (typeLength % 2 != 0) type[typeLength++] = ' ';

    ByteWriter w(room, ByteOrder::little);
    writeItem(w, 0);
    putHeader(w, kTagNextRecord, VR_UL, 4);
    w.u32(offsetOf(firstFramed(r.next())));
    putHeader(w, kTagInUse, VR_US, 2);
    w.u16(static_cast<std::uint16_t>(r.inUse_));
    putHeader(w, kTagLowerRecord, VR_UL, 4);
    w.u32(offsetOf(firstFramed(r.first())));
    putHeader(w, kTagRecordType, VR_CS, typeLength);
    w.bytes(type, typeLength);

    int result = RESULT_OK;
    unsigned int length = 0;
    if (w.failed() || orvkit::sizeOf(r.elems_) > w.room()) {
        result = fail(ELEM_SHORT_BUFFER, LOG_ERROR, kFrame, "Record at offset %d (0x%06x) - buffer too short",
                      shown, r.offset_);
    } else if (r.elems_.first() != nullptr) {
        result = r.elems_.frame(room.data() + w.offset(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    }
    (void)r.destroyTempElem(DIR_WITHOUT_CHILD);
    if (result != RESULT_OK) return result;
    used = static_cast<unsigned int>(w.offset()) + length;
    storeAt<std::uint32_t>(room.data() + 4, used - kItemHeader, ByteOrder::little);
    return RESULT_OK;
}

int DirRecAccess::frameTree(DcDirRec& r, std::span<unsigned char> room, unsigned int& used,
                            DIR_INCLUDE_CHILD include) {
    const unsigned int start = r.offset_;
    int result = frameOne(r, room, used);
    if (include == DIR_WITHOUT_CHILD || result != RESULT_OK || used == 0) return result;
    for (TreeWalk walk(r); DcDirRec* below = walk.next();) {
        unsigned int length = 0;
        below->offset_ = start + used;
        result = frameOne(*below, room.subspan(used), length);
        if (result != RESULT_OK) return result;
        if (length == 0) walk.skipChildren();
        used += length;
    }
    return RESULT_OK;
}

void DirRecAccess::patch(const DcDirRec& r, unsigned char* at) {
    storeAt<std::uint32_t>(at + kNextAt, offsetOf(firstFramed(r.next())), ByteOrder::little);
    storeAt<std::uint32_t>(at + kLowerAt, offsetOf(firstFramed(r.first())), ByteOrder::little);
    if (r.mrdr_ == nullptr) return;
    std::size_t pos = kItemHeader + kFixedSize;
    Header h;
    // Behind the type come only short elements up to the offset of the MRDR.
    while (readHeader({at + pos, kShortHeader}, Mode::explicitLittle(), {}, h) && h.tag < kTagMrdrOffset) {
        pos += h.size + h.length;
    }
    if (h.tag == kTagMrdrOffset) {
        storeAt<std::uint32_t>(at + pos + kShortHeader, offsetOf(r.mrdr_), ByteOrder::little);
    }
}

unsigned long long DirRecAccess::sizeOf(const DcDirRec& r, DIR_INCLUDE_CHILD include) {
    const auto sizeOfOne = [](const DcDirRec& each) -> unsigned long long {
        return isFramed(each) ? kItemHeader + kFixedSize + kMostOfRest + 0ull + orvkit::sizeOf(each.elems_)
                              : 0;
    };
    unsigned long long total = sizeOfOne(r);
    if (include == DIR_WITHOUT_CHILD || total == 0) return total;
    for (TreeWalk walk(r); const DcDirRec* below = walk.next();) {
        const unsigned long long size = sizeOfOne(*below);
        if (size == 0) walk.skipChildren();
        total += size;
    }
    return total;
}

}  // namespace orvkit

using orvkit::DirRecAccess;
using orvkit::fail;

DcDirRec::DcDirRec(DcDirRec* parent, unsigned char* buf, unsigned int length, unsigned int offset)
    : parent_(parent), type_(DIR_REC_UNKNOWN), offset_(offset) {
    if (buf == nullptr) {
        (void)fail(DIR_NULL_ARGUMENT, LOG_VALIDATION, orvkit::kParse, "Null argument passed");
        return;
    }
    if (offset >= length || length - offset < orvkit::kItemHeader) {
        (void)fail(DIR_READ_WRITE, LOG_ERROR, orvkit::kParse,
                   "Offset %d (0x%06x) exceeds buffer length %d (0x%06x)", static_cast<int>(offset), offset,
                   static_cast<int>(length), length);
        return;
    }
    unsigned int content = 0;
    int extra = 0;
    const unsigned int left = length - offset - orvkit::kItemHeader;
    const int result =
        utilGetSqItemValLen(buf + offset + 4, left + 4, UID_LITTLE_ENDIAN_EXPLICIT, content, extra);
    if (result != RESULT_OK) content = left;
    orvkit::RecordLinks links;
    (void)DirRecAccess::parse(*this, {buf, length}, offset + orvkit::kItemHeader + std::min(content, left),
                              offset, links);
}

int DcDirRec::getBufSize(unsigned int& size, DIR_INCLUDE_CHILD include) const try {
    const unsigned long long total = DirRecAccess::sizeOf(*this, include);
    size = total > 0xFFFFFFFF ? 0xFFFFFFFF : static_cast<unsigned int>(total);
    return total > 0xFFFFFFFF ? DIR_FILE_SIZE : RESULT_OK;
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcDirRec::getBufSize");
}

int DcDirRec::frame(unsigned char* buf, unsigned int length, unsigned int& used,
                    DIR_INCLUDE_CHILD include) try {
    used = 0;
    if (buf == nullptr)
        return fail(DIR_NULL_ARGUMENT, LOG_VALIDATION, orvkit::kFrame, "Null argument passed");
    const int result = DirRecAccess::frameTree(*this, {buf, length}, used, include);
    if (result != RESULT_OK || used == 0) return result;
    // Now that those below have their offsets.
    DirRecAccess::patch(*this, buf);
    if (include == DIR_WITHOUT_CHILD) return RESULT_OK;
    for (orvkit::TreeWalk walk(*this); const DcDirRec* r = walk.next();) {
        if (DirRecAccess::isFramed(*r)) {
            DirRecAccess::patch(*r, buf + (r->offset_ - offset_));
        } else {
            walk.skipChildren();
        }
    }
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcDirRec::frame");
}
