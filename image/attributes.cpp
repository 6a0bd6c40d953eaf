#include "image/attributes.h"

#include "encoding/header.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::render {

std::optional<double> realOf(DcElemList& list, unsigned int tag, int index) {
    DcElem* element = nullptr;
    double value = 0;
    if (list.getElem(tag, &element) != RESULT_OK || element->getValue(value, index) != RESULT_OK) return {};
    return value;
}

std::optional<int> integerOf(DcElemList& list, unsigned int tag, int index) {
    DcElem* element = nullptr;
    int value = 0;
    if (list.getElem(tag, &element) != RESULT_OK || element->getValue(value, index) != RESULT_OK) return {};
    return value;
}

std::string codeOf(DcElemList& list, unsigned int tag) {
    DcElem* element = nullptr;
    char text[66] = "";
    if (list.getElem(tag, &element) != RESULT_OK) return {};
    return element->getValue(text, sizeof text - 1, 0) == RESULT_OK ? text : std::string();
}

std::vector<unsigned char> bytesOf(DcElemList& list, unsigned int tag) {
    DcElem* element = nullptr;
    unsigned int size = 0;
    if (list.getElem(tag, &element) != RESULT_OK || element->getBufSize(size, nullptr) != RESULT_OK ||
        size < kShortHeader) {
        return {};
    }
    std::vector<unsigned char> bytes(size);
    if (element->frame(bytes.data(), size, UID_LITTLE_ENDIAN_IMPLICIT) != RESULT_OK) return {};
    bytes.resize(size);
    bytes.erase(bytes.begin(), bytes.begin() + kShortHeader);
    return bytes;
}

DcElemList* itemOf(DcElemList& list, unsigned int sequenceTag, unsigned int index) {
    DcElem* element = nullptr;
    if (list.getElem(sequenceTag, &element) != RESULT_OK) return nullptr;
    auto* const sequence = dynamic_cast<DcElemSq*>(element);
    DcElemSqItem* item = sequence == nullptr ? nullptr : sequence->first();
    for (; item != nullptr && index > 0; --index) item = item->next();
    return item == nullptr ? nullptr : &item->getElemList();
}

FrameGroups::FrameGroups(DcElemList& dataset, unsigned int frame)
    : dataset_(dataset),
      own_(itemOf(dataset, T_5200_9230_perFrameFunctionalGroupsSequence, frame - 1)),
      shared_(itemOf(dataset, T_5200_9229_sharedFunctionalGroupsSequence)) {}

DcElemList& FrameGroups::find(unsigned int groupTag) const {
    for (DcElemList* groups : {own_, shared_}) {
        DcElemList* const group = groups == nullptr ? nullptr : itemOf(*groups, groupTag);
        if (group != nullptr) return *group;
    }
    return dataset_;
}

}  // namespace orvkit::render
