// The file meta information as a record (PS3.10 7.1).
#include "media/meta_info.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/fail.h"
#include "foundation/identity.h"
#include "foundation/text.h"
#include "orvkit/util.h"
#include "platform/file.h"

using namespace orvkit;

namespace {

constexpr int kDefaultMaxFileSize = 536870912;

std::atomic<int> sizeLimit{kDefaultMaxFileSize};

template <std::size_t N>
void readText(const DcElemList& list, unsigned int tag, char (&text)[N]) {
    text[0] = '\0';
    ElemListAccess::firstValue(list, tag, text, static_cast<int>(N - 1));
}

// The bytes of a raw element that is held in memory.
std::span<const unsigned char> readBytes(const DcElemList& list, unsigned int tag) {
    DcElem* e = nullptr;
    if (list.getElem(tag, &e) != RESULT_OK || !isRawVr(ElemAccess::vr(*e))) return {};
    const DcBuf* b = ElemAccess::firstBuf(*e);
    if (b == nullptr || b->getType() != BUF_MEMORY || b->getBuf() == nullptr) return {};
    return {static_cast<const unsigned char*>(b->getBuf()), b->getLen()};
}

// false without memory.
[[nodiscard]] bool setPrivateInfo(DcDirMetaInfo& meta, std::span<const unsigned char> bytes) {
    Block copy;
    if (!bytes.empty()) {
        copy = allocate(bytes.size());
        if (copy == nullptr) return false;
        std::memcpy(copy.get(), bytes.data(), bytes.size());
    }
    utilDelete(meta.privateInfo);
    meta.privateInfo = copy.release();
    meta.privateInfoLen = static_cast<unsigned int>(bytes.size());
    return true;
}

}  // namespace

int orvkit::maxFileSize() noexcept {
    return sizeLimit.load(std::memory_order_relaxed);
}
double orvkit::megabytes(int bytes) noexcept {
    return bytes * 9.5367431640625e-07;
}

int dirSetMaxFileSize(int bytes) {
    if (bytes < 1) {
        return fail(DIR_FILE_SIZE, LOG_VALIDATION, "dirSetMaxFileSize", "Invalid file size limit %d", bytes);
    }
    sizeLimit.store(bytes, std::memory_order_relaxed);
    return RESULT_OK;
}

int dirSetImplicitDirectory(int flag) {
    orvkit::readImplicitDirectories(flag != 0);
    return RESULT_OK;
}

// ---- the record -----------------------------------------------------------------------------------------

DcDirMetaInfo::DcDirMetaInfo() : privateInfo(nullptr) {
    reset();
}

DcDirMetaInfo::DcDirMetaInfo(const DcDirMetaInfo& other) : privateInfo(nullptr) {
    reset();
    *this = other;
}

DcDirMetaInfo& DcDirMetaInfo::operator=(const DcDirMetaInfo& other) {
    if (this == &other) return *this;
    std::copy(std::begin(other.preamble), std::end(other.preamble), preamble);
    version = other.version;
    sopClassUid = other.sopClassUid;
    transferSyntax = other.transferSyntax;
    std::copy(std::begin(other.sopInstanceUid), std::end(other.sopInstanceUid), sopInstanceUid);
    std::copy(std::begin(other.implClassUid), std::end(other.implClassUid), implClassUid);
    std::copy(std::begin(other.implVersionName), std::end(other.implVersionName), implVersionName);
    std::copy(std::begin(other.sourceAeTitle), std::end(other.sourceAeTitle), sourceAeTitle);
    std::copy(std::begin(other.privateInfoCreatorUid), std::end(other.privateInfoCreatorUid),
              privateInfoCreatorUid);
    const std::size_t length = other.privateInfo != nullptr ? other.privateInfoLen : 0;
    if (!setPrivateInfo(*this, {other.privateInfo, length})) throw std::bad_alloc();
    return *this;
}

DcDirMetaInfo::~DcDirMetaInfo() {
    utilDelete(privateInfo);
}

void DcDirMetaInfo::reset() {
    std::memset(preamble, 0, sizeof preamble);
    version = 0;
    sopClassUid = UID_NONE;
    transferSyntax = UID_NONE;
    std::memset(sopInstanceUid, 0, sizeof sopInstanceUid);
    std::memset(implClassUid, 0, sizeof implClassUid);
    std::memset(implVersionName, 0, sizeof implVersionName);
    std::memset(sourceAeTitle, 0, sizeof sourceAeTitle);
    std::memset(privateInfoCreatorUid, 0, sizeof privateInfoCreatorUid);
    (void)setPrivateInfo(*this, {});
}

int DcDirMetaInfo::printInfo(FILE* file) {
    if (file == nullptr) {
        return failNull(DIR_NULL_ARGUMENT, "DcDirMetaInfo::printInfo");
    }
    std::fprintf(file, "            File Meta Header\n\n");
    std::fprintf(file, "    Version         - 0x%04x\n", version);
    std::fprintf(file, "    Class UID       - %s (%s)\n", uidText(sopClassUid), uidName(sopClassUid));
    std::fprintf(file, "    Instance UID    - %s\n", sopInstanceUid);
    std::fprintf(file, "    Transfer Syntax - %s (%s)\n", uidText(transferSyntax), uidName(transferSyntax));
    std::fprintf(file, "    Impl. Class UID - %s\n", implClassUid);
    std::fprintf(file, "    Impl. Ver. Name - %s\n", implVersionName);
    std::fprintf(file, "    Source AE Title - %s\n", sourceAeTitle);
    std::fprintf(file, "\n");
    return RESULT_OK;
}

