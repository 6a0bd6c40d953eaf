// One element to bytes and back (PS3.5 7.1 and 8).
#include <bit>
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "foundation/bytes.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "foundation/node_links.h"
#include "orvkit/elem.h"
#include "orvkit/lzw.h"
#include "orvkit/result.h"

using orvkit::ByteOrder;
using orvkit::ElemAccess;
using orvkit::fail;
using orvkit::storeAt;
using orvkit::swapUnits;

namespace {

constexpr unsigned int kPixelData = 0x7FE00010;
constexpr unsigned int kItem = 0xFFFEE000;
constexpr unsigned int kUndefinedLength = 0xFFFFFFFF;

ByteOrder orderOf(DICT_UID xferSyn) {
    return xferSyn == UID_BIG_ENDIAN_EXPLICIT ? ByteOrder::big : ByteOrder::little;
}

// The VR whose letters and layout stand in the stream.
DICT_VR writtenVr(DICT_VR vr) {
    switch (vr) {
        case VR_OX:
            return VR_OB;
        case VR_XL:
            return VR_UL;
        case VR_XS:
            return VR_US;
        case VR_UNKNOWN:
            return VR_UN;
        default:
            return vr;
    }
}

// VRs with two reserved bytes behind their letters.
bool hasReserved(DICT_VR written) {
    return written == VR_OB || written == VR_OF || written == VR_OW || written == VR_UN || written == VR_UT;
}

bool hasLongLength(DICT_VR written) {
    return hasReserved(written) || written == VR_SQ || written == VR_SI;
}

unsigned int unitOf(DICT_VR_SIZE size) {
    switch (size) {
        case VR_SIZE_16:
            return 2;
        case VR_SIZE_32:
        case VR_SIZE_FLOAT:
            return 4;
        case VR_SIZE_DOUBLE:
            return 8;
        default:
            return 1;
    }
}

// Writes one element. `inStream`: as part of a data set, whose byte order rules; alone, the element's own
// syntax does. `leaveValue`: without raw bytes that are in memory.
class Framer {
  public:
    Framer(DcElem& elem, unsigned char* buf, DICT_UID xferSyn, bool inStream, bool leaveValue = false)
        : elem_(elem),
          vr_(ElemAccess::vr(elem)),
          written_(writtenVr(vr_)),
          buf_(buf),
          xferSyn_(xferSyn),
          order_(orderOf(xferSyn)),
          inStream_(inStream),
          leaveValue_(leaveValue) {}

    int run(unsigned int& length) {
        const unsigned int tag = ElemAccess::tag(elem_);
        putTag(tag);
        if (xferSyn_ != UID_LITTLE_ENDIAN_IMPLICIT && tag != kItem) putVr();
        lengthAt_ = used_;
        int result = putLength(0);
        if (result == RESULT_OK) result = putValue();
        length = used_;
        return result;
    }

  private:
    void put16(unsigned int v) {
        storeAt(buf_ + used_, static_cast<std::uint16_t>(v), order_);
        used_ += 2;
    }
    void put32(unsigned int v) {
        storeAt(buf_ + used_, std::uint32_t{v}, order_);
        used_ += 4;
    }
    void putBytes(const void* data, std::size_t n) {
        if (n != 0) std::memcpy(buf_ + used_, data, n);
        used_ += static_cast<unsigned int>(n);
    }
    void putTag(unsigned int tag) {
        put16(tag >> 16);
        put16(tag & 0xFFFF);
    }
    void putVr() {
        putBytes(Dict.vrName(written_), 2);
        if (hasReserved(written_)) put16(0);
    }
    bool longLength() const { return xferSyn_ == UID_LITTLE_ENDIAN_IMPLICIT || hasLongLength(written_); }

    // Reserves the length field, or fills it in; what stands behind it stays.
    int putLength(unsigned int valueLength) {
        const unsigned int end = used_;
        used_ = lengthAt_;
        if (longLength()) {
            put32(valueLength);
        } else {
            if (valueLength > 0xFFFF) {
                used_ = end;
                return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElem::frameValueLen",
                            "Element (%04x,%04x) - Value Length 0x%x is too large for Explicit Transfer "
                            "Syntax",
                            ElemAccess::tag(elem_) >> 16, ElemAccess::tag(elem_) & 0xFFFF, valueLength);
            }
            put16(valueLength);
        }
        if (end > used_) used_ = end;
        return RESULT_OK;
    }
    int finish(unsigned int valueAt) { return putLength(used_ - valueAt); }

