#include "orvkit/buf.h"

#include <cstring>
#include <new>

#include "orvkit/result.h"
#include "orvkit/util.h"
#include "platform/file.h"

namespace {

char* copyName(const char* name) noexcept {
    if (name == nullptr) return nullptr;
    const std::size_t size = std::strlen(name) + 1;
    char* const copy = new (std::nothrow) char[size];
    if (copy != nullptr) std::memcpy(copy, name, size);
    return copy;
}

}  // namespace

DcBuf::DcBuf(void* data, unsigned int length, DICT_UID xferSyn) noexcept : DcBuf() {
    type_ = BUF_MEMORY;
    data_ = data;
    allocLength_ = length;
    length_ = length;
    xferSyn_ = xferSyn;
}

DcBuf::DcBuf(const char* fileName, int offset, unsigned int length, DICT_UID xferSyn) noexcept : DcBuf() {
    type_ = BUF_FILE;
    fileName_ = copyName(fileName);
    offset_ = offset;
    allocLength_ = length;
    length_ = length;
    xferSyn_ = xferSyn;
}

DcBuf::DcBuf(int handle, int offset, unsigned int length, DICT_UID xferSyn) noexcept : DcBuf() {
    type_ = BUF_HANDLE;
    handle_ = handle;
    offset_ = offset;
    allocLength_ = length;
    length_ = length;
    xferSyn_ = xferSyn;
}

DcBuf::DcBuf(const DcBuf& other) noexcept : DcBuf() {
    take(other);
    borrowed_ = 1;
    fileName_ = copyName(other.fileName_);
}

DcBuf& DcBuf::operator=(const DcBuf& other) noexcept {
    if (this == &other) return *this;
    take(other);
    borrowed_ = 1;
    setFileName(other.fileName_);
    return *this;
}

DcBuf::~DcBuf() {
    if (borrowed_ == 0) {
        utilDelete(data_);
        orvkit::platform::closeHandle(handle_);
    }
    delete[] fileName_;
}

// Everything but the file name.
void DcBuf::take(const DcBuf& other) noexcept {
    borrowed_ = other.borrowed_;
    type_ = other.type_;
    data_ = other.data_;
    handle_ = other.handle_;
    offset_ = other.offset_;
    offsetHigh_ = other.offsetHigh_;
    lengthHigh_ = other.lengthHigh_;
    allocLength_ = other.allocLength_;
    length_ = other.length_;
    xferSyn_ = other.xferSyn_;
}

void DcBuf::reset() noexcept {
    take(DcBuf());
    setFileName(nullptr);
}

void DcBuf::move(DcBuf* source) noexcept {
    if (source == nullptr || source == this) return;
    take(*source);
    delete[] fileName_;
    fileName_ = source->fileName_;
    source->fileName_ = nullptr;
    source->reset();
}

void DcBuf::setBuf(void* data) noexcept {
    if (borrowed_ == 0 && data != data_) utilDelete(data_);
    data_ = data;
}

void DcBuf::setHandle(int handle) noexcept {
    if (borrowed_ == 0 && handle != handle_) orvkit::platform::closeHandle(handle_);
    handle_ = handle;
}

int DcBuf::setPlace64(unsigned long long offset, unsigned long long length) noexcept {
    if (offset >> 47 != 0 || length >> 48 != 0) return ELEM_VALUE_REFUSED;
    offset_ = static_cast<int>(static_cast<unsigned int>(offset));
    length_ = static_cast<unsigned int>(length);
    offsetHigh_ = static_cast<unsigned int>(offset >> 32) & 0x7FFF;
    lengthHigh_ = static_cast<unsigned int>(length >> 32) & 0xFFFF;
    return RESULT_OK;
}

void DcBuf::setFileName(const char* name) noexcept {
    char* const copy = copyName(name);
    delete[] fileName_;
    fileName_ = copy;
}

DcBufList::~DcBufList() = default;
