// Data sets to bytes (PS3.5 7).
#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

using namespace orvkit;

namespace {

constexpr unsigned int kPixelGroup = 0x7FE0;
constexpr unsigned int kGroupLengthSize = 12;  // a group length element, in every syntax

// OB or OW, as the samples' width and the syntax have it (PS3.5 8.1.2 and A.4).
void settleRawVr(DcElem* e, unsigned short bits, DICT_UID xferSyn) {
    if (e == nullptr || !isRawVr(ElemAccess::vr(*e))) return;
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
                kMostRoom);
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
            const std::size_t behind = e == lent_ && undefined ? kDelimitationSize : 0;
            onDisk_->push_back({e, used_ - static_cast<unsigned int>(behind), undefined});
        }
        return closeGroup();
    }
    unsigned int used() const { return used_; }

  private:
    int put(DcElem& e, unsigned int& at) {
        unsigned int size = 0;
        const DICT_UID xferSyn = syntaxOfGroup(group_, xferSyn_);
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
            const SyntaxRow& row = syntaxRow(xferSyn_);
            length = pixelLength_ + (row.explicitVr ? kLongHeader : kShortHeader) +
                     (row.delimited ? kDelimitationSize : 0);
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

int DcElemList::frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) try {
    return ElemListAccess::frame(*this, buf, kMostRoom, length, xferSyn);
} catch (const std::bad_alloc&) {
    return failMemory("DcElemList::frame");
}

int ElemListAccess::frame(DcElemList& list, unsigned char* buf, unsigned int room, unsigned int& length,
                          DICT_UID xferSyn, std::vector<FramedHeader>* onDisk, const DcElem* lent) {
    constexpr const char* reporter = "DcElemList::frame";
    length = 0;
    if (buf == nullptr) return failNull(ELEM_NULL_ARGUMENT, reporter, LOG_NOTICE);
    const DcDictUidInfo* uid = Dict.findUid(xferSyn);
    if (uid == nullptr || uid->type != UID_TYPE_XFER_SYN) {
        return fail(ELEM_XFER_SYNTAX, LOG_NOTICE, reporter, "'%s' is not a Transfer Syntax UID",
                    uid != nullptr ? uid->uid : "");
    }
    settleWaveforms(list, xferSyn);
    DcElem* const pixels = find(list, kTagPixelData);
    const unsigned long long pixelLength = settlePixels(list, pixels, xferSyn);
    ListFramer framer(buf, room, xferSyn, pixels != nullptr, pixelLength, onDisk, lent);
    const int result = framer.run(list.first());
    length = framer.used();
    return result;
}

int DcElemList::encode(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) try {
    return frame(buf, length, xferSyn);
} catch (const std::bad_alloc&) {
    return failMemory("DcElemList::encode");
}

bool ElemAccess::undefinedInStream(const DcElem& e, DICT_UID xferSyn) noexcept {
    return tag(e) == kTagPixelData && syntaxRow(syntaxInStream(e, xferSyn)).delimited;
}
#include <new>
