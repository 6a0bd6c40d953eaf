// Copies of data sets, and the parser over lists of buffers.
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elem_aside.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

using namespace orvkit;

namespace {

// Lends the listed elements, or all, but for pixel data.
void lend(Aside& loan, DcElemList& owner, const unsigned int* tags) {
    const auto take = [&loan](DcElem* e) {
        if (e != nullptr && ElemAccess::tag(*e) >> 16 != kTagPixelData >> 16) loan.take(e);
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
    if (dest == nullptr) return failNull(ELEM_NULL_ARGUMENT, reporter);
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

// ---- parsing ------------------------------------------------------------------------------------------

int DcElemList::parse(void* buf, unsigned int& length, DICT_UID xferSyn) {
    return buf != nullptr && length != 0 ? decode(buf, length, xferSyn) : RESULT_OK;
}

int DcElemList::parse() {
    return pending_ != nullptr ? parse(pending_) : RESULT_OK;
}

int DcElemList::parse(DcBufList* list) {
    constexpr const char* reporter = "DcElemList::parse";
    if (list == nullptr) return failNull(ELEM_NULL_ARGUMENT, reporter);
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
        (void)add(new DcElem(kTagPixelData, onDisk));  // takes the content over
        delete onDisk;
    }
    return result;
}