int DcDirMetaInfo::printInfo(const char* path, const char* mode) {
    constexpr const char* reporter = "DcDirMetaInfo::printInfo";
    if (path == nullptr || mode == nullptr) {
        return failNull(DIR_NULL_ARGUMENT, reporter);
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> file(
        platform::openStream(path, mode), [](FILE* f) { return f != nullptr ? std::fclose(f) : 0; });
    if (file == nullptr) {
        return fail(DIR_OPEN, LOG_VALIDATION, reporter, "Error opening file %s in mode %s", path, mode);
    }
    return printInfo(file.get());
}

// ---- checks ---------------------------------------------------------------------------------------------

int dirCheckMetaInfo(DcDirMetaInfo& meta) {
    constexpr const char* reporter = "dirCheckMetaInfo";
    if (meta.version != 1) {
        return fail(DIR_META_INFO, LOG_ERROR, reporter, "Invalid version number - 0x%04x", meta.version);
    }
    if (meta.sopClassUid == UID_NONE)
        return fail(DIR_META_INFO, LOG_ERROR, reporter, "SOP Class UID not set");
    if (meta.sopInstanceUid[0] == '\0') {
        return fail(DIR_META_INFO, LOG_ERROR, reporter, "SOP Instance UID not set");
    }
    const DcDictUidInfo* syntax = Dict.findUid(meta.transferSyntax);
    if (syntax == nullptr || syntax->type != UID_TYPE_XFER_SYN) {
        return fail(RESULT_DICT_NOT_XFER_SYN, LOG_ERROR, reporter, "'%s' is not a Transfer Syntax UID",
                    uidText(meta.transferSyntax));
    }
    if (meta.implClassUid[0] == '\0') copyText(meta.implClassUid, implClassUid);
    if (meta.implVersionName[0] == '\0') copyText(meta.implVersionName, fileVersionName);
    return RESULT_OK;
}

// ---- to elements and back -------------------------------------------------------------------------------

int dirFileMetaInfoToElemList(DcDirMetaInfo& meta, DcElemList& dataset) try {
    unsigned char version[2] = {static_cast<unsigned char>(meta.version >> 8),
                                static_cast<unsigned char>(meta.version & 0xFF)};
    const auto raw = [&dataset](unsigned int tag, void* bytes, unsigned int length) {
        dataset.add(new DcElem(tag, bytes, length, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0));
    };
    const auto text = [&dataset](unsigned int tag, const char* value) {
        if (value[0] != '\0') dataset.add(new DcElem(tag, value));
    };
    const auto uid = [&dataset](unsigned int tag, DICT_UID value) {
        dataset.add(value != UID_NONE ? new DcElem(tag, value)
                                      : new DcElem(tag, nullptr, 0, UID_NONE, VR_IM, 0));
    };
    dataset.add(new DcElem(kTagMetaLength, 0u));
    raw(kTagMetaVersion, version, sizeof version);
    uid(kTagMetaSopClass, meta.sopClassUid);
    dataset.add(new DcElem(kTagMetaSopInstance, meta.sopInstanceUid));
    uid(kTagMetaTransferSyntax, meta.transferSyntax);
    dataset.add(new DcElem(kTagMetaImplClass, meta.implClassUid));
    text(kTagMetaImplVersion, meta.implVersionName);
    text(kTagMetaSourceAe, meta.sourceAeTitle);
    text(kTagMetaPrivateCreator, meta.privateInfoCreatorUid);
    if (meta.privateInfo != nullptr && meta.privateInfoLen != 0) {
        raw(kTagMetaPrivateInfo, meta.privateInfo, meta.privateInfoLen);
    }
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("dirFileMetaInfoToElemList");
}

int dirElemListToFileMetaInfo(DcElemList& dataset, DcDirMetaInfo& meta) {
    const auto version = readBytes(dataset, kTagMetaVersion);
    meta.version = version.size() < 2 ? 0 : static_cast<unsigned short>(version[0] * 256 + version[1]);
    meta.sopClassUid = UID_NONE;
    meta.transferSyntax = UID_NONE;
    ElemListAccess::firstValue(dataset, kTagMetaSopClass, meta.sopClassUid);
    ElemListAccess::firstValue(dataset, kTagMetaTransferSyntax, meta.transferSyntax);
    readText(dataset, kTagMetaSopInstance, meta.sopInstanceUid);
    readText(dataset, kTagMetaImplClass, meta.implClassUid);
    readText(dataset, kTagMetaImplVersion, meta.implVersionName);
    readText(dataset, kTagMetaSourceAe, meta.sourceAeTitle);
    readText(dataset, kTagMetaPrivateCreator, meta.privateInfoCreatorUid);
    if (!setPrivateInfo(meta, readBytes(dataset, kTagMetaPrivateInfo))) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "dirElemListToFileMetaInfo", "unable to allocate memory");
    }
    return RESULT_OK;
}
