// One element to bytes (PS3.5 7.1 and 8).
#include <algorithm>
#include <bit>

#include "dataset/elem_access.h"
#include "encoding/header.h"
#include "foundation/fail.h"
#include "orvkit/edition.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"

using namespace orvkit;

namespace {

constexpr ByteOrder kHostOrder = std::endian::native == std::endian::big ? ByteOrder::big : ByteOrder::little;

// Writes one element. `inStream`: as part of a data set, whose byte order rules; alone, the element's own
// syntax does. `leaveValue`: without raw bytes that are in memory.
class Framer {
  public:
    Framer(DcElem& elem, unsigned char* buf, unsigned long long bound, DICT_UID xferSyn, bool inStream,
           bool leaveValue = false)
        : elem_(elem),
          tag_(ElemAccess::tag(elem)),
          vr_(ElemAccess::vr(elem)),
          buf_(buf),
          mode_(Mode::of(xferSyn)),
          writer_({buf, static_cast<std::size_t>(bound)}, mode_.order),
          delimited_(tag_ == kTagPixelData && syntaxRow(xferSyn).delimited),
          inStream_(inStream),
          leaveValue_(leaveValue) {}

    int run(unsigned int& length) {
        const int result = isRawVr(vr_) ? putRaw() : putValues();
        length = static_cast<unsigned int>(writer_.offset());
        return result;
    }

  private:
    void putHeader(unsigned int length) { writeHeader(writer_, mode_, tag_, vr_, length, letters()); }

    // Those of a VR that nobody knows go into the byte order that they came in: nobody can change it.
    std::uint16_t letters() const {
        const DcBuf* const value = ElemAccess::firstBuf(elem_);
        const bool same = value == nullptr || syntaxRow(value->getXferSyn()).order == mode_.order;
        return same && vr_ == VR_UN ? ElemAccess::letters(elem_) : std::uint16_t{0};
    }

    int failLength(unsigned long long length) const {
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElem::frameValueOX",
                    "Element (%04x,%04x) - Value Length 0x%llx is too large", tag_ >> 16, tag_ & 0xFFFF,
                    length);
    }

    int putValues() {
        const ElemStore& store = ElemAccess::store(elem_);
        if (store.count == 0) {
            putHeader(0);
            return RESULT_OK;
        }
        const VrRow& row = vrRow(vr_);
        if (row.facts.size == VR_SIZE_NONE) {
            putHeader(0);
            return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::frameValueNonOX",
                        "Element (%04x,%04x) - Invalid VR size", tag_ >> 16, tag_ & 0xFFFF);
        }
        const bool text = row.facts.size == VR_SIZE_CHAR;
        // The last NUL of texts, or the padding in its place, makes their length even.
        const unsigned int length = text ? store.used - (store.used & 1) : store.used;
        const bool fits = lengthFits(mode_, vr_, length);
        const bool refused = !fits && dictGetEdition() == DICT_EDITION_2008;
        // What is too long for its VR's header goes out as UN, whose header has room (PS3.5 6.2.2); in the
        // edition of 2008 it stands there without a length.
        writeHeader(writer_, mode_, tag_, fits || refused ? vr_ : VR_UN, refused ? 0 : length);
        unsigned char* const at = buf_ + writer_.offset();
        writer_.bytes(storeBytes(store).data(), length);
        if (text) {
            settleTexts(store, at, length, row.padding);
        } else if (row.kind == Kind::tagged) {
            settleTags({at, length});
        } else if (mode_.order != kHostOrder) {
            swapUnits({at, length}, vrUnit(vr_));
        }
        if (!refused) return RESULT_OK;
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElem::frameValueLen",
                    "Element (%04x,%04x) - Value Length 0x%x is too large for Explicit Transfer Syntax",
                    tag_ >> 16, tag_ & 0xFFFF, length);
    }

    // The NULs between the values become backslashes, the last one the padding (PS3.5 6.2).
    static void settleTexts(const ElemStore& store, unsigned char* at, unsigned int length, char padding) {
        if (store.count > 1)
            std::replace(at, at + store.used - 1, static_cast<unsigned char>(0),
                         static_cast<unsigned char>('\\'));
        if (length == store.used) at[length - 1] = static_cast<unsigned char>(padding);
    }

    void settleTags(std::span<unsigned char> bytes) const {
        for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
            storeTag(bytes.data() + i, loadAt<std::uint32_t>(bytes.data() + i, kHostOrder), mode_.order);
        }
    }

    int putRaw() {
        DcBuf* const first = ElemAccess::firstBuf(elem_);
        unsigned long long total = 0;
        for (DcBuf* b = first; b != nullptr; b = b->next()) {
            if (b->getType() != first->getType()) {
                putHeader(0);
                return fail(RESULT_OK, LOG_ERROR, "DcElem::frameValueOX",
                            "Element (%04x,%04x) - mixed memory/disk buffers, not processed", tag_ >> 16,
                            tag_ & 0xFFFF);
            }
            if (b->getType() != BUF_MEMORY || b->getBuf() != nullptr) total += b->getLen64();
        }
        if (first == nullptr) {
            putHeader(0);
            return ELEM_EMPTY_VALUE;
        }
        if (total >= kLengthUndefined && !delimited_) {
            putHeader(0);
            return failLength(total);
        }
        putHeader(delimited_ ? kLengthUndefined : static_cast<unsigned int>(total));
        if (first->getType() != BUF_MEMORY) return RESULT_OK;
        if (!leaveValue_) {
            for (DcBuf* b = first; b != nullptr; b = b->next()) putMemory(*b);
        }
        if (delimited_) writer_.bytes(kPixelDataEnd, sizeof kPixelDataEnd);
        return RESULT_OK;
    }

    void putMemory(DcBuf& b) {
        if (b.getBuf() == nullptr) return;
        unsigned char* const at = buf_ + writer_.offset();
        writer_.bytes(b.getBuf(), b.getLen());
        if (inStream_ && syntaxRow(b.getXferSyn()).order != mode_.order) {
            swapUnits({at, b.getLen()}, vrUnit(vr_));
        }
    }

    DcElem& elem_;
    unsigned int tag_;
    DICT_VR vr_;
    unsigned char* buf_;
    Mode mode_;
    ByteWriter writer_;
    bool delimited_;  // Pixel Data that a delimitation ends
    bool inStream_;
    bool leaveValue_;
};

