#include "services/source_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "dictionary/uid_text.h"
#include "encoding/codec.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/charset.h"
#include "services/report.h"
#include "services/text.h"

namespace services {
namespace {

namespace platform = orvkit::platform;
using orvkit::ByteOrder;
using orvkit::loadAt;

constexpr std::size_t kFirstRead = 4096;
constexpr std::size_t kMost = 1 << 20;
constexpr unsigned int kPreamble = 132;  // with "DICM"
constexpr unsigned int kShortHeader = 8;
constexpr std::size_t kLongestUid = 64;

// What the file and its data set name; "" what they do not.
struct Names {
    std::string sopClass;
    std::string instance;
};

// The first bytes of a file.
class Beginning {
  public:
    // RESULT_OK, DIR_STAT or DIR_OPEN.
    int open(const std::string& path) {
        // Looked at by its path, so that a pipe or a device is refused without being opened.
        if (!platform::examine(path.c_str(), info_) || info_.kind != platform::FileKind::regular)
            return DIR_STAT;
        file_ = platform::openRead(path.c_str());
        return file_ ? RESULT_OK : DIR_OPEN;
    }
    bool read(std::size_t length) {
        bytes_.resize(std::min(length, static_cast<std::size_t>(std::min<std::uint64_t>(size(), kMost))));
        const std::int64_t got = platform::readAt(file_.get(), bytes_.data(), bytes_.size(), 0);
        bytes_.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        return got >= 0;
    }
    // More than what was read at first.
    bool readMore() { return bytes_.size() >= kFirstRead && size() > bytes_.size() && read(kMost); }

    std::uint64_t size() const { return static_cast<std::uint64_t>(info_.size); }
    unsigned char* data() { return bytes_.data(); }
    unsigned int length() const { return static_cast<unsigned int>(bytes_.size()); }

