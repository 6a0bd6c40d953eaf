// Sequences and their items (PS3.5 7.5).
#include "orvkit/sequence.h"

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/fail.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"

using orvkit::ByteOrder;
using orvkit::ElemAccess;
using orvkit::ElemListAccess;
using orvkit::fail;

namespace {

constexpr unsigned int kIconImageSequence = 0x00880200;
constexpr unsigned int kItemHeader = orvkit::kShortHeader;

int failSequenceTooLarge() {
    return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElemSq::frame", "Sequence is larger than 0x%x bytes",
                orvkit::kMostRoom);
}

unsigned int saturatingAdd(unsigned int a, unsigned int b) {
    return a > 0xFFFFFFFF - b ? 0xFFFFFFFF : a + b;
}

}  // namespace

// ---- items --------------------------------------------------------------------------------------------

DcElemSqItem::DcElemSqItem(void* buf, unsigned int length, DICT_UID xferSyn, DICT_VR) {
    if (buf != nullptr) orvkit::needMemory(list_.parse(buf, length, xferSyn));
}

DcElemSqItem::~DcElemSqItem() = default;

DcElemSqItem* DcElemSqItem::next() const {
    return static_cast<DcElemSqItem*>(DcNode::next());
}
DcElemSqItem* DcElemSqItem::previous() const {
    return static_cast<DcElemSqItem*>(DcNode::previous());
}

int DcElemSqItem::frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) try {
    return ElemListAccess::frame(*this, buf, orvkit::kMostRoom, length, xferSyn);
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcElemSqItem::frame");
}

int ElemListAccess::frame(DcElemSqItem& item, unsigned char* buf, unsigned int room, unsigned int& length,
                          DICT_UID xferSyn) {
    length = 0;
    if (buf == nullptr) {
        return fail(ITEM_NULL_BUFFER, LOG_VALIDATION, "DcElemSqItem::frame", "Null argument passed");
    }
    unsigned int content = 0;
    const int result = frame(item.list_, buf + kItemHeader, room - kItemHeader, content, xferSyn);
    orvkit::ByteWriter w({buf, kItemHeader}, orvkit::syntaxRow(xferSyn).order);
    orvkit::writeItem(w, content);
    length = kItemHeader + content;
    return result;
}

int DcElemSqItem::getBufSize(unsigned int& size, unsigned int excludedTag) {
    const int result = list_.getBufSize(size, excludedTag);
    size = saturatingAdd(size, kItemHeader);
    return result;
}

int DcElemSqItem::getBufSize(unsigned int& size, unsigned int* excluded) {
    const int result = list_.getBufSize(size, excluded);
    size = saturatingAdd(size, kItemHeader);
    return result;
}

DcElemSqItem& DcElemSqItem::operator+(DcElem* element) {
    (void)list_.add(element);
    return *this;
}

DcElemSqItem& DcElemSqItem::operator-(DcElem* element) {
    (void)list_.subtract(element);
    return *this;
}

DcElemSqItem& DcElemSqItem::operator+(DcElemList* elements) {
    (void)list_.add(elements);
    return *this;
}

