// Decoding: a data set is built from what the walk into a stream tells.
#include "dataset/decoder.h"

#include <new>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/descent.h"
#include "foundation/fail.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

static_assert(kMostNesting == static_cast<std::size_t>(ELEM_MAX_NESTING));

constexpr const char* kListReporter = "processElemListDM";
constexpr const char* kSequenceReporter = "processSqValueDM";

struct FaultHook {
    DcElemFaultCB callback = nullptr;
    void* context = nullptr;
};
thread_local FaultHook faultHook;

class Builder {
  public:
    Builder(DcElemList& list, std::span<const unsigned char> stream, DICT_UID xferSyn)
        : list_(&list),
          xferSyn_(xferSyn),
          streamMode_(modeAsItLies(xferSyn, stream)),
          walk_(stream, streamMode_,
                xferSyn == UID_LITTLE_ENDIAN_IMPLICIT ? AfterFailure::takesBytes
                                                      : AfterFailure::skipsKnownLength,
                *this) {
        const DcDictUidInfo* const uid = Dict.findUid(xferSyn);
        registered_ = uid != nullptr && uid->type == UID_TYPE_XFER_SYN;
    }

    int run() { return walk_.run() ? RESULT_OK : result_; }
    std::size_t position() const { return walk_.position(); }

    void substituted(const WalkHeader& h) {
        char name[64];
        (void)Dict.getDesc(h.tag, name);
        logReport(LOG_VALIDATION, kListReporter, "Invalid VR for %s, substituted VR from Dictionary", name);
        tell(RESULT_OK, h.tag, static_cast<std::size_t>(h.offset));
    }
    void value(const WalkHeader& h, std::span<const unsigned char> bytes) {
        auto* e = new DcElem(h.tag, nullptr, 0, UID_NONE, h.vr, 0);
        ElemAccess::setLetters(*e, h.letters);
        (void)list_->add(e);
        const int result = parse(*e, h, bytes);
        if (result == RESULT_OK) return;
        if (result != ELEM_EMPTY_VALUE) tell(result, h.tag, static_cast<std::size_t>(h.offset));
        if (result == ELEM_REFUSED || result == ELEM_NO_MEMORY) {
            (void)list_->subtract(e);
            delete e;
        }
    }
    void sequence(unsigned int tag) {
        auto* sq = new DcElemSq(tag);
        (void)list_->add(sq);
        open_.push_back({sq, list_});
    }
    void item() {
        DcElemSq& sq = *open_.back().sq;
        auto* item = new DcElemSqItem();
        list_ = &item->getElemList();
        (void)list_->registerValueExceptionCB(ElemAccess::exceptionContext(sq), ElemAccess::exceptionCB(sq));
        (void)ElemListAccess::append(sq, item);
    }
    void endSequence() {
        list_ = open_.back().outer;
        open_.pop_back();
    }
    void dropSequence() {
        DcElemSq* const sq = open_.back().sq;
        endSequence();
        (void)list_->subtract(sq);
        delete sq;
    }
    void fault(const DescentFault& f);

  private:
    struct Open {
        DcElemSq* sq;
        DcElemList* outer;  // in which it stands
    };

    int parse(DcElem& e, const WalkHeader& h, std::span<const unsigned char> bytes);
    void refuse(int result, const DescentFault& f) {
        result_ = result;
        tell(result, f.tag, f.at);
    }
    void tell(int result, unsigned int tag, std::size_t at, const char* text = nullptr);

    DcElemList* list_;
    std::vector<Open> open_;
    DICT_UID xferSyn_;
    Mode streamMode_;
    bool registered_;  // the dictionary knows the syntax
    int result_ = RESULT_OK;
    Descent<Builder> walk_;
};

// Values are read with the syntax of their header. Raw values that are not encapsulated are plain little
// endian bytes in an encapsulated stream.
int Builder::parse(DcElem& e, const WalkHeader& h, std::span<const unsigned char> bytes) {
    DICT_UID xferSyn = xferSyn_;
    if (h.mode != streamMode_) {
        xferSyn = !h.mode.explicitVr ? UID_LITTLE_ENDIAN_IMPLICIT : UID_LITTLE_ENDIAN_EXPLICIT;
    } else if (h.length != kLengthUndefined && !isUncompressed(xferSyn) && isRawVr(h.vr) && h.vr != VR_UT) {
        xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    }
    const DICT_VR vr = ElemAccess::vr(e);
    const bool fresh = ElemAccess::store(e).count == 0;  // no group length, which begins with a zero
    if (fresh && registered_ && xferSyn == xferSyn_ && !bytes.empty() && !isRawVr(vr)) {
        return ElemAccess::parse(e, vr, bytes, h.mode.order);
    }
    // parseVal only reads; its parameter is as callers of the 32-bit build know it.
    return e.parseVal(const_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()),
                      xferSyn);
}

void Builder::fault(const DescentFault& f) {
    using Kind = DescentFault::Kind;
    switch (f.kind) {
        case Kind::leftOver:
            return tell(ELEM_SHORT_BUFFER, f.tag, f.at, "bytes left over that are no data element");
        case Kind::itemEndMissing:
            return tell(UTIL_NO_TERMINATOR, f.tag, f.at, "Item Delimitation missing");
        case Kind::sequenceEndMissing:
        case Kind::valueEndMissing:
            return tell(UTIL_NO_TERMINATOR, f.tag, f.at, "Sequence Delimitation missing");
        case Kind::outOfOrder:
            logReport(LOG_ERROR, kListReporter, "Elements out of order, last - 0x%08x, this - 0x%08x",
                      f.previous, f.tag);
            return refuse(ELEM_VALUE_REFUSED, f);
        case Kind::lengthPastEnd:
            logReport(LOG_ERROR, kListReporter,
                      "valueLen (0x%08x) exceeds the remaining buffer len (0x%08x) at offset 0x%zx", f.length,
                      static_cast<unsigned int>(f.left), f.valueAt);
            return refuse(ELEM_VALUE_REFUSED, f);
        case Kind::itemExpected:
            logReport(LOG_NOTICE, kSequenceReporter,
                      "Invalid tag 0x%04x, expecting Sequence Item at offset 0x%zx", f.tag, f.at);
            return refuse(UTIL_MALFORMED, f);
        case Kind::failedBefore:
            result_ = ELEM_VALUE_REFUSED;
            return;
        case Kind::tooDeep:
            logReport(LOG_ERROR, kListReporter, "Sequences nested deeper than %d levels at offset 0x%zx",
                      ELEM_MAX_NESTING, f.valueAt);
            return refuse(ELEM_VALUE_REFUSED, f);
        case Kind::wasteful:
            logReport(LOG_ERROR, kListReporter, "Too many damaged sequences, given up at offset 0x%zx",
                      f.valueAt);
            return tell(result_, f.tag, f.at);
    }
}

void Builder::tell(int result, unsigned int tag, std::size_t at, const char* text) {
    if (faultHook.callback == nullptr) return;
    std::vector<unsigned int> path = walk_.path();
    path.push_back(tag);
    tellElemFault({result, static_cast<unsigned int>(at), path.data(), static_cast<int>(path.size()),
                   text != nullptr ? text : lastMessage()});
}

}  // namespace

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
        orvkit::Builder builder(*this, {static_cast<const unsigned char*>(buf), length}, xferSyn);
        const int result = builder.run();
        length = static_cast<unsigned int>(builder.position());
        return result;
    } catch (const std::bad_alloc&) {
        return orvkit::fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElemList::decode", "out of memory");
    }
}
