// Reading a DICOMDIR: its header, and its records by their offsets.
//
// Which bytes are records is settled first, by one walk over the items of the Directory Record Sequence. A
// link is good when it leads to the beginning of one of them that has no place in the tree yet; anything else
// ends the chain that it stands in. So every record is read once at most, whatever the links say.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "encoding/walk.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "foundation/text.h"
#include "media/dicomdir_header.h"
#include "media/dir_rec.h"
#include "media/file_prefix.h"
#include "media/meta_info.h"
#include "media/part10_reader.h"

namespace orvkit {
namespace {

constexpr const char* kLoadReporter = "DcDirDicomDir::read";
constexpr unsigned char kItemTag[] = {0xFE, 0xFF, 0x00, 0xE0};
// How the sequence begins, and the first element of a record: in implicit VR their front.
constexpr unsigned char kSequenceTag[] = {0x04, 0x00, 0x20, 0x12, 'S', 'Q', 0, 0};
constexpr unsigned char kFirstElement[] = {0x04, 0x00, 0x00, 0x14, 'U', 'L', 4, 0};
constexpr unsigned char kFirstImplicit[] = {0x04, 0x00, 0x00, 0x14, 4, 0, 0, 0};
constexpr std::size_t kTagSize = 4;

struct HeaderRule {
    unsigned int tag;
    DICT_VR vr;
};
constexpr HeaderRule kHeaderRules[] = {
    {kTagFilesetId, VR_CS},   {kTagDescriptorFileId, VR_CS}, {kTagDescriptorCharset, VR_CS},
    {kTagFirstRecord, VR_UL}, {kTagLastRecord, VR_UL},       {kTagConsistency, VR_US},
};

}  // namespace

class DicomDirReader {
  public:
    DicomDirReader(DcDirDicomDir& set, std::span<const unsigned char> file, std::size_t dataset, Mode mode)
        : set_(set), file_(file), dataset_(dataset), mode_(mode), mayWalk_(file.size()) {}

    int run() {
        const std::size_t sequence = findSequence();
        readHeader(sequence);
        if (set_.header_.consistencyFlag != DIR_FILESET_IS_CONSISTENT) {
            logReport(LOG_NOTICE, kLoadReporter, "Inconsistent file set, skipping further processing");
            return RESULT_OK;
        }
        const std::size_t behind = findItems(sequence);
        readTail(behind);
        readChain(set_, first_);
        if (broken_ == 1) mendChain();
        readMrdrs();
        return damaged_ ? DIR_READ_WRITE : RESULT_OK;
    }

  private:
    struct Item {
        unsigned int offset;
        std::size_t end;
        bool placed = false;
        DcDirRec* record = nullptr;
    };

    std::size_t findSequence();
    void readHeader(std::size_t end);
    std::size_t findItems(std::size_t sequence);
    std::size_t resync(std::size_t from, std::size_t end) const;
    void readTail(std::size_t from);
    Item* find(unsigned int offset);
    Item* follow(unsigned int offset);
    DcDirRec* readRecord(Item& item, RecordLinks& links);
    void readChain(DcDirRec& top, unsigned int first);
    void mendChain();
    void readMrdrs();

    unsigned int u32(std::size_t at) const {
        return loadAt<std::uint32_t>(file_.data() + at, ByteOrder::little);
    }
    bool isTag(std::size_t at, unsigned int element) const {
        return loadAt<std::uint16_t>(file_.data() + at, ByteOrder::little) == 0xFFFE &&
               loadAt<std::uint16_t>(file_.data() + at + 2, ByteOrder::little) == element;
    }

    struct Pending {
        DcDirRec* record;
        unsigned int mrdr;
    };

