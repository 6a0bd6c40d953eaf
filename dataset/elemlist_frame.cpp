// Data sets to bytes (PS3.5 7), copies, and the parser over lists of buffers.
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elem_aside.h"
#include "dataset/elemlist_access.h"
#include "dataset/raw_walker.h"
#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

using orvkit::Aside;
using orvkit::ElemAccess;
using orvkit::ElemListAccess;
using orvkit::fail;
using orvkit::FramedHeader;
using orvkit::isUncompressed;

namespace {

constexpr unsigned int kPixelData = 0x7FE00010;
constexpr unsigned int kPixelGroup = 0x7FE0;
constexpr unsigned int kGroupLengthSize = 12;  // a group length element, in every syntax

DICT_UID xferSynOfGroup(unsigned int group, DICT_UID stream) {
    if (group == 0x0000) return UID_LITTLE_ENDIAN_IMPLICIT;
    if (group == 0x0002 || group == 0x0004) return UID_LITTLE_ENDIAN_EXPLICIT;
    return stream;
}

struct Release {
    void operator()(unsigned char* p) const { ::operator delete(p); }
};
using Block = std::unique_ptr<unsigned char, Release>;

Block allocate(std::size_t size) {
    return Block(static_cast<unsigned char*>(::operator new(size, std::nothrow)));
}

// OB or OW, as the samples' width and the syntax have it (PS3.5 8.1.2 and A.4).
void settleRawVr(DcElem* e, unsigned short bits, DICT_UID xferSyn) {
    if (e == nullptr || !orvkit::isRawVr(ElemAccess::vr(*e))) return;
    ElemAccess::setVr(*e, bits > 8 && isUncompressed(xferSyn) ? VR_OW : VR_OB);
}

void settleWaveforms(DcElemList& list, DICT_UID xferSyn) {
    unsigned short bits = 0;
    if (ElemListAccess::firstValue(list, 0x54001004u, bits) != RESULT_OK) return;
    for (const unsigned int tag : {0x54000110u, 0x54000112u, 0x5400100Au, 0x54001010u}) {
        settleRawVr(ElemListAccess::find(list, tag), bits, xferSyn);
    }
}

// Settles the VR of Pixel Data; the length of its value is needed for the group length.
unsigned long long settlePixels(DcElemList& list, DcElem* pixels, DICT_UID xferSyn) {
    if (pixels == nullptr) return 0;
    unsigned short bits = 0;
    (void)ElemListAccess::firstValue(list, 0x00280100u, bits);
    if (ElemAccess::vr(*pixels) == VR_OX) settleRawVr(pixels, bits, xferSyn);
    return ElemAccess::rawLength(*pixels);
}

int failTooLarge() {
    return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElemList::frame", "Data set is larger than 0x%x bytes",
                orvkit::kMostRoom);
}

// Encodes the elements of a data set one behind the other and sets the group lengths that are there.
class ListFramer {
  public:
    ListFramer(unsigned char* buf, unsigned int room, DICT_UID xferSyn, bool hasPixels,
               unsigned long long pixelLength, std::vector<FramedHeader>* onDisk, const DcElem* lent)
        : buf_(buf),
          room_(room),
          xferSyn_(xferSyn),
          hasPixels_(hasPixels),
          pixelLength_(pixelLength),
          onDisk_(onDisk),
          lent_(lent) {}

    int run(DcElem* first) {
        for (DcElem* e = first; e != nullptr; e = e->next()) {
            const unsigned int tag = ElemAccess::tag(*e);
            if (tag >> 16 != group_ || e == first) {
                if (const int result = closeGroup(); result != RESULT_OK) return result;
                openGroup(*e, tag);
            }
            if (const int result = put(*e, used_); result != RESULT_OK) return result;
            if (onDisk_ == nullptr || (e != lent_ && !ElemAccess::isOnDisk(*e))) continue;
            const bool undefined = ElemAccess::undefinedInStream(*e, xferSyn_);
            const std::size_t behind = e == lent_ && undefined ? orvkit::kDelimitationSize : 0;
            onDisk_->push_back({e, used_ - static_cast<unsigned int>(behind), undefined});
        }
        return closeGroup();
    }
    unsigned int used() const { return used_; }

