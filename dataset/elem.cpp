// Construction, identity and storage of data elements.
#include "orvkit/elem.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "foundation/node_links.h"
#include "foundation/tag.h"
#include "orvkit/result.h"
#include "platform/file.h"

using namespace orvkit;

namespace {

int refuseRaw(const DcElem& e, DICT_VR vr) {
    const unsigned int tag = ElemAccess::tag(e);
    return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, "DcElem::addValue",
                "Element (%04x,%04x) VR=%s, does not accept raw buffers", groupOf(tag), elementOf(tag),
                Dict.vrName(vr));
}

unsigned int saturate(unsigned long long n) {
    return n > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<unsigned int>(n);
}

// Bytes that the values of an element are estimated at. Fixed sizes are the VR's longest value.
unsigned long long estimateValues(const DcElem& e, DICT_VR vr) {
    const ElemStore& store = ElemAccess::store(e);
    const short each = vrRow(vr).estimate;
    if (each >= 0) return 1ull * static_cast<unsigned int>(each) * store.count;
    unsigned long long total = 0;
    for (unsigned int i = 0; i < store.count; ++i) {
        total += storeText(store, i).size() + 1;
        total += total & 1;
    }
    return total;
}

// Links the raw buffers of an element; the first one's backward link finds the last one. Values that stood in
// their place are gone.
void appendBuf(ElemStore& store, DcBuf* buf) {
    NodeLinks::next(*buf) = nullptr;
    if (!store.raw) {
        storeClear(store);
        store.raw = true;
        store.firstBuf = buf;
    } else {
        NodeLinks::next(*NodeLinks::previous(*store.firstBuf)) = buf;
    }
    NodeLinks::previous(*store.firstBuf) = buf;
}

void deleteBufs(ElemStore& store) {
    if (!store.raw) return;
    while (store.firstBuf != nullptr) {
        DcBuf* const next = store.firstBuf->next();
        delete store.firstBuf;
        store.firstBuf = next;
    }
    store.raw = false;
}

}  // namespace

// What an element costs in a data set of many.
static_assert(sizeof(void*) != 8 || sizeof(DcElem) == 104);

// A constructor has no code to return, and what is missing would be missed by nobody.
void ElemAccess::settle(DcElem& e, int result) {
    if (result != ELEM_NO_MEMORY) return;
    deleteBufs(e.store_);
    storeClear(e.store_);
    throw std::bad_alloc();
}

void DcElem::initialize(unsigned int tag, void* value, unsigned int length, DICT_UID xferSyn, DICT_VR vr,
                        int sequenceFlag) {
    tag_ = tag;
    pushedTag_ = 0;
    counter_ = 0;
    exceptionContext_ = nullptr;
    exceptionCB_ = nullptr;
    sequenceFlag_ = sequenceFlag != 0 ? 1 : 0;
    letters_ = 0;
    xferSyn_ = UID_NONE;
    storeInit(store_);

    const bool groupLength = elementOf(tag) == 0;
    if (groupLength) vr = VR_UL;
    const DcDictFacts facts = Dict.facts(tag);
    const bool asDictionary = vr == VR_IM;
    if (asDictionary) vr = facts.known ? facts.vr : VR_UNKNOWN;
    ElemAccess::setVr(*this, vr);
    vm_ = asDictionary || vr == facts.vr ? facts.vm : 0;
    if (vr == VR_UNKNOWN || groupLength) vm_ = 1;

    if (sequenceFlag == 0 && vr == VR_SQ) {
        logReport(LOG_VALIDATION, "DcElem::initialize",
                  "SQ Element (%04x,%04x) must be constructed with DcElemSq", groupOf(tag), elementOf(tag));
        return;
    }
    xferSyn_ = syntaxOfGroup(groupOf(tag), value != nullptr ? xferSyn : UID_NONE);
    if (groupLength && value == nullptr) {
        constexpr unsigned int zero = 0;
        (void)addValueFmtBuf(&zero, sizeof zero, ELEM_INDEX_APPEND, true);
        return;
    }
    if (value != nullptr && length != 0) ElemAccess::settle(*this, DcElem::parseVal(value, length, xferSyn));
}

DcElem::DcElem(unsigned int tag, void* value, unsigned int length, DICT_UID xferSyn, DICT_VR vr,
               int sequenceFlag) {
    initialize(tag, value, length, xferSyn, vr, sequenceFlag);
}

DcElem::DcElem(unsigned short group, unsigned short element, void* value, unsigned int length,
               DICT_UID xferSyn, DICT_VR vr, int sequenceFlag)
    : DcElem(tagOf(group, element), value, length, xferSyn, vr, sequenceFlag) {}

