#include "index/record.h"

#include <algorithm>

#include "index/trouble.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

constexpr Bounds kKept{INDEX_LONGEST_TEXT, INDEX_LONGEST_BINARY, INDEX_LONGEST_SEQUENCE};
constexpr std::size_t kMostAttributes = std::size_t{256} << 10;  // bytes of an object's
constexpr std::size_t kLongestUid = 64;
constexpr char kUidMark = '\x01';

std::string uidOf(std::string_view attributes, unsigned int tag, const char* what) {
    std::string uid(trimmed(valueOf(attributes, tag)));
    if (!isUid(uid))
        fail(INDEX_IDENTITY,
             std::string("the object has no valid ") + what + (uid.empty() ? "" : ": " + uid));
    return uid;
}

// Each attribute to its level; those beyond what an object may have of them are left out, in their order.
void divide(std::string_view attributes, std::array<Bytes, kLevels>& levels) {
    AttributeReader reader(attributes);
    for (Attribute attribute; reader.next(attribute);) {
        if (isComputed(attribute.tag) || attribute.tag <= 0x0007FFFF) continue;
        Bytes& level = levels[numberOf(levelOf(attribute.tag))];
        if (level.size() + attribute.value.size() > kMostAttributes) continue;
        append(level, attribute.tag, attribute.vr, attribute.value);
    }
}

void takeFile(const DcIndexFile& file, Record& record) {
    record.path = file.path != nullptr ? file.path : "";
    record.xferSyn = file.xferSyn != nullptr ? file.xferSyn : "";
    record.size = file.size;
    if (record.path.empty() || record.path.size() > INDEX_PATH_MAX ||
        record.path.find(kUidMark) != std::string::npos)
        fail(INDEX_IDENTITY, "the path of the file is empty, or too long, or not to be kept");
    if (!isUid(record.xferSyn)) fail(INDEX_IDENTITY, "the transfer syntax is not a UID");
}

}  // namespace

bool isUid(std::string_view text) {
    return !text.empty() && text.size() <= kLongestUid &&
           std::all_of(text.begin(), text.end(), [](char c) { return c == '.' || (c >= '0' && c <= '9'); });
}

std::string shortPath(std::string_view path, std::string_view instance) {
    std::string text(path);
    const std::size_t at = text.rfind(instance);
    if (at != std::string::npos) text.replace(at, instance.size(), 1, kUidMark);
    return text;
}

std::string wholePath(std::string_view path, std::string_view instance) {
    std::string text(path);
    const std::size_t at = text.find(kUidMark);
    if (at != std::string::npos) text.replace(at, 1, instance);
    return text;
}

Record makeRecord(DcElemList& dataset, const DcIndexFile& file) {
    Bytes all;
    (void)takeAttributes(dataset, kKept, all);
    return makeRecord(all, file);
}

Record makeRecord(const Bytes& all, const DcIndexFile& file) {
    Record record;
    takeFile(file, record);
    record.sopClass = uidOf(all, T_0008_0016_sopClassUid, "SOP Class UID");
    record.instance = uidOf(all, T_0008_0018_sopInstanceUid, "SOP Instance UID");
    record.study = uidOf(all, T_0020_000d_studyInstanceUid, "Study Instance UID");
    record.series = uidOf(all, T_0020_000e_seriesInstanceUid, "Series Instance UID");
    record.patientId = trimmed(valueOf(all, T_0010_0020_patientId));
    record.issuer = trimmed(valueOf(all, T_0010_0021_issuerOfPatientId));
    if (record.patientId.empty()) record.apart = record.study;
    record.modality = trimmed(valueOf(all, T_0008_0060_modality));
    divide(all, record.attributes);
    return record;
}

}  // namespace orvkit::index