  private:
    int put(DcElem& e, unsigned int& at) {
        unsigned int size = 0;
        const DICT_UID xferSyn = xferSynOfGroup(group_, xferSyn_);
        int result;
        if (ElemAccess::isSequence(e)) {
            result = ElemListAccess::frame(static_cast<DcElemSq&>(e), buf_ + at, room_ - at, size, xferSyn);
        } else if (ElemAccess::frameBound(e) > room_ - at) {
            result = failTooLarge();
        } else {
            result = ElemAccess::frameInStream(e, buf_ + at, size, xferSyn, &e == lent_);
        }
        if (result == ELEM_EMPTY_VALUE) result = RESULT_OK;  // a raw element without bytes: length 0
        at += size;
        return result;
    }

    void openGroup(DcElem& e, unsigned int tag) {
        group_ = tag >> 16;
        groupAt_ = used_;
        lengthElem_ = (tag & 0xFFFF) == 0 && ElemAccess::vr(e) == VR_UL ? &e : nullptr;
        if (lengthElem_ == nullptr || e.getValueCount() == 1) return;
        (void)e.deleteAllValues();  // its place in the stream has one number
        (void)e.addValue(0u, ELEM_INDEX_APPEND);
    }

    int closeGroup() {
        if (lengthElem_ == nullptr) return RESULT_OK;
        unsigned long long length = used_ - groupAt_ - kGroupLengthSize;
        if (group_ == kPixelGroup && hasPixels_) {
            length = pixelLength_ + (xferSyn_ == UID_LITTLE_ENDIAN_IMPLICIT ? 8
                                     : isUncompressed(xferSyn_)             ? 12
                                                                            : 20);
        }
        (void)lengthElem_->addValue(static_cast<unsigned int>(length), 0);
        unsigned int at = groupAt_;
        return put(*lengthElem_, at);
    }

    unsigned char* buf_;
    unsigned int room_;
    DICT_UID xferSyn_;
    bool hasPixels_;
    unsigned long long pixelLength_;
    std::vector<FramedHeader>* onDisk_;
    const DcElem* lent_;
    unsigned int used_ = 0;
    unsigned int group_ = 0;
    unsigned int groupAt_ = 0;
    DcElem* lengthElem_ = nullptr;
};

}  // namespace

int DcElemList::frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) {
    return ElemListAccess::frame(*this, buf, orvkit::kMostRoom, length, xferSyn);
}

int ElemListAccess::frame(DcElemList& list, unsigned char* buf, unsigned int room, unsigned int& length,
                          DICT_UID xferSyn, std::vector<FramedHeader>* onDisk, const DcElem* lent) {
    constexpr const char* reporter = "DcElemList::frame";
    length = 0;
    if (buf == nullptr) return fail(ELEM_NULL_ARGUMENT, LOG_NOTICE, reporter, "Null argument passed");
    const DcDictUidInfo* uid = Dict.findUid(xferSyn);
    if (uid == nullptr || uid->type != UID_TYPE_XFER_SYN) {
        return fail(ELEM_XFER_SYNTAX, LOG_NOTICE, reporter, "'%s' is not a Transfer Syntax UID",
                    uid != nullptr ? uid->uid : "");
    }
    settleWaveforms(list, xferSyn);
    DcElem* const pixels = find(list, kPixelData);
    const unsigned long long pixelLength = settlePixels(list, pixels, xferSyn);
    ListFramer framer(buf, room, xferSyn, pixels != nullptr, pixelLength, onDisk, lent);
    const int result = framer.run(list.first());
    length = framer.used();
    return result;
}

int DcElemList::encode(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) {
    return frame(buf, length, xferSyn);
}

