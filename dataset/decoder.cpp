#include "dataset/decoder.h"

#include <cstring>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/walk.h"
#include "foundation/fail.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

constexpr unsigned int kNoTag = 0xFFFFFFFF;
// Where elements belong, whatever stands there is read as one.
constexpr HeaderRules kRules{.itemsAreElements = true};
constexpr const char* kListReporter = "processElemListDM";
constexpr const char* kSequenceReporter = "processSqValueDM";

// What sequences that fail in an implicit stream may cost, in bytes read again, before decoding gives up.
constexpr unsigned long long kWasteFactor = 16;
constexpr unsigned long long kWasteFree = 16ull << 20;

struct FaultHook {
    DcElemFaultCB callback = nullptr;
    void* context = nullptr;
};
thread_local FaultHook faultHook;

}  // namespace

BlockDecoder::BlockDecoder(std::span<const unsigned char> stream, DICT_UID xferSyn)
    : bytes_(stream),
      xferSyn_(xferSyn),
      streamMode_(Mode::of(xferSyn)),
      mayWaste_(kWasteFree + kWasteFactor * stream.size()) {
    const DcDictUidInfo* const uid = Dict.findUid(xferSyn);
    registered_ = uid != nullptr && uid->type == UID_TYPE_XFER_SYN;
}

int BlockDecoder::run(DcElemList& list) {
    content_ = {&list, bytes_.size(), kNoTag, streamMode_, false};
    for (;;) {
        switch (inItems_ ? stepSequence() : stepContent()) {
            case Step::next:
                break;
            case Step::contentEnds:
                if (levels_.empty()) {
                    if (pos_ < bytes_.size()) {
                        tellFault(ELEM_SHORT_BUFFER, 0, pos_, "bytes left over that are no data element");
                    }
                    return RESULT_OK;
                }
                if (!content_.undefined) pos_ = content_.end;
                inItems_ = true;
                break;
            case Step::failed:
                if (!recover()) return result_;
                break;
        }
    }
}

// ---- elements ---------------------------------------------------------------------------------------------

BlockDecoder::Step BlockDecoder::stepContent() {
    if (left() < kShortHeader) {
        if (content_.undefined) {
            tellFault(UTIL_NO_TERMINATOR, kTagItemDelimitation, pos_, "Item Delimitation missing");
        }
        return Step::contentEnds;
    }
    if (!levels_.empty() && isDelimitation(ahead(), content_.mode.order, kTagItemDelimitation)) {
        pos_ += kShortHeader;
        return Step::contentEnds;
    }
    Found h;
    const Step step = readHead(h);
    return step == Step::next ? readValue(h) : step;
}

BlockDecoder::Step BlockDecoder::readHead(Found& h) {
    h.at = pos_;
    const bool whole = readHeader(ahead(), content_.mode, kRules, h);
    const unsigned int last = content_.lastTag;
    if (last != kNoTag && last >= h.tag && (h.tag == 0 || !Dict.facts(h.tag).known)) {
        logReport(LOG_ERROR, kListReporter, "Elements out of order, last - 0x%08x, this - 0x%08x", last,
                  h.tag);
        result_ = ELEM_VALUE_REFUSED;
        tellFault(result_, h.tag, h.at);
        return Step::failed;
    }
    content_.lastTag = h.tag;

    if (h.mode.explicitVr && h.from == Header::VrFrom::dictionary) {
        char name[64];
        (void)Dict.getDesc(h.tag, name);
        logReport(LOG_VALIDATION, kListReporter, "Invalid VR for %s, substituted VR from Dictionary", name);
        tellFault(RESULT_OK, h.tag, h.at);
    }
    if (!whole) return Step::contentEnds;
    if (!h.mode.explicitVr && h.from == Header::VrFrom::nowhere) {
        const bool item = left() > kLongHeader &&
                          loadTag(bytes_.data() + pos_ + kShortHeader, ByteOrder::little) == kTagItem;
        h.vr = item ? VR_SQ : VR_UN;
    }
    pos_ += h.size;
    return Step::next;
}

BlockDecoder::Step BlockDecoder::readValue(const Found& h) {
    if (h.length != kLengthUndefined && h.length > left()) {
        logReport(LOG_ERROR, kListReporter,
                  "valueLen (0x%08x) exceeds the remaining buffer len (0x%08x) at offset 0x%zx", h.length,
                  static_cast<unsigned int>(left()), pos_);
        result_ = ELEM_VALUE_REFUSED;
        tellFault(result_, h.tag, h.at);
        return Step::failed;
    }
    if (h.vr == VR_SQ) return openSequence(h);
    if (h.length != kLengthUndefined) return takeValue(h, h.length, h.length);
    const std::size_t measured = measureUndefined(h);
    return takeValue(h, measured < kDelimitationSize ? 0 : measured - kDelimitationSize, measured);
}