  private:
    platform::FileInfo info_;
    platform::FileHandle file_;
    std::vector<unsigned char> bytes_;
};

DICT_UID numberOf(const std::string& uid, DICT_UID_TYPE type, bool learn) {
    DICT_UID value = UID_NONE;
    if (uid.empty() || Dict.getUidDef(uid.c_str(), value) == RESULT_OK || !learn) return value;
    return Dict.add(uid.c_str(), nullptr, &value, type) == RESULT_OK ? value : UID_NONE;
}

// A UID of the header that the dictionary does not know: as text.
std::string headerText(Beginning& file, unsigned int end, unsigned int tag) {
    DcElemList meta;
    unsigned int length = end - kPreamble;
    orvkit::needMemory(meta.decode(file.data() + kPreamble, length, UID_LITTLE_ENDIAN_EXPLICIT));
    char uid[kLongestUid + 1] = "";
    (void)meta.getValue(tag, uid, static_cast<int>(kLongestUid));
    return uid;
}

// The names of a data set, of which those are the first bytes, or all; its elements come in the order of
// their tags. False: the bytes end too early.
bool findNames(std::span<unsigned char> bytes, bool isAll, DICT_UID xferSyn, Names& names) {
    ARCH_ENDIAN endian = ENDIAN_NONE;
    if (Dict.getEndian(xferSyn, endian) != RESULT_OK || xferSyn == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT)
        return true;
    const ByteOrder order = endian == ENDIAN_BIG ? ByteOrder::big : ByteOrder::little;
    const auto length = static_cast<unsigned int>(bytes.size());
    unsigned int at = 0;
    while (at + kShortHeader <= length) {
        unsigned char* const element = bytes.data() + at;
        const unsigned int tag =
            loadAt<std::uint16_t>(element, order) * 0x10000u + loadAt<std::uint16_t>(element + 2, order);
        if (tag > T_0008_0018_sopInstanceUid) return true;
        DcElemOffsetInfo info;
        info.tag = SCAN_ELEM_END;
        if (utilGetElemOffsetInfo(element, length - at, xferSyn, info) != RESULT_OK) return false;
        const std::string_view value(reinterpret_cast<char*>(element) + info.valueOffset,
                                     info.endOffset - info.valueOffset);
        if (tag == T_0008_0016_sopClassUid) names.sopClass = std::string(trimmed(value));
        if (tag == T_0008_0018_sopInstanceUid) names.instance = std::string(trimmed(value));
        at += info.endOffset;
    }
    return isAll && at >= length;
}

// The same of what a file begins with, unpacked where that is compressed and somebody can.
bool findNames(Beginning& file, unsigned int begin, DICT_UID xferSyn, Names& names) {
    const auto bytes = std::span(file.data(), file.length()).subspan(begin);
    const orvkit::DataSetCodec* const codec = orvkit::codecOf(xferSyn);
    if (codec == nullptr) return findNames(bytes, file.length() >= file.size(), xferSyn, names);
    orvkit::MemorySink plain;
    orvkit::CodecPump pump(codec->decoder(), plain, kMost);
    (void)pump.push(bytes, false);
    return findNames(plain.bytes(), pump.ended(), orvkit::unpackedSyntax(xferSyn), names);
}

// What is named by the data set in place of the header's.
void takeOver(std::string& header, const std::string& dataset, const char* what, std::string& difference) {
    if (dataset.empty() || dataset == header) return;
    if (!header.empty()) {
        difference += (difference.empty() ? "" : "; ") + std::string(what) + " is " + withEscapes(header) +
                      " in its header, and sent as the data set's, " + withEscapes(dataset);
    }
    header = dataset;
}

}  // namespace

int readIdentity(const std::string& path, FileIdentity& identity, bool learn) {
    identity = {};
    Beginning file;
    if (const int result = file.open(path); result != RESULT_OK) return result;
    if (!file.read(kFirstRead)) return DIR_READ_WRITE;
    if (file.length() == 0) return DIR_NOT_PART10;
    DcDirMetaInfo meta;
    unsigned int end = 0;
    int result = dirReadFileMetaInfo(file.data(), file.length(), meta, end);
    if (result != RESULT_OK && result != DIR_NOT_PART10 && file.readMore()) {
        result = dirReadFileMetaInfo(file.data(), file.length(), meta, end);
    }
    if (result != RESULT_OK) return result;
    identity.size = file.size();
    identity.begin = end;
    Names names = {orvkit::uidText(meta.sopClassUid), meta.sopInstanceUid};
    if (names.sopClass.empty()) names.sopClass = headerText(file, end, T_0002_0002_mediaStorageSopClassUid);
    identity.xferSyn = meta.transferSyntax;
    if (identity.xferSyn == UID_NONE) {
        identity.xferSyn =
            numberOf(headerText(file, end, T_0002_0010_transferSyntaxUid), UID_TYPE_XFER_SYN, learn);
    }
    Names inDataset;
    if (!findNames(file, end, identity.xferSyn, inDataset) && file.readMore()) {
        inDataset = {};
        (void)findNames(file, end, identity.xferSyn, inDataset);
    }
    takeOver(names.sopClass, inDataset.sopClass, "the SOP class", identity.difference);
    takeOver(names.instance, inDataset.instance, "the SOP instance", identity.difference);
    identity.sopClass = numberOf(names.sopClass, UID_TYPE_SOP, learn);
    if (names.instance.size() <= kLongestUid) identity.instance = names.instance;
    return RESULT_OK;
}

int readOddFile(const std::string& path, FileIdentity& identity, bool learn) {
    identity = {};
    DcDirMetaInfo meta;
    DcElemList data;
    DcDirFound found;
    DcDirAround around;
    around.found = &found;
    const int result = dirReadAroundPixels(path.c_str(), meta, data, around);
    if (result != RESULT_OK) return result;
    identity.sopClass = numberOf(textOf(data, T_0008_0016_sopClassUid), UID_TYPE_SOP, learn);
    identity.instance = textOf(data, T_0008_0018_sopInstanceUid);
    if (identity.sopClass == UID_NONE) identity.sopClass = meta.sopClassUid;
    if (identity.instance.empty()) identity.instance = meta.sopInstanceUid;
    identity.xferSyn = found.xferSyn;
    identity.difference = describeFound(found);
    platform::FileInfo info;
    if (platform::examine(path.c_str(), info)) identity.size = static_cast<std::uint64_t>(info.size);
    return RESULT_OK;
}

std::string SourceFile::sopClass() const {
    const std::string uid = text(T_0008_0016_sopClassUid);
    return uid.empty() ? orvkit::uidText(meta.sopClassUid) : uid;
}

std::string SourceFile::sopInstance() const {
    const std::string uid = text(T_0008_0018_sopInstanceUid);
    return uid.empty() ? meta.sopInstanceUid : uid;
}

SourceFile::Kind readSource(const std::string& path, SourceFile& file) {
    file.path = path;
    long long offset = -1;
    unsigned long long length = 0;
    const int result = dirReadNonPixelElem64(path.c_str(), file.meta, file.dataset, offset, length);
    file.isPacked = offset == -1 && length != 0;
    file.hasPixels = offset != -1 || file.isPacked;
    file.pixelOffset = file.hasPixels && !file.isPacked ? static_cast<std::uint64_t>(offset) : 0;
    file.pixelLength = length;
    if (result == RESULT_OK) return SourceFile::Kind::dicom;
    if (result == DIR_NOT_PART10) return SourceFile::Kind::notDicom;
    if (result == ELEM_VALUE_REFUSED && file.hasPixels) {
        file.fault = "the file ends before its pixel data does";
        return SourceFile::Kind::dicom;
    }
    file.fault = resultText(result);
    if (result == DIR_OPEN && errno != 0) file.fault += std::string(": ") + std::strerror(errno);
    if (result == RESULT_DICT_NOT_XFER_SYN || result == ELEM_XFER_SYNTAX)
        file.fault = "the transfer syntax cannot be read";
    return SourceFile::Kind::damaged;
}

}  // namespace services