namespace {

// Lends the listed elements, or all, but for pixel data.
void lend(Aside& loan, DcElemList& owner, const unsigned int* tags) {
    const auto take = [&loan](DcElem* e) {
        if (e != nullptr && ElemAccess::tag(*e) >> 16 != kPixelGroup) loan.take(e);
    };
    if (tags != nullptr) {
        for (; *tags != TAG_LIST_END; ++tags) take(ElemListAccess::find(owner, *tags));
        return;
    }
    for (DcElem* e = owner.first(); e != nullptr;) {
        DcElem* const next = e->next();
        take(e);
        e = next;
    }
}

}  // namespace

int DcElemList::duplicate(DcElemList* dest, unsigned int* tags) {
    constexpr const char* reporter = "DcElemList::duplicate";
    if (dest == nullptr) return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, reporter, "Null argument passed");
    unsigned int length = 0;
    Block block;
    {
        Aside loan(*this);
        lend(loan, *this, tags);
        (void)loan.list().getBufSize(length, static_cast<unsigned int*>(nullptr));
        block = allocate(length);
        if (block == nullptr) {
            return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "unable to allocated 0x%x (%d) bytes of memory",
                        length, static_cast<int>(length));
        }
        const int result = loan.list().frame(block.get(), length, UID_LITTLE_ENDIAN_EXPLICIT);
        if (result != RESULT_OK) return result;
    }
    return dest->parse(block.get(), length, UID_LITTLE_ENDIAN_EXPLICIT);
}

// ---- parsing
// ------------------------------------------------------------------------------------------------

int DcElemList::parse(void* buf, unsigned int& length, DICT_UID xferSyn) {
    return buf != nullptr && length != 0 ? decode(buf, length, xferSyn) : RESULT_OK;
}

int DcElemList::parse() {
    return pending_ != nullptr ? parse(pending_) : RESULT_OK;
}

int DcElemList::parse(DcBufList* list) {
    constexpr const char* reporter = "DcElemList::parse";
    if (list == nullptr) return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, reporter, "Null argument passed");
    if (list->first() == nullptr) return RESULT_OK;
    lastTag_ = 0xFFFFFFFF;

    const auto inMemory = [](DcBuf& b) { return b.getType() == BUF_MEMORY && b.getBuf() != nullptr; };
    unsigned long long total = 0;
    DcBuf* onDisk = nullptr;
    DcBuf* only = nullptr;
    int pieces = 0;
    for (DcBuf* b = list->first(); b != nullptr; b = b->next()) {
        if (b->getType() == BUF_FILE || b->getType() == BUF_HANDLE) {
            onDisk = b;
        } else if (inMemory(*b) && b->getLen() != 0) {
            total += b->getLen();
            only = b;
            ++pieces;
        }
    }
    const DICT_UID xferSyn = list->first()->getXferSyn();
    int result = RESULT_OK;
    if (pieces == 1) {
        unsigned int length = only->getLen();
        result = parse(only->getBuf(), length, xferSyn);
    } else if (total != 0) {
        const auto size = static_cast<unsigned int>(total);
        Block joined = total > 0xFFFFFFFFull ? nullptr : allocate(size);
        if (joined == nullptr) {
            return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "unable to allocated 0x%x (%d) bytes of memory",
                        size, static_cast<int>(size));
        }
        unsigned char* at = joined.get();
        for (DcBuf* b = list->first(); b != nullptr; b = b->next()) {
            if (!inMemory(*b) || b->getLen() == 0) continue;
            std::memcpy(at, b->getBuf(), b->getLen());
            at += b->getLen();
        }
        unsigned int length = size;
        result = parse(joined.get(), length, xferSyn);
    }
    if (onDisk != nullptr) {
        (void)list->subtract(onDisk);
        (void)add(new DcElem(kPixelData, onDisk));  // takes the content over
        delete onDisk;
    }
    return result;
}

bool ElemAccess::undefinedInStream(const DcElem& e, DICT_UID xferSyn) noexcept {
    return tag(e) == kPixelData && !isUncompressed(syntaxInStream(e, xferSyn));
}