// An element that carries an explicit syntax is written in it in any explicit stream.
bool ownSyntaxWins(DICT_UID own, DICT_UID stream) {
    return own != UID_NONE && syntaxRow(own).explicitVr && syntaxRow(stream).explicitVr;
}

// `bound`: of the bytes that it takes.
int checkFrame(const DcElem& e, const unsigned char* buf, unsigned long long bound) {
    const unsigned int group = ElemAccess::tag(e) >> 16;
    const unsigned int element = ElemAccess::tag(e) & 0xFFFF;
    if (buf == nullptr) {
        return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, "DcElem::frame",
                    "Element (%04x,%04x) - Null buffer passed", group, element);
    }
    const DICT_VR vr = ElemAccess::vr(e);
    if (vr == VR_SQ) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::frame",
                    "Element (%04x,%04x) - should be created as SQ, not element", group, element);
    }
    if (bound > 0xFFFFFFFFull) {
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElem::frame",
                    "Element (%04x,%04x) - Value Length 0x%llx is too large", group, element, bound);
    }
    const bool named = vr == VR_UNKNOWN || vrRow(vr).letters[0] != '\0';
    if (!named || vr == VR_RT || vr == VR_EX) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::frame", "Element (%04x,%04x) - Invalid VR '%s'",
                    group, element, Dict.vrName(vr));
    }
    return RESULT_OK;
}

}  // namespace

int DcElem::frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) {
    length = 0;
    const unsigned long long bound = ElemAccess::frameBound(*this);
    if (const int result = checkFrame(*this, buf, bound); result != RESULT_OK) return result;
    const DICT_UID own = ownSyntaxWins(xferSyn_, xferSyn) ? xferSyn_ : xferSyn;
    return Framer(*this, buf, bound, own, false).run(length);
}

int ElemAccess::frameInStream(DcElem& e, unsigned char* buf, unsigned int& length, DICT_UID xferSyn,
                              bool leaveValue) {
    length = 0;
    const unsigned long long bound = frameBound(e);
    if (const int result = checkFrame(e, buf, bound); result != RESULT_OK) return result;
    return Framer(e, buf, bound, syntaxInStream(e, xferSyn), true, leaveValue).run(length);
}

bool ElemAccess::isOnDisk(const DcElem& e) noexcept {
    const DcBuf* const first = isRawVr(vr(e)) ? firstBuf(e) : nullptr;
    if (first == nullptr || (first->getType() != BUF_FILE && first->getType() != BUF_HANDLE)) return false;
    for (const DcBuf* b = first; b != nullptr; b = b->next()) {
        if (b->getType() != first->getType()) return false;
    }
    return true;
}

unsigned long long ElemAccess::frameBound(const DcElem& e) noexcept {
    constexpr unsigned int headerPaddingAndDelimiter = 12 + 1 + 8;
    unsigned long long bound = headerPaddingAndDelimiter + 0ull + e.store_.used;
    for (DcBuf* b = firstBuf(e); b != nullptr; b = b->next()) {
        if (b->getType() == BUF_MEMORY) bound += b->getLen();
    }
    return bound;
}

DICT_UID ElemAccess::syntaxInStream(const DcElem& e, DICT_UID xferSyn) noexcept {
    const bool own =
        ownSyntaxWins(e.xferSyn_, xferSyn) && syntaxRow(e.xferSyn_).order == syntaxRow(xferSyn).order;
    return own ? e.xferSyn_ : xferSyn;
}