    DcDirDicomDir& set_;
    std::span<const unsigned char> file_;
    std::size_t dataset_;
    Mode mode_;
    unsigned int first_ = 0;
    std::vector<Item> items_;  // by offset
    std::size_t likely_ = 0;   // where the next look-up may well end
    std::vector<Pending> pending_;
    std::size_t mayWalk_;  // elements: items made to overlap must not be walked again and again
    bool damaged_ = false;
    int broken_ = 0;                // chains that ended before their end
    DcDirRec* brokenAt_ = nullptr;  // whose children the last of them are
};

// ---- around the records -----------------------------------------------------------------------------------

// Where the Directory Record Sequence begins; the end of the file without one.
std::size_t DicomDirReader::findSequence() {
    SpanSource source(file_);
    Walker walker(source, dataset_, file_.size(), mode_);
    WalkHeader h;
    while (walker.peek(h) == WalkStep::element) {
        if (h.tag == kTagRecordSequence) return static_cast<std::size_t>(h.offset);
        if (h.tag > kTagRecordSequence || !walker.skip(h)) break;
    }
    const auto found = std::search(file_.begin() + static_cast<std::ptrdiff_t>(dataset_), file_.end(),
                                   std::begin(kSequenceTag),
                                   mode_.explicitVr ? std::end(kSequenceTag) : kSequenceTag + kTagSize);
    return static_cast<std::size_t>(found - file_.begin());
}

void DicomDirReader::readHeader(std::size_t end) {
    DcElemList header;
    {
        const AcceptAll accept(header);
        auto length = static_cast<unsigned int>(end - dataset_);
        orvkit::needMemory(
            header.parse(const_cast<unsigned char*>(file_.data() + dataset_), length, syntaxOfMode(mode_)));
    }
    for (const HeaderRule& rule : kHeaderRules) {
        DcElem* e = nullptr;
        if (header.getElem(rule.tag, &e) != RESULT_OK || ElemAccess::vr(*e) == rule.vr) continue;
        logReport(LOG_ERROR, kLoadReporter, "Unexpected VR - '%s' for Element (%04x,%04x)",
                  DcDict::vrName(ElemAccess::vr(*e)), rule.tag >> 16, rule.tag & 0xFFFF);
        destroyElem(header, rule.tag);
    }
    DcDirDicomDirInfo& info = set_.header_;
    copyText(info.filesetId, textOf(header, kTagFilesetId));
    copyText(info.charset, textOf(header, kTagDescriptorCharset));
    std::string descriptor = textOf(header, kTagDescriptorFileId);
    for (auto& component : info.descriptorFileId) {
        const std::size_t separator = descriptor.find('\\');
        copyText(component, descriptor.substr(0, separator));
        descriptor.erase(0, separator == std::string::npos ? separator : separator + 1);
    }
    unsigned short flag = 0;
    (void)header.getValue(kTagFirstRecord, first_, 0);
    (void)header.getValue(kTagConsistency, flag, 0);
    info.consistencyFlag = static_cast<DIR_FILESET_CONSISTENT>(flag);
}

// Elements behind the records, which the library does not know.
void DicomDirReader::readTail(std::size_t from) {
    if (from >= file_.size()) return;
    const AcceptAll accept(set_.elems_);
    auto length = static_cast<unsigned int>(file_.size() - from);
    orvkit::needMemory(
        set_.elems_.parse(const_cast<unsigned char*>(file_.data() + from), length, syntaxOfMode(mode_)));
    // Only what may be written there again.
    while (DcElem* e = set_.elems_.first()) {
        if (ElemAccess::tag(*e) > kTagRecordSequence) break;
        destroyElem(set_.elems_, ElemAccess::tag(*e));
    }
}

// ---- the items --------------------------------------------------------------------------------------------

// The next item that looks like a record: its first element is always the same.
std::size_t DicomDirReader::resync(std::size_t from, std::size_t end) const {
    const auto& first = mode_.explicitVr ? kFirstElement : kFirstImplicit;
    const auto stop = file_.begin() + static_cast<std::ptrdiff_t>(end);
    auto at = file_.begin() + static_cast<std::ptrdiff_t>(std::min(from, end));
    while ((at = std::search(at, stop, std::begin(first), std::end(first))) != stop) {
        const auto offset = static_cast<std::size_t>(at - file_.begin());
        if (offset >= from + kItemHeader &&
            std::equal(std::begin(kItemTag), std::end(kItemTag), at - kItemHeader)) {
            return offset - kItemHeader;
        }
        ++at;
    }
    return end;
}

// Walks over the items; gives where the sequence ends. An item whose length leads astray ends where the next
// one is found.
std::size_t DicomDirReader::findItems(std::size_t sequence) {
    const std::size_t head = mode_.explicitVr ? kLongHeader : kShortHeader;
    if (file_.size() - sequence < head) return file_.size();
    std::size_t pos = sequence + head;
    const unsigned int length = u32(pos - 4);
    const bool defined = length != kLengthUndefined && length <= file_.size() - pos;
    const std::size_t end = defined ? pos + length : file_.size();
    SpanSource source(file_);
    while (end - pos >= kItemHeader) {
        if (isTag(pos, 0xE0DD)) {
            if (!defined) return pos + kItemHeader;
            pos += kItemHeader;
            continue;
        }
        if (!isTag(pos, 0xE000)) {
            pos = resync(pos, end);
            continue;
        }
        std::size_t next = pos + kItemHeader;
        std::size_t content = next;
        const unsigned int itemLength = u32(pos + 4);
        bool sound = false;
        if (itemLength != kLengthUndefined) {
            sound = itemLength <= end - next;
            next = content = sound ? next + itemLength : end;
        } else {
            Walker walker(source, next, end, mode_);
            WalkHeader h;
            while (mayWalk_ > 0 && walker.peek(h) == WalkStep::element && h.tag >> 16 != 0xFFFE &&
                   walker.skip(h)) {
                --mayWalk_;
            }
            content = static_cast<std::size_t>(walker.position());
            sound = end - content >= kItemHeader && isTag(content, 0xE00D);
            next = sound ? content + kItemHeader : end;
        }
        const bool followed = end - next < kItemHeader || isTag(next, 0xE000) || isTag(next, 0xE0DD);
        if (!sound || !followed) next = content = resync(pos + kItemHeader, end);
        items_.push_back({static_cast<unsigned int>(pos), content});
        pos = next;
    }
    return defined ? end : file_.size();
}

DicomDirReader::Item* DicomDirReader::find(unsigned int offset) {
    if (likely_ < items_.size() && items_[likely_].offset == offset) return &items_[likely_];
    const auto item = std::lower_bound(items_.begin(), items_.end(), offset,
                                       [](const Item& i, unsigned int value) { return i.offset < value; });
    return item != items_.end() && item->offset == offset ? &*item : nullptr;
}

// The item at an offset that a link gives, or null with a message.
DicomDirReader::Item* DicomDirReader::follow(unsigned int offset) {
    Item* const item = find(offset);
    const auto shown = static_cast<int>(offset);
    if (item != nullptr && !item->placed) {
        likely_ = static_cast<std::size_t>(item - items_.data()) + 1;
        return item;
    }
    damaged_ = true;
    if (offset >= file_.size()) {
        logReport(LOG_ERROR, "DcDirRec::parse", "Offset %d (0x%06x) exceeds buffer length %d (0x%06x)", shown,
                  offset, static_cast<int>(file_.size()), static_cast<unsigned int>(file_.size()));
    } else {
        logReport(LOG_ERROR, kLoadReporter, "Offset - %d (0x%06x), %s", shown, offset,
                  item != nullptr ? "the record has its place already" : "no record begins there");
    }
    return nullptr;
}

// ---- the records ------------------------------------------------------------------------------------------

DcDirRec* DicomDirReader::readRecord(Item& item, RecordLinks& links) {
    item.placed = true;
    auto record = std::make_unique<DcDirRec>(DIR_REC_UNKNOWN);
    if (!DirRecAccess::parse(*record, file_, item.end, item.offset, links, mode_)) {
        damaged_ = true;
        return nullptr;
    }
    return item.record = record.release();
}

// The records from an offset on become children of `top`, each with those below it.
void DicomDirReader::readChain(DcDirRec& top, unsigned int first) {
    struct Chain {
        DcDirRec* parent;
        unsigned int next;
    };
    std::vector<Chain> open{{&top, first}};
    while (!open.empty()) {
        const Chain chain = open.back();
        Item* const item = chain.next != 0 ? follow(chain.next) : nullptr;
        if (item == nullptr) {
            if (chain.next != 0) {
                ++broken_;
                brokenAt_ = chain.parent;
            }
            open.pop_back();
            continue;
        }
        RecordLinks links;
        DcDirRec* const record = readRecord(*item, links);
        open.back().next = links.next;
        if (record == nullptr) continue;
        // A record at an unusual place is told and kept: what is read can be written again.
        (void)DirRecAccess::checkLevel(*chain.parent, *record);
        DirRecAccess::insert(*chain.parent, record);
        if (links.mrdr != 0) pending_.push_back({record, links.mrdr});
        if (links.lower != 0) open.push_back({record, links.lower});
    }
}

// When one link is wild and one record in use has nobody who leads to it, the link was to that record. In any
// other case there is no knowing where a record belongs.
void DicomDirReader::mendChain() {
    std::unordered_set<unsigned int> led;
    std::vector<unsigned int> unplaced;
    for (const Item& item : items_) {
        RecordLinks links;
        if (item.placed) continue;
        if (!DirRecAccess::readLinks(file_.subspan(item.offset, item.end - item.offset), links, mode_))
            continue;
        unplaced.push_back(item.offset);
        led.insert({links.next, links.lower, links.mrdr});
    }
    std::erase_if(unplaced, [&led](unsigned int offset) { return led.count(offset) != 0; });
    if (unplaced.size() != 1) return;
    logReport(LOG_NOTICE, kLoadReporter,
              "Offset - %d (0x%06x), taken for the record that the broken link led to",
              static_cast<int>(unplaced[0]), unplaced[0]);
    readChain(*brokenAt_, unplaced[0]);
}

// Multi-referenced records need not be in the chain of the root.
void DicomDirReader::readMrdrs() {
    for (const Pending& each : pending_) {
        Item* item = find(each.mrdr);
        if (item == nullptr || !item->placed) {
            item = follow(each.mrdr);
            RecordLinks links;
            DcDirRec* const record = item != nullptr ? readRecord(*item, links) : nullptr;
            if (record == nullptr) continue;
            DirRecAccess::insert(set_, record);
        }
        if (item->record == nullptr || set_.linkRecToMrdr(each.record, item->record) != RESULT_OK)
            damaged_ = true;
    }
}

}  // namespace orvkit

