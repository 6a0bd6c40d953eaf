#include "services/elements.h"

#include <cstring>

#include "encoding/header.h"
#include "orvkit/result.h"

namespace services {
namespace {

constexpr int longestText = 10240;  // of LT, the longest that is a key

// Of a data set or a record.
template <typename Elements>
std::string firstText(const Elements& elements, unsigned int tag) {
    DcElem* const element = elementOf(elements, tag);
    if (element == nullptr) return {};
    // Most values are short.
    char room[130] = "";
    if (element->getValue(room, sizeof room - 1, 0) != RESULT_OK) return {};
    if (std::strlen(room) < sizeof room - 1) return room;
    std::string whole(longestText + 1, '\0');
    if (element->getValue(whole.data(), longestText, 0) != RESULT_OK) return room;
    whole.resize(std::strlen(whole.c_str()));
    return whole;
}

}  // namespace

bool bytesOf(DcElem& element, std::string& bytes) {
    unsigned int size = 0;
    if (element.getBufSize(size, nullptr) != RESULT_OK) return false;
    bytes.resize(size);
    auto* const frame = reinterpret_cast<unsigned char*>(bytes.data());
    if (element.frame(frame, size, UID_LITTLE_ENDIAN_IMPLICIT) != RESULT_OK) return false;
    bytes.resize(size);
    bytes.erase(0, orvkit::kShortHeader);
    return true;
}

std::string textOf(const DcElemList& list, unsigned int tag) {
    return firstText(list, tag);
}
std::string textOf(const DcDirRec& record, unsigned int tag) {
    return firstText(record, tag);
}

}  // namespace services