    int putValue() {
        if (orvkit::isRawVr(vr_)) return putRaw();
        const unsigned int valueAt = used_;
        const orvkit::ElemStore& store = ElemAccess::store(elem_);
        if (store.count == 0) return RESULT_OK;
        const DICT_VR_SIZE size = Dict.vrFacts(vr_).size;
        if (size == VR_SIZE_CHAR) {
            putTexts(store);
        } else if (vr_ == VR_AT) {
            putTags(store);
        } else if (size <= VR_SIZE_DOUBLE) {
            const auto bytes = orvkit::storeBytes(store);
            unsigned char* at = buf_ + used_;
            putBytes(bytes.data(), bytes.size());
            if (order_ != hostOrder) swapUnits({at, bytes.size()}, unitOf(size));
        } else {
            return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::frameValueNonOX",
                        "Element (%04x,%04x) - Invalid VR size", ElemAccess::tag(elem_) >> 16,
                        ElemAccess::tag(elem_) & 0xFFFF);
        }
        return finish(valueAt);
    }

    void putTexts(const orvkit::ElemStore& store) {
        // The NULs between the values become backslashes, the last one the padding (PS3.5 6.2).
        const auto texts = orvkit::storeBytes(store);
        unsigned char* at = buf_ + used_;
        putBytes(texts.data(), texts.size() - 1);
        if (store.count > 1) {
            for (unsigned int i = 0; i + 1 < store.count; ++i) at[store.ends[i] - 1] = '\\';
        }
        if (((texts.size() - 1) & 1) != 0) buf_[used_++] = vr_ == VR_UI ? 0 : ' ';
    }

    void putTags(const orvkit::ElemStore& store) {
        const auto bytes = orvkit::storeBytes(store);
        for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
            putTag(orvkit::loadAt<std::uint32_t>(bytes.data() + i, hostOrder));
        }
    }

    int putRaw() {
        DcBuf* const first = ElemAccess::firstBuf(elem_);
        if (first == nullptr) return ELEM_EMPTY_VALUE;
        unsigned long long total = 0;
        for (DcBuf* b = first; b != nullptr; b = b->next()) {
            if (b->getType() != first->getType()) {
                return fail(RESULT_OK, LOG_ERROR, "DcElem::frameValueOX",
                            "Element (%04x,%04x) - mixed memory/disk buffers, not processed",
                            ElemAccess::tag(elem_) >> 16, ElemAccess::tag(elem_) & 0xFFFF);
            }
            if (b->getType() != BUF_MEMORY || b->getBuf() != nullptr) total += b->getLen();
        }
        const bool encapsulated =
            ElemAccess::tag(elem_) == kPixelData && xferSyn_ != UID_LITTLE_ENDIAN_IMPLICIT &&
            xferSyn_ != UID_LITTLE_ENDIAN_EXPLICIT && xferSyn_ != UID_BIG_ENDIAN_EXPLICIT;
        if (total >= kUndefinedLength && !encapsulated) {
            return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElem::frameValueOX",
                        "Element (%04x,%04x) - Value Length 0x%llx is too large",
                        ElemAccess::tag(elem_) >> 16, ElemAccess::tag(elem_) & 0xFFFF, total);
        }
        if (first->getType() == BUF_MEMORY && !leaveValue_) {
            for (DcBuf* b = first; b != nullptr; b = b->next()) putMemory(*b);
        }
        const int result = putLength(encapsulated ? kUndefinedLength : static_cast<unsigned int>(total));
        if (encapsulated && result == RESULT_OK && first->getType() == BUF_MEMORY) {
            constexpr unsigned char delimiter[8] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};
            putBytes(delimiter, sizeof delimiter);
        }
        return result;
    }

    void putMemory(DcBuf& b) {
        if (b.getBuf() == nullptr) return;
        unsigned char* at = buf_ + used_;
        putBytes(b.getBuf(), b.getLen());
        if (inStream_ && orderOf(b.getXferSyn()) != order_)
            swapUnits({at, b.getLen()}, ElemAccess::rawUnit(vr_));
    }

    static constexpr ByteOrder hostOrder =
        std::endian::native == std::endian::big ? ByteOrder::big : ByteOrder::little;

    DcElem& elem_;
    DICT_VR vr_;
    DICT_VR written_;
    unsigned char* buf_;
    DICT_UID xferSyn_;
    ByteOrder order_;
    bool inStream_;
    bool leaveValue_;
    unsigned int used_ = 0;
    unsigned int lengthAt_ = 0;
};