using orvkit::fail;
using orvkit::kLoadReporter;

namespace {

int failRead(const orvkit::FilePrefix& file, const char* path) {
    if (file.outOfMemory()) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, kLoadReporter, "File '%s', unable to allocate memory", path);
    }
    return fail(DIR_READ_WRITE, LOG_ERROR, kLoadReporter, "Error reading file '%s'", path);
}

}  // namespace

int DcDirDicomDir::read(const char* rootPath) try {
    if (rootPath != nullptr) {
        if (const int result = setRootPath(rootPath, kLoadReporter); result != RESULT_OK) return result;
    }
    if (rootPath_[0] == '\0')
        return fail(DIR_NOT_PART10, LOG_ERROR, kLoadReporter, "DICOMDIR root path not set");
    resetContent();
    const std::string name = orvkit::pathBelow(rootPath_, "DICOMDIR");
    const char* const path = name.c_str();
    orvkit::platform::FileInfo info;
    if (!orvkit::platform::examine(path, info)) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return fail(RESULT_OK, LOG_NOTICE, kLoadReporter, "'%s' does not exit, empty object created",
                        path);
        }
        return fail(DIR_STAT, LOG_ERROR, kLoadReporter, "stat error file '%s'", path);
    }
    if (info.size > orvkit::maxFileSize()) {
        return fail(DIR_FILE_SIZE, LOG_ERROR, kLoadReporter, "File '%s', size exceeds limit of %g Mbytes",
                    path, orvkit::megabytes(orvkit::maxFileSize()));
    }
    orvkit::FilePrefix file;
    const auto size = static_cast<std::size_t>(info.size);
    if (const int result = file.open(path, kLoadReporter, size); result != RESULT_OK) return result;
    file.setLimit(UINT64_MAX);
    if (!file.loadAll()) return failRead(file, path);

    DcDirMetaInfo meta;
    unsigned int end = 0;
    const auto bytes = file.bytes();
    const int result = dirReadFileMetaInfo(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, end);
    if (result != RESULT_OK) return result;
    const orvkit::Mode mode = orvkit::modeAsItLies(meta.transferSyntax, bytes.subspan(end));
    if (meta.transferSyntax != UID_LITTLE_ENDIAN_EXPLICIT && !mode.everyGroup) {
        return fail(DIR_META_INFO, LOG_ERROR, kLoadReporter,
                    "Invalid Transfer Syntax '%s', should be Littleendian Explicit",
                    orvkit::uidText(meta.transferSyntax));
    }
    if (meta.sopClassUid != UID_MEDIA_STORAGE_DIR_STORAGE) {
        return fail(DIR_META_INFO, LOG_ERROR, kLoadReporter,
                    "Invalid SOP Class UID '%s', should be Media Storage Dir Storage",
                    orvkit::uidText(meta.sopClassUid));
    }
    if (mode.everyGroup) orvkit::tellImplicitDirectory(kLoadReporter, path);
    meta.version = 1;  // the only one that is written, as is the transfer syntax
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    meta_ = meta;
    return orvkit::DicomDirReader(*this, bytes, end, mode).run();
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcDirDicomDir::read");
}
