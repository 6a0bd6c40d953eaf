// What the parts of the data set code need of an element beyond its public interface.
#ifndef ORVKIT_DATASET_ELEM_ACCESS_H
#define ORVKIT_DATASET_ELEM_ACCESS_H

#include <span>
#include <string_view>

#include "dataset/value_store.h"
#include "dictionary/syntax_table.h"
#include "dictionary/vr_table.h"
#include "orvkit/elem.h"

namespace orvkit {

struct ElemAccess {
    // For constructors: throws std::bad_alloc for the code that stands for it.
    static void settle(DcElem& e, int result);
    static const ElemStore& store(const DcElem& e) noexcept { return e.store_; }
    static ElemStore& store(DcElem& e) noexcept { return e.store_; }
    static DcBuf* firstBuf(const DcElem& e) noexcept { return e.store_.raw ? e.store_.firstBuf : nullptr; }
    static unsigned int tag(const DcElem& e) noexcept { return e.tag_; }
    // The tag that decides VR and byte order: the pushed one when there is one.
    static unsigned int effectiveTag(const DcElem& e) noexcept {
        return e.pushedTag_ != 0 ? e.pushedTag_ : e.tag_;
    }
    // The VR, with VR_IM resolved through the dictionary.
    static DICT_VR vr(const DcElem& e) noexcept {
        return e.vr_ == VR_IM ? resolvedVr(e) : static_cast<DICT_VR>(e.vr_);
    }
    // Of the VR as it stands: an ambiguous one has neither.
    static unsigned int vrLen(const DcElem& e) noexcept {
        return static_cast<unsigned int>(vrRow(static_cast<DICT_VR>(e.vr_)).facts.length);
    }
    static DICT_VR_SIZE vrSize(const DcElem& e) noexcept {
        return e.vr_ == VR_UNKNOWN ? VR_SIZE_NONE : vrRow(static_cast<DICT_VR>(e.vr_)).facts.size;
    }
    static int counter(const DcElem& e) noexcept { return e.counter_; }
    static void setCounter(DcElem& e, int c) noexcept { e.counter_ = c; }
    static void setVr(DcElem& e, DICT_VR vr) noexcept;
    // Of a VR that nobody knows, as Header has them.
    static std::uint16_t letters(const DcElem& e) noexcept { return e.letters_; }
    static void setLetters(DcElem& e, std::uint16_t letters) noexcept { e.letters_ = letters & 0x7FFF; }
    static void setXferSyn(DcElem& e, DICT_UID x) noexcept { e.xferSyn_ = x; }
    // Whether it is a DcElemSq: anyone can pass the flag, which alone does not make one.
    static bool isSequence(const DcElem& e) noexcept { return e.sequenceFlag_ != 0 && isElemSq(e); }
    static bool isElemSq(const DcElem& e) noexcept;
    static DcElemValueExceptionCB exceptionCB(const DcElem& e) noexcept { return e.exceptionCB_; }
    static void* exceptionContext(const DcElem& e) noexcept { return e.exceptionContext_; }
    [[nodiscard]] static int addValueFmtBuf(DcElem& e, const void* data, unsigned int size, int index,
                                            bool binary) {
        return e.addValueFmtBuf(data, size, index, binary);
    }
    // The text added as one value: checks, callback, truncation.
    [[nodiscard]] static int addValueStrg(DcElem& e, std::string_view text, int index) {
        return e.addValueStrg(text.data(), static_cast<unsigned int>(text.size()), index);
    }
    // addValue(const char*, index) on a text that need not end in a NUL: it ends at its first NUL or at its
    // end. The path that decoding takes.
    [[nodiscard]] static int addText(DcElem& e, std::string_view text, int index);
    // parseVal for an element that has no values yet, and whose VR is not raw.
    [[nodiscard]] static int parse(DcElem& e, DICT_VR vr, std::span<const unsigned char> bytes,
                                   ByteOrder order);
    // A raw element whose buffers are all files or all handles: frame leaves their bytes to its caller.
    static bool isOnDisk(const DcElem& e) noexcept;
    // Bytes in a unit of the values where the byte order differs between two syntaxes, else 1.
    static unsigned int swapUnit(DICT_VR vr, DICT_UID from, DICT_UID to) noexcept {
        return syntaxRow(from).order == syntaxRow(to).order ? 1 : vrUnit(vr);
    }
    // The delimiter that pixel data in memory gets when it is written encapsulated. What carries explicit
    // little endian never is.
    static unsigned int delimiterRoom(const DcElem& e) noexcept;
    // Total bytes of the raw buffers, of whatever kind.
    static unsigned long long rawLength(const DcElem& e) noexcept;
    // A bound in constant time of what frame writes for an element that is no sequence.
    static unsigned long long frameBound(const DcElem& e) noexcept;
    // frame within a data set: the byte order is the stream's always, and raw values are brought to it.
    // `leaveValue`: raw bytes in memory are left to the caller, what stands around them is written.
    [[nodiscard]] static int frameInStream(DcElem& e, unsigned char* buf, unsigned int& length,
                                           DICT_UID xferSyn, bool leaveValue = false);
    // The syntax an element is written in within a stream: its own, as for icons of native pixels in an
    // encapsulated stream, where the byte order allows it.
    static DICT_UID syntaxInStream(const DcElem& e, DICT_UID xferSyn) noexcept;
    // Whether it is Pixel Data of undefined length there, which a delimiter ends.
    static bool undefinedInStream(const DcElem& e, DICT_UID xferSyn) noexcept;
    static int deepCopy(const DcElem& e, DICT_VR_SIZE& size, int& vrLength, void*** values) {
        return e.getValue(size, vrLength, values);
    }

  private:
    static DICT_VR resolvedVr(const DcElem& e) noexcept;
};

}  // namespace orvkit

#endif