// An element that carries an explicit syntax is written in it in any explicit stream.
bool ownSyntaxWins(DICT_UID own, DICT_UID stream) {
    return own != UID_NONE && own != UID_LITTLE_ENDIAN_IMPLICIT && stream != UID_LITTLE_ENDIAN_IMPLICIT;
}

int checkFrame(const DcElem& e, const unsigned char* buf) {
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
    if (const unsigned long long bound = ElemAccess::frameBound(e); bound > 0xFFFFFFFFull) {
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, "DcElem::frame",
                    "Element (%04x,%04x) - Value Length 0x%llx is too large", group, element, bound);
    }
    const bool named = vr == VR_UNKNOWN || Dict.vrName(vr)[0] != '\0';
    if (!named || vr == VR_RT || vr == VR_EX) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::frame", "Element (%04x,%04x) - Invalid VR '%s'",
                    group, element, Dict.vrName(vr));
    }
    return RESULT_OK;
}

}  // namespace

int DcElem::frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) {
    length = 0;
    if (const int result = checkFrame(*this, buf); result != RESULT_OK) return result;
    const DICT_UID own = ownSyntaxWins(xferSyn_, xferSyn) ? xferSyn_ : xferSyn;
    return Framer(*this, buf, own, false).run(length);
}

int ElemAccess::frameInStream(DcElem& e, unsigned char* buf, unsigned int& length, DICT_UID xferSyn,
                              bool leaveValue) {
    length = 0;
    if (const int result = checkFrame(e, buf); result != RESULT_OK) return result;
    return Framer(e, buf, syntaxInStream(e, xferSyn), true, leaveValue).run(length);
}

bool ElemAccess::isOnDisk(const DcElem& e) noexcept {
    const DcBuf* const first = orvkit::isRawVr(vr(e)) ? e.firstBuf_ : nullptr;
    if (first == nullptr || (first->getType() != BUF_FILE && first->getType() != BUF_HANDLE)) return false;
    for (const DcBuf* b = first; b != nullptr; b = b->next()) {
        if (b->getType() != first->getType()) return false;
    }
    return true;
}

unsigned long long ElemAccess::frameBound(const DcElem& e) noexcept {
    constexpr unsigned int headerPaddingAndDelimiter = 12 + 1 + 8;
    unsigned long long bound = headerPaddingAndDelimiter + 0ull + e.store_.used;
    for (DcBuf* b = e.firstBuf_; b != nullptr; b = b->next()) {
        if (b->getType() == BUF_MEMORY) bound += b->getLen();
    }
    return bound;
}

DICT_UID ElemAccess::syntaxInStream(const DcElem& e, DICT_UID xferSyn) noexcept {
    const bool own = ownSyntaxWins(e.xferSyn_, xferSyn) && orderOf(e.xferSyn_) == orderOf(xferSyn);
    return own ? e.xferSyn_ : xferSyn;
}

// ---- parsing ----------------------------------------------------------------------------------------------

int DcElem::parseVal(void* value, unsigned int length, DICT_UID xferSyn) {
    (void)deleteAllValues();
    if (value == nullptr || length == 0 || xferSyn == UID_NONE) return RESULT_OK;
    // The dictionary is asked about the element's own tag here, not about a pushed one.
    const DICT_VR vr = vr_ == VR_IM ? Dict.facts(tag_).vr : vr_;
    if (orvkit::isRawVr(vr)) return addValue(value, length, xferSyn);

    ARCH_ENDIAN endian;
    if (Dict.getEndian(xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    if (ElemAccess::effectiveTag(*this) < 0x00010000) endian = ENDIAN_LITTLE;

    const std::span bytes(static_cast<const unsigned char*>(value), length);
    if (vrSize_ == VR_SIZE_CHAR) {
        return ElemAccess::addText(*this, {reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                   ELEM_INDEX_APPEND);
    }
    if (vrSize_ > VR_SIZE_DOUBLE) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::parseVal", "Element (%04x,%04x) - invalid VR size",
                    tag_ >> 16, tag_ & 0xFFFF);
    }
    if (vrLen_ == 0) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::parseValBinary",
                    "Element (%04x,%04x) - zero vrLen", tag_ >> 16, tag_ & 0xFFFF);
    }
    unsigned int count = length / vrLen_;
    unsigned int first = 0;
    const auto most = static_cast<unsigned int>(vm_ < 0 ? -static_cast<long long>(vm_) : vm_);
    if (most != 0 && count > most && orvkit::valueExceptionLevel() != 0) first = count - most;
    count -= first;
    if (count == 0) return RESULT_OK;
    if (!orvkit::storeAppendRun(
            store_, bytes.subspan(std::size_t{first} * vrLen_, std::size_t{count} * vrLen_), vrLen_)) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElem::parseValBinary",
                    "unable to allocated 0x%x (%d) bytes of memory", length, static_cast<int>(length));
    }
    const bool bigHost = std::endian::native == std::endian::big;
    if ((endian == ENDIAN_BIG) != bigHost) {
        swapUnits(orvkit::storeBytes(store_), unitOf(static_cast<DICT_VR_SIZE>(vrSize_)));
    }
    if (vr == VR_AT && endian == ENDIAN_LITTLE) {
        // Group and element are numbers of their own in the stream; the value holds the group on top.
        const auto tags = orvkit::storeBytes(store_);
        for (std::size_t i = 0; i + 4 <= tags.size(); i += 4) {
            std::uint32_t tag;
            std::memcpy(&tag, tags.data() + i, 4);
            tag = std::rotl(tag, 16);
            std::memcpy(tags.data() + i, &tag, 4);
        }
    }
    return RESULT_OK;
}