// The typed forms differ in nothing but the type.
#define ORVKIT_TYPED_ELEM(type)                                              \
    DcElem::DcElem(unsigned int tag, type value) {                           \
        initialize(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0);   \
        ElemAccess::settle(*this, addValue(value, ELEM_INDEX_APPEND));       \
    }                                                                        \
    DcElem::DcElem(unsigned short group, unsigned short element, type value) \
        : DcElem(tagOf(group, element), value) {}
ORVKIT_TYPED_ELEM(DcElemValueAS&)
ORVKIT_TYPED_ELEM(DcElemValueAT&)
ORVKIT_TYPED_ELEM(DcElemValueDA&)
ORVKIT_TYPED_ELEM(DcElemValueDT&)
ORVKIT_TYPED_ELEM(DcElemValuePN&)
ORVKIT_TYPED_ELEM(DcElemValueTM&)
ORVKIT_TYPED_ELEM(DICT_UID)
ORVKIT_TYPED_ELEM(const char*)
ORVKIT_TYPED_ELEM(short)
ORVKIT_TYPED_ELEM(unsigned short)
ORVKIT_TYPED_ELEM(int)
ORVKIT_TYPED_ELEM(unsigned int)
ORVKIT_TYPED_ELEM(float)
ORVKIT_TYPED_ELEM(double)
#undef ORVKIT_TYPED_ELEM

DcElem::DcElem(unsigned int tag, DcBuf* buffer) {
    initialize(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0);
    ElemAccess::settle(*this, addValue(buffer));
}
DcElem::DcElem(unsigned short group, unsigned short element, DcBuf* buffer)
    : DcElem(tagOf(group, element), buffer) {}

DcElem::DcElem(unsigned int tag, const char* fileName, int offset, unsigned int length, DICT_UID xferSyn) {
    initialize(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0);
    ElemAccess::settle(*this, addValue(fileName, offset, length, xferSyn));
}
DcElem::DcElem(unsigned short group, unsigned short element, const char* fileName, int offset,
               unsigned int length, DICT_UID xferSyn)
    : DcElem(tagOf(group, element), fileName, offset, length, xferSyn) {}

DcElem::DcElem(unsigned int tag, int handle, int offset, unsigned int length, DICT_UID xferSyn) {
    initialize(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0);
    ElemAccess::settle(*this, addValue(handle, offset, length, xferSyn));
}
DcElem::DcElem(unsigned short group, unsigned short element, int handle, int offset, unsigned int length,
               DICT_UID xferSyn)
    : DcElem(tagOf(group, element), handle, offset, length, xferSyn) {}

DcElem::~DcElem() {
    deleteBufs(store_);
    storeClear(store_);
}

// ---- identity ---------------------------------------------------------------------------------------------

int DcElem::getTag(unsigned int& tag) const {
    tag = tag_;
    return RESULT_OK;
}

int DcElem::getTag(unsigned short& group, unsigned short& element) const {
    group = static_cast<unsigned short>(groupOf(tag_));
    element = static_cast<unsigned short>(elementOf(tag_));
    return RESULT_OK;
}

int DcElem::setTag(unsigned int tag) {
    tag_ = tag;
    // A data set that holds the element has to look at its order anew.
    if (DcList* list = this->list()) NodeLinks::touch(*list);
    return RESULT_OK;
}

int DcElem::setTag(unsigned short group, unsigned short element) {
    return setTag(tagOf(group, element));
}

int DcElem::pushTag(unsigned int tag) {
    pushedTag_ = tag_;
    return setTag(tag);
}

int DcElem::pushTag(unsigned short group, unsigned short element) {
    return pushTag(tagOf(group, element));
}

int DcElem::getVr(DICT_VR& vr) const {
    vr = getVr();
    return RESULT_OK;
}

DICT_VR DcElem::getVr() const {
    return static_cast<DICT_VR>(vr_);
}
int DcElem::getVrCode(char* code) const {
    if (code == nullptr || letters_ == 0) return Dict.getVr(ElemAccess::vr(*this), code);
    orvkit::spellLetters(letters_, code);
    code[2] = '\0';
    return RESULT_OK;
}
int DcElem::getVm() const {
    return vm_;
}
DICT_UID DcElem::getXferSyn() const {
    return xferSyn_;
}
DcElem* DcElem::next() const {
    return static_cast<DcElem*>(DcNode::next());
}
DcElem* DcElem::previous() const {
    return static_cast<DcElem*>(DcNode::previous());
}