// The length of a value up to and with its Sequence Delimitation. The search is naive on purpose: it does not
// step over items. Only the value of an UN element is first walked as what it is, a sequence in implicit
// encoding (PS3.5 6.2.2).
std::size_t BlockDecoder::measureUndefined(const Found& h) {
    if (h.vr == VR_UN && wasted_ <= mayWaste_) {
        SpanSource source(bytes_);
        Walker walker(source, h.at, content_.end, h.mode);
        WalkHeader raw;
        // The walker has items and delimitations for what they are, where an element was read here.
        const bool same = walker.peek(raw) == WalkStep::element && raw.valueOffset == pos_ &&
                          raw.length == kLengthUndefined;
        if (same && walker.skip(raw)) return static_cast<std::size_t>(walker.position()) - pos_;
        if (walker.fault() == WalkFault::terminatorMissing) {
            wasted_ += left();  // it was searched for to the end
        } else if (walker.faultOffset() > pos_) {
            wasted_ += walker.faultOffset() - pos_;
        }
    }
    const std::size_t found = findSequenceDelimitation(ahead(), h.mode.order);
    if (found != kNotFound) return found + kDelimitationSize;
    tellFault(UTIL_NO_TERMINATOR, h.tag, h.at, "Sequence Delimitation missing");
    return left() < kDelimitationSize ? left() : left() - (kDelimitationSize - 1);
}

BlockDecoder::Step BlockDecoder::takeValue(const Found& h, std::size_t valueLength, std::size_t advance) {
    auto* e = new DcElem(h.tag, nullptr, 0, UID_NONE, h.vr, 0);
    (void)content_.list->add(e);
    parseInto(e, h, valueLength);
    pos_ += advance;
    return Step::next;
}

// Values are read with the syntax of their header. Raw values that are not encapsulated are plain little
// endian bytes in an encapsulated stream.
void BlockDecoder::parseInto(DcElem* e, const Found& h, std::size_t length) {
    DICT_UID xferSyn = xferSyn_;
    if (h.mode != streamMode_) {
        xferSyn = !h.mode.explicitVr ? UID_LITTLE_ENDIAN_IMPLICIT : UID_LITTLE_ENDIAN_EXPLICIT;
    } else if (h.length != kLengthUndefined && !isUncompressed(xferSyn) && isRawVr(h.vr) && h.vr != VR_UT) {
        xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    }
    // parseVal only reads; its parameter is as callers of the 32-bit build know it.
    auto* value = const_cast<unsigned char*>(bytes_.data() + pos_);
    const DICT_VR vr = ElemAccess::vr(*e);
    const bool fresh = ElemAccess::store(*e).count == 0;  // no group length, which begins with a zero
    const bool plain = fresh && registered_ && xferSyn == xferSyn_ && length != 0 && !isRawVr(vr);
    const int result = plain ? ElemAccess::parse(*e, vr, {value, length}, h.mode.order)
                             : e->parseVal(value, static_cast<unsigned int>(length), xferSyn);
    if (result == RESULT_OK) return;
    if (result != ELEM_EMPTY_VALUE) tellFault(result, h.tag, h.at);
    if (result == ELEM_REFUSED || result == ELEM_NO_MEMORY) {
        (void)content_.list->subtract(e);
        delete e;
    }
}

// ---- sequences --------------------------------------------------------------------------------------------

BlockDecoder::Step BlockDecoder::openSequence(const Found& h) {
    if (levels_.size() >= static_cast<std::size_t>(ELEM_MAX_NESTING)) {
        logReport(LOG_ERROR, kListReporter, "Sequences nested deeper than %d levels at offset 0x%zx",
                  ELEM_MAX_NESTING, pos_);
        result_ = ELEM_VALUE_REFUSED;
        fatal_ = true;
        tellFault(result_, h.tag, h.at);
        return Step::failed;
    }
    auto* sq = new DcElemSq(h.tag);
    (void)content_.list->add(sq);
    const bool undefined = h.length == kLengthUndefined;
    const std::size_t end = undefined ? content_.end : pos_ + h.length;
    levels_.push_back({sq, pos_, end, h.mode, undefined, 0, content_});
    content_.end = end;
    content_.mode = h.mode;
    inItems_ = true;
    if (failed_.contains({pos_, end})) {
        result_ = ELEM_VALUE_REFUSED;
        return Step::failed;
    }
    return Step::next;
}