// ---- the private LZW syntax
// --------------------------------------------------------------------------------

namespace {

struct Release {
    void operator()(unsigned char* p) const { ::operator delete(p); }
};
using Block = std::unique_ptr<unsigned char, Release>;

Block allocate(std::size_t size) {
    return Block(static_cast<unsigned char*>(::operator new(size, std::nothrow)));
}

// What a stream of that many bytes can hold at most: a code has 9 bits or more, and each string is at most
// one byte longer than the longest before it and than the code table. The length that a stream claims is not
// believed beyond that.
unsigned long long lzwMost(unsigned int encodedLength) {
    const unsigned long long codes = encodedLength * 8ull / 9 + 1;
    return codes > 65536 ? codes * 65536 : codes * (codes + 1) / 2;
}

}  // namespace

int DcElem::changeXferSyn(DICT_UID xferSyn) {
    constexpr const char* reporter = "DcElem::changeXferSyn";
    const DICT_VR vr = ElemAccess::vr(*this);
    if ((vr != VR_OB && vr != VR_OW && vr != VR_OX) || firstBuf_ == nullptr) return RESULT_OK;
    DcBuf& source = *firstBuf_;
    if (source.getType() != BUF_MEMORY || source.getBuf() == nullptr) {
        return fail(ELEM_XFER_SYNTAX, LOG_VALIDATION, reporter, "Only memory buffers can be changed");
    }
    const DICT_UID from = source.getXferSyn();
    if (from == xferSyn) return RESULT_OK;
    if (from != UID_ORVKIT5_LZW && xferSyn != UID_ORVKIT5_LZW) {
        return fail(ELEM_XFER_SYNTAX, LOG_VALIDATION, reporter, "This change is not supported");
    }

    auto* in = static_cast<unsigned char*>(source.getBuf());
    const unsigned int inLen = source.getLen();
    const bool encode = xferSyn == UID_ORVKIT5_LZW;
    unsigned int outLen = inLen;
    if (!encode) {
        const unsigned long long claimed =
            inLen < 8 ? 0 : orvkit::loadAt<std::uint32_t>(in + 4, ByteOrder::little);
        outLen = static_cast<unsigned int>(std::min(claimed, lzwMost(inLen)));
    }
    Block out = allocate(outLen + std::size_t{1});
    if (out == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "unable to allocated 0x%x (%d) bytes of memory",
                    outLen, static_cast<int>(outLen));
    }
    unsigned char* end = out.get();
    const int result = encode ? lzwEncode(in, inLen, end, outLen) : lzwDecode(in, inLen, out.get(), &outLen);
    if (result != RESULT_OK) return result;

    // The first buffer gives way to the new one, which goes behind the others.
    DcBuf* const old = firstBuf_;
    DcBuf* rest = old->next();
    DcBuf* last = static_cast<DcBuf*>(orvkit::NodeLinks::previous(*old));
    auto* fresh = new DcBuf(out.release(), outLen, xferSyn);
    if (rest == nullptr) {
        firstBuf_ = fresh;
    } else {
        orvkit::NodeLinks::next(*last) = fresh;
        firstBuf_ = rest;
    }
    orvkit::NodeLinks::previous(*firstBuf_) = fresh;
    orvkit::NodeLinks::next(*fresh) = nullptr;
    delete old;
    xferSyn_ = xferSyn;
    return RESULT_OK;
}