// A tag may have come since the values did, and its VR may be of another kind: those values mean nothing
// then.
DICT_VR ElemAccess::resolvedVr(const DcElem& e) noexcept {
    const DICT_VR vr = Dict.facts(effectiveTag(e)).vr;
    if (isRawVr(vr) || e.store_.count == 0) return vr;
    return (vrRow(vr).facts.size == VR_SIZE_CHAR) == e.store_.text ? vr : VR_UNKNOWN;
}

void ElemAccess::setVr(DcElem& e, DICT_VR vr) noexcept {
    e.vr_ = static_cast<short>(vr);
    if (!vrRow(vr).facts.ok) {  // the dictionary tells why
        DICT_VR_SIZE size;
        int length;
        (void)Dict.getVrSize(vr, size);
        (void)Dict.getVrLen(vr, length);
    }
}

// ---- counting ---------------------------------------------------------------------------------------------

int DcElem::getValueCount() const {
    if (isRawVr(ElemAccess::vr(*this))) return ElemAccess::firstBuf(*this) != nullptr ? 1 : 0;
    return static_cast<int>(store_.count);
}

int DcElem::getValueCount(int& count) const {
    count = getValueCount();
    return RESULT_OK;
}

int DcElem::resetValueCounter() {
    counter_ = 0;
    return RESULT_OK;
}

int DcElem::indexValueCounter(int& counter) {
    const bool more = counter_ < getValueCount();
    if (more) ++counter_;
    counter = counter_;
    return more ? RESULT_OK : ELEM_NO_MORE_VALUES;
}

int DcElem::indexValueCounter() {
    int counter;
    return indexValueCounter(counter);
}

int DcElem::registerValueExceptionCB(void* context, DcElemValueExceptionCB callback) {
    exceptionContext_ = context;
    exceptionCB_ = callback;
    return RESULT_OK;
}

// ---- storage ----------------------------------------------------------------------------------------------

int DcElem::deleteAllValues() {
    deleteBufs(store_);
    storeClear(store_);
    return RESULT_OK;
}

int DcElem::addValueFmtBuf(const void* data, unsigned int size, int index, bool binary) {
    const std::span value(static_cast<const unsigned char*>(data), size);
    const bool text = !binary;
    const auto count = static_cast<int>(store_.raw ? 0 : store_.count);
    bool stored;
    if (index == ELEM_INDEX_APPEND || (index == 0 && count == 0)) {
        deleteBufs(store_);
        // A full element keeps its newest values.
        const bool full = vm_ != 0 && valueExceptionLevel() != 0 && count >= static_cast<int>(std::abs(vm_));
        if (full && count != 0) storeDropFirst(store_, text);
        stored = storeAppend(store_, value, text);
    } else if (index < ELEM_INDEX_APPEND || index >= count) {
        return fail(ELEM_INVALID_INDEX, LOG_VALIDATION, "DcElem::addValueFmtBuf", "Invalid index value");
    } else {
        stored = storeReplace(store_, static_cast<unsigned int>(index), value, text);
    }
    if (stored) return RESULT_OK;
    return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElem::addValueFmtBuf",
                "unable to allocated 0x%x (%d) bytes of memory", size, static_cast<int>(size));
}

int DcElem::getValue(DICT_VR_SIZE& size, int& vrLength, void*** values) const {
    size = ElemAccess::vrSize(*this);
    vrLength = static_cast<int>(ElemAccess::vrLen(*this));
    if (values == nullptr) return ELEM_NULL_ARGUMENT;
    *values = nullptr;
    const unsigned int count = store_.count;
    if (count != 0 && size == VR_SIZE_NONE) return RESULT_OK;
    const bool text = size == VR_SIZE_CHAR;
    auto** array = new void*[count + 1]();
    for (unsigned int i = 0; i < count; ++i) {
        const auto value = storeValue(store_, i, text);
        auto* copy = new unsigned char[value.size() + 1]();
        std::memcpy(copy, value.data(), value.size());
        array[i] = copy;
    }
    *values = array;
    return RESULT_OK;
}

// ---- raw buffers ------------------------------------------------------------------------------------------

int DcElem::addValue(DcBuf* buffer) try {
    if (buffer == nullptr) return failNull(ELEM_NULL_ARGUMENT, "DcElem::addValue", LOG_NOTICE);
    const DICT_VR vr = ElemAccess::vr(*this);
    if (!isRawVr(vr)) return refuseRaw(*this, vr);
    const BUF_TYPE type = buffer->getType();
    if ((type == BUF_FILE || type == BUF_HANDLE) && tag_ != kTagPixelData) {
        return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, "DcElem::addValue",
                    "Only Pixel Data (7fe0,0010) accepts disk based raw buffers");
    }
    auto* own = new DcBuf();
    own->move(buffer);
    appendBuf(store_, own);
    if (own->getXferSyn() != UID_NONE) xferSyn_ = own->getXferSyn();
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElem::addValue");
}