// An icon whose length is that of native pixels is native, whatever the image around it is (PS3.3 C.7.6.1).
// Otherwise its buffers keep the stream's syntax.
int DcElemSqItem::processIconImage() try {
    constexpr const char* reporter = "DcElemSqItem::processIconImage";
    DcElem* pixels = nullptr;
    if (list_.getElem(0x7FE00010, &pixels) != RESULT_OK) return RESULT_OK;
    unsigned short rows = 0;
    unsigned short columns = 0;
    unsigned short bitsStored = 0;
    const bool haveRows = list_.getValue(0x00280010u, rows, 0) == RESULT_OK;
    const bool haveColumns = list_.getValue(0x00280011u, columns, 0) == RESULT_OK;
    const bool haveBits = list_.getValue(0x00280101u, bitsStored, 0) == RESULT_OK;
    if (!haveRows) logReport(LOG_VALIDATION, reporter, "Missing or invalid T_0028_0010_rows");
    if (!haveColumns) logReport(LOG_VALIDATION, reporter, "Missing or invalid T_0028_0011_columns");
    if (!haveRows || !haveColumns || !haveBits) {
        // Also said after a missing rows or columns: kept for readers of the log.
        return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, reporter,
                    "Missing or invalid T_0028_0101_bitsStored");
    }
    const unsigned int bytes = bitsStored < 9 ? 1 : 2;
    if (ElemAccess::rawLength(*pixels) != 1ull * bytes * rows * columns) return RESULT_OK;
    if (!orvkit::isRawVr(ElemAccess::vr(*pixels))) return RESULT_OK;
    ElemAccess::setVr(*pixels, bytes == 1 ? VR_OB : VR_OW);
    for (DcBuf* b = ElemAccess::firstBuf(*pixels); b != nullptr; b = b->next()) {
        if (bytes == 2 && orvkit::syntaxRow(b->getXferSyn()).order == ByteOrder::big &&
            b->getBuf() != nullptr) {
            orvkit::swapUnits({static_cast<unsigned char*>(b->getBuf()), b->getLen()}, 2);
        }
        b->setXferSyn(UID_LITTLE_ENDIAN_EXPLICIT);
    }
    ElemAccess::setXferSyn(*pixels, UID_LITTLE_ENDIAN_EXPLICIT);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcElemSqItem::processIconImage");
}

// ---- sequences ----------------------------------------------------------------------------------------

DcElemSq::DcElemSq(unsigned int tag, void* buf, unsigned int length, DICT_UID xferSyn, DICT_VR vr)
    : DcElem(tag, nullptr, 0, UID_NONE, vr, 1) {
    if (vr == VR_IM && ((tag >> 16) & 1) == 0 && Dict.facts(tag).vr != VR_SQ) {
        logReport(LOG_VALIDATION, "DcElemSq::DcElemSq", "Element 0x%08lx is not of type SQ",
                  static_cast<unsigned long>(tag));
    }
    ElemAccess::settle(*this, DcElemSq::parseVal(buf, length, xferSyn));
}

DcElemSq::DcElemSq(unsigned short group, unsigned short element, void* buf, unsigned int length,
                   DICT_UID xferSyn, DICT_VR vr)
    : DcElemSq((static_cast<unsigned int>(group) << 16) | element, buf, length, xferSyn, vr) {}

DcElemSq::~DcElemSq() = default;

bool ElemAccess::isElemSq(const DcElem& e) noexcept {
    return dynamic_cast<const DcElemSq*>(&e) != nullptr;
}

DcElemSqItem* DcElemSq::first() const {
    return static_cast<DcElemSqItem*>(DcList::first());
}
DcElemSqItem* DcElemSq::last() const {
    return static_cast<DcElemSqItem*>(DcList::last());
}

DcElemSqItem* DcElemSq::append(DcElemSqItem* item) {
    return static_cast<DcElemSqItem*>(DcList::add(item));
}

DcElemSqItem* DcElemSq::add(DcElemSqItem* item) {
    if (item == nullptr) return nullptr;
    // The dictionary's list of tags is consulted, not enforced: only its refusal counts.
    unsigned int expected[64];
    if (Dict.getSqTagList(effectiveTag(), expected) != RESULT_OK) {
        delete item;
        return nullptr;
    }
    return append(item);
}

DcElemSq& DcElemSq::operator+(DcElemSqItem* item) {
    (void)add(item);
    return *this;
}

DcElemSq& DcElemSq::operator-(DcElemSqItem* item) {
    (void)DcList::subtract(item);
    return *this;
}

int DcElemSq::resetValueCounter() {
    for (DcElemSqItem* item = first(); item != nullptr; item = item->next()) {
        (void)item->getElemList().resetValueCounter();
    }
    return DcElem::resetValueCounter();
}

int DcElemSq::getBufSize(unsigned int& size, unsigned int) {
    return DcElemSq::getBufSize(size, static_cast<unsigned int*>(nullptr));
}

// What a caller leaves out of the data set still stands in the items, and is framed with them.
int DcElemSq::getBufSize(unsigned int& size, unsigned int*) {
    size = 12;
    for (DcElemSqItem* item = first(); item != nullptr; item = item->next()) {
        unsigned int each = 0;
        (void)item->getBufSize(each, static_cast<unsigned int*>(nullptr));
        size = saturatingAdd(size, each);
    }
    return RESULT_OK;
}

