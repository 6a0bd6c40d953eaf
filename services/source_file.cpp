#include "services/source_file.h"

#include <cerrno>
#include <cstring>

#include "orvkit/dicomdir.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/report.h"

namespace services {
namespace {

constexpr int longestText = 10240;  // of LT, the longest that is a key

std::string firstText(DcElem& element) {
    // Most values are short.
    char room[130] = "";
    if (element.getValue(room, sizeof room - 1, 0) != RESULT_OK) return {};
    if (std::strlen(room) < sizeof room - 1) return room;
    std::string whole(longestText + 1, '\0');
    if (element.getValue(whole.data(), longestText, 0) != RESULT_OK) return room;
    whole.resize(std::strlen(whole.c_str()));
    return whole;
}

std::string uidOf(DICT_UID uid) {
    const DcDictUidInfo* info = Dict.findUid(uid);
    return info != nullptr ? info->uid : "";
}

}  // namespace

std::string SourceFile::textOf(DcElemList& list, unsigned int tag) {
    DcElem* element = nullptr;
    return list.getElem(tag, &element) == RESULT_OK ? firstText(*element) : std::string();
}

std::string SourceFile::sopClass() {
    const std::string uid = text(T_0008_0016_sopClassUid);
    return uid.empty() ? uidOf(meta.sopClassUid) : uid;
}

std::string SourceFile::sopInstance() {
    const std::string uid = text(T_0008_0018_sopInstanceUid);
    return uid.empty() ? meta.sopInstanceUid : uid;
}

SourceFile::Kind readSource(const std::string& path, SourceFile& file) {
    file.path = path;
    int offset = -1;
    int length = 0;
    const int result = dirReadNonPixelElem(path.c_str(), file.meta, file.dataset, &offset, &length);
    file.hasPixels = offset != -1;
    file.pixelOffset = static_cast<unsigned int>(offset);
    file.pixelLength = static_cast<unsigned int>(length);
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

std::string textOf(const DcDirRec& record, unsigned int tag) {
    DcElem* element = nullptr;
    return record.getElem(tag, &element) == RESULT_OK ? firstText(*element) : std::string();
}

}  // namespace services