int DcElem::addValue(const void* data, unsigned int length, DICT_UID xferSyn) try {
    const DICT_VR vr = ElemAccess::vr(*this);
    if (!isRawVr(vr)) return refuseRaw(*this, vr);
    if (data == nullptr || length == 0) return ELEM_VALUE_REFUSED;
    Block copy = allocate(length);
    if (copy == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElem::addValue",
                    "unable to allocated 0x%x (%d) bytes of memory", length, static_cast<int>(length));
    }
    ARCH_ENDIAN endian;
    if (Dict.getEndian(xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    std::memcpy(copy.get(), data, length);
    if (vr == VR_UN || vr == VR_UT) deleteBufs(store_);
    appendBuf(store_, new DcBuf(copy.release(), length, xferSyn));
    xferSyn_ = xferSyn;
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElem::addValue");
}

int DcElem::addValue(const char* fileName, int offset, unsigned int length, DICT_UID xferSyn) try {
    const DICT_VR vr = ElemAccess::vr(*this);
    if (!vrRow(vr).onDisk) return refuseRaw(*this, vr);
    if (fileName == nullptr) return RESULT_OK;
    if (!platform::openRead(fileName)) {
        return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, "DcElem::addValue",
                    "Element (%04x,%04x), unable to open file %s in rb mode", groupOf(tag_), elementOf(tag_),
                    fileName);
    }
    auto buf = std::make_unique<DcBuf>(fileName, offset, length, xferSyn);
    if (buf->getFileName() == nullptr) throw std::bad_alloc();
    appendBuf(store_, buf.release());
    xferSyn_ = xferSyn;
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElem::addValue");
}

int DcElem::addValue(int handle, int offset, unsigned int length, DICT_UID xferSyn) try {
    const DICT_VR vr = ElemAccess::vr(*this);
    if (!vrRow(vr).onDisk) return refuseRaw(*this, vr);
    if (handle == -1) return ELEM_VALUE_REFUSED;
    platform::FileHandle own = platform::duplicate(handle);
    if (!own) {
        const int error = errno;
        switch (error) {
            case EBADF:
                return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, "DcElem::addValue",
                            "Invalid file handle '%d' provided for duplication", handle);
            case EMFILE:
                return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, "DcElem::addValue",
                            "No more file handles available for duplication");
            default:
                return fail(ELEM_VALUE_REFUSED, LOG_VALIDATION, "DcElem::addValue",
                            "Unknown error occured while duplicating file handle - %d", error);
        }
    }
    appendBuf(store_, new DcBuf(own.release(), offset, length, xferSyn));
    xferSyn_ = xferSyn;
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElem::addValue");
}

unsigned long long ElemAccess::rawLength(const DcElem& e) noexcept {
    unsigned long long total = 0;
    for (DcBuf* b = firstBuf(e); b != nullptr; b = b->next()) total += b->getLen64();
    return total;
}

// ---- size -------------------------------------------------------------------------------------------------

unsigned int ElemAccess::delimiterRoom(const DcElem& e) noexcept {
    const DcBuf* const first = firstBuf(e);
    const bool inMemory = first != nullptr && first->getType() == BUF_MEMORY;
    const bool mayHaveOne = e.tag_ == kTagPixelData && inMemory && e.xferSyn_ != UID_LITTLE_ENDIAN_EXPLICIT;
    return mayHaveOne ? 8 : 0;
}

int DcElem::getBufSize(unsigned int& size, unsigned int*) {
    constexpr unsigned int largestHeader = 12;
    constexpr unsigned int shortHeader = 8;
    const DICT_VR vr = ElemAccess::vr(*this);
    unsigned long long total = largestHeader;
    if (isRawVr(vr)) {
        for (DcBuf* b = ElemAccess::firstBuf(*this); b != nullptr; b = b->next()) {
            if (b->getType() == BUF_MEMORY) total += b->getLen();
        }
        total += ElemAccess::delimiterRoom(*this);
    } else {
        // More where there are separators between many short values, and where values were accepted that are
        // longer than their VR allows: beyond what a short header can tell, with that of UN. Of texts the
        // last NUL is not written, or is the padding.
        const unsigned long long used = store_.used & ~1ull;
        const unsigned long long written = (used > 0xFFFF ? largestHeader : shortHeader) + used;
        total = std::max(total + estimateValues(*this, vr), written);
    }
    size = saturate(total);
    return RESULT_OK;
}

int DcElem::getBufSize(unsigned int& size, unsigned int) {
    return getBufSize(size, static_cast<unsigned int*>(nullptr));
}