int DcElemSq::frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) try {
    return ElemListAccess::frame(*this, buf, orvkit::kMostRoom, length, xferSyn);
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcElemSq::frame");
}

int ElemListAccess::frame(DcElemSq& sq, unsigned char* buf, unsigned int room, unsigned int& length,
                          DICT_UID xferSyn) {
    length = 0;
    if (buf == nullptr) {
        return fail(ELEM_NULL_ARGUMENT, LOG_NOTICE, "DcElemSq::frame", "Null argument passed");
    }
    if (ElemAccess::vr(sq) != VR_SQ) {
        const unsigned int tag = ElemAccess::effectiveTag(sq);
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElemSq::frame", "Element (%04x,%04x) is not a sequence",
                    tag >> 16, tag & 0xFFFF);
    }
    if (room < orvkit::kLongHeader) return failSequenceTooLarge();
    const orvkit::Mode mode = orvkit::Mode::of(xferSyn);
    const auto header =
        static_cast<unsigned int>(mode.explicitVr ? orvkit::kLongHeader : orvkit::kShortHeader);
    unsigned int used = header;
    int result = RESULT_OK;
    for (DcElemSqItem* item = sq.first(); item != nullptr && result == RESULT_OK; item = item->next()) {
        unsigned int itemLength = 0;
        result = room - used < kItemHeader ? failSequenceTooLarge()
                                           : frame(*item, buf + used, room - used, itemLength, xferSyn);
        used += itemLength;
    }
    orvkit::ByteWriter w({buf, header}, mode.order);
    orvkit::writeHeader(w, mode, ElemAccess::tag(sq), VR_SQ, used - header);
    length = used;
    return result;
}

int DcElemSq::parseVal(void* buf, unsigned int length, DICT_UID xferSyn) try {
    constexpr const char* reporter = "DcElemSq::parseVal";
    if (buf == nullptr) return ELEM_NULL_ARGUMENT;
    if (length == 0) return RESULT_OK;
    ARCH_ENDIAN endian;
    if (Dict.getEndian(xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    const ByteOrder order = endian == ENDIAN_BIG ? ByteOrder::big : ByteOrder::little;
    const unsigned int group = effectiveTag() >> 16;
    const unsigned int element = effectiveTag() & 0xFFFF;
    if (length == orvkit::kLengthUndefined) {
        return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, reporter,
                    "Element (%04x,%04x) - Data error, undefined length encountered", group, element);
    }

    auto* p = static_cast<unsigned char*>(buf);
    unsigned int left = length;
    while (left >= kItemHeader) {
        if (orvkit::loadTag(p, order) != orvkit::kTagItem) {
            return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, reporter,
                        "Element (%04x,%04x) - Data error, did not find the expected sequence item tag",
                        group, element);
        }
        unsigned int itemLength = 0;
        int extra = 0;
        int result = utilGetSqItemValLen(p + 4, left - 4, xferSyn, itemLength, extra);
        if (result != RESULT_OK) {
            return fail(result, LOG_VALIDATION, reporter, "SQ item length invalid for element (%04x,%04x)",
                        group, element);
        }
        p += kItemHeader;
        left -= kItemHeader;
        if (itemLength > left) {
            return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, reporter,
                        "Item length %d(0x%x) exceeds buffer length %d(0x%x)", static_cast<int>(itemLength),
                        itemLength, static_cast<int>(left), left);
        }
        auto* item = new DcElemSqItem();
        (void)item->list_.registerValueExceptionCB(exceptionContext_, exceptionCB_);
        unsigned int consumed = itemLength;
        result = item->list_.parse(p, consumed, xferSyn);
        if (result == ELEM_REFUSED || result == ELEM_NO_MEMORY) {
            delete item;
            return result;
        }
        (void)append(item);
        if (effectiveTag() == kIconImageSequence) (void)item->processIconImage();
        p += itemLength;
        left -= itemLength;
        if (orvkit::isDelimitation({p, left}, order, orvkit::kTagItemDelimitation)) {
            p += kItemHeader;
            left -= kItemHeader;
        }
    }
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return orvkit::failMemory("DcElemSq::parseVal");
}
#include <new>