// Between two items, or before the first or behind the last.
BlockDecoder::Step BlockDecoder::stepSequence() {
    Level& level = levels_.back();
    content_.end = level.end;
    const ByteOrder order = level.mode.order;
    if (left() < kShortHeader) {
        if (level.undefined) {
            tellFault(UTIL_NO_TERMINATOR, ElemAccess::tag(*level.sq), level.valueAt,
                      "Sequence Delimitation missing");
        }
        closeSequence();
        return Step::next;
    }
    if (isDelimitation(ahead(), order, kTagSequenceDelimitation)) {
        pos_ += kShortHeader;
        closeSequence();
        return Step::next;
    }
    const unsigned int tag = loadTag(bytes_.data() + pos_, order);
    if (tag != kTagItem) {
        logReport(LOG_NOTICE, kSequenceReporter,
                  "Invalid tag 0x%04x, expecting Sequence Item at offset 0x%zx", tag, pos_);
        result_ = UTIL_MALFORMED;
        tellFault(result_, tag, pos_);
        return Step::failed;
    }
    const unsigned int length = loadAt<std::uint32_t>(bytes_.data() + pos_ + 4, order);
    if (length != kLengthUndefined && length > left() - kShortHeader) {
        logReport(LOG_ERROR, kListReporter,
                  "valueLen (0x%08x) exceeds the remaining buffer len (0x%08x) at offset 0x%zx", length,
                  static_cast<unsigned int>(left() - kShortHeader), pos_ + kShortHeader);
        result_ = ELEM_VALUE_REFUSED;
        tellFault(result_, tag, pos_);
        return Step::failed;
    }
    pos_ += kShortHeader;
    auto* item = new DcElemSqItem();
    DcElemList& list = item->getElemList();
    (void)list.registerValueExceptionCB(ElemAccess::exceptionContext(*level.sq),
                                        ElemAccess::exceptionCB(*level.sq));
    (void)ElemListAccess::append(*level.sq, item);
    ++level.item;
    const bool undefined = length == kLengthUndefined;
    content_ = {&list, undefined ? level.end : pos_ + length, kNoTag, level.mode, undefined};
    inItems_ = false;
    return Step::next;
}

void BlockDecoder::closeSequence() {
    const Level& level = levels_.back();
    if (!level.undefined) pos_ = level.end;
    content_ = level.outer;
    levels_.pop_back();
    inItems_ = false;
}

// After a failure: in an implicit stream the innermost open sequence becomes an UN element that holds its raw
// bytes, and reading goes on behind it. In an explicit one the failure ends every sequence whose length is
// undefined; behind one of defined length, which keeps the items it has, reading goes on.
bool BlockDecoder::recover() {
    if (fatal_) return false;
    if (xferSyn_ != UID_LITTLE_ENDIAN_IMPLICIT) {
        while (!levels_.empty() && levels_.back().undefined) closeSequence();
        if (levels_.empty()) return false;
        closeSequence();
        return true;
    }
    if (levels_.empty()) return false;
    const Level level = levels_.back();
    levels_.pop_back();
    failed_.insert({level.valueAt, level.end});
    wasted_ += pos_ - level.valueAt;
    if (wasted_ > mayWaste_) {
        logReport(LOG_ERROR, kListReporter, "Too many damaged sequences, given up at offset 0x%zx", pos_);
        tellFault(result_, ElemAccess::tag(*level.sq), level.valueAt);
        fatal_ = true;
        return false;
    }
    content_ = level.outer;
    inItems_ = false;
    pos_ = level.valueAt;
    Found h;
    h.tag = ElemAccess::tag(*level.sq);
    h.vr = VR_UN;
    h.mode = level.mode;
    h.at = level.valueAt - (level.mode.explicitVr ? kLongHeader : kShortHeader);
    h.length = level.undefined ? kLengthUndefined : static_cast<unsigned int>(level.end - level.valueAt);
    (void)content_.list->subtract(level.sq);
    delete level.sq;
    const Step step = readValue(h);
    (void)step;  // the length was checked when the sequence was opened
    return true;
}

// ---- faults -----------------------------------------------------------------------------------------------

void BlockDecoder::tellFault(int result, unsigned int tag, std::size_t at, const char* text) {
    if (faultHook.callback == nullptr) return;
    std::vector<unsigned int> path;
    path.reserve(levels_.size() * 2 + 1);
    for (const Level& level : levels_) {
        path.push_back(ElemAccess::tag(*level.sq));
        path.push_back(static_cast<unsigned int>(level.item));
    }
    path.push_back(tag);
    const DcElemFault fault{result, static_cast<unsigned int>(at), path.data(), static_cast<int>(path.size()),
                            text != nullptr ? text : lastMessage()};
    faultHook.callback(faultHook.context, fault);
}

void tellElemFault(const DcElemFault& fault) {
    if (faultHook.callback != nullptr) faultHook.callback(faultHook.context, fault);
}

}  // namespace orvkit

int elemListRegisterFaultCB(void* context, DcElemFaultCB callback) {
    orvkit::faultHook = {callback, context};
    return RESULT_OK;
}

int DcElemList::decode(void* buf, unsigned int& length, DICT_UID xferSyn) {
    if (buf == nullptr) {
        // The reporter's name is as it always was.
        return orvkit::fail(ELEM_NULL_ARGUMENT, LOG_ERROR, "utilGetElemInfo", "null argument passed");
    }
    try {
        orvkit::BlockDecoder decoder({static_cast<const unsigned char*>(buf), length}, xferSyn);
        const int result = decoder.run(*this);
        length = static_cast<unsigned int>(decoder.position());
        return result;
    } catch (const std::bad_alloc&) {
        return orvkit::fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElemList::decode", "out of memory");
    }
}
