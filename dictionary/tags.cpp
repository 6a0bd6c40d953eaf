// Lookup of data elements.
#include <algorithm>
#include <cstdio>

#include "dictionary/builtin.h"
#include "dictionary/failures.h"
#include "dictionary/keys.h"
#include "foundation/text.h"
#include "orvkit/dict.h"

using namespace orvkit;

namespace {

// What is known of a tag that has no record.
DcDictFacts factsOfRule(unsigned int tag) noexcept {
    if (elementOf(tag) == 0) return {VR_UL, 1, true};
    if (isCreator(tag)) return {VR_LO, 1, true};
    return {VR_UN, 1, false};
}

const char* nameEndOfRule(unsigned int tag) noexcept {
    if (elementOf(tag) == 0) return "_groupLength";
    if (isCreator(tag)) return "_privateCreatorId";
    return "";
}

// The record that answers for a tag, or null. A group length is answered by rule even where a record was
// added.
const DcDictElemInfo* recordOf(const DcDict& dict, unsigned int tag) noexcept {
    return elementOf(tag) == 0 ? nullptr : dict.find(tag);
}

}  // namespace

namespace orvkit {

unsigned int maskedKey(std::span<const TagMask> masks, unsigned int tag) noexcept {
    if (isPrivate(tag)) return 0;
    for (const TagMask& m : masks) {
        if ((tag & ~m.mask) == (m.tag & ~m.mask)) return m.tag;
    }
    return 0;
}

namespace {

// `position` finds the record of a key.
template <typename Position>
std::size_t positionFor(unsigned int tag, std::span<const TagMask> masks, Position position) {
    const std::size_t found = position(tagKey(tag));
    if (found != noPosition || masks.empty()) return found;
    const unsigned int key = maskedKey(masks, tag);
    return key == 0 ? noPosition : position(key);
}

}  // namespace

std::size_t positionIn(const EditionTables& edition, unsigned int tag) noexcept {
    const auto position = [&](unsigned int key) {
        return searchIndex(edition.index, edition.facts.data(), key);
    };
    const std::size_t found = positionFor(tag, edition.masks, position);
    return found == noPosition ? position(tag) : found;  // a definition, as those of repeating groups are
}

}  // namespace orvkit

std::size_t DcDict::position(unsigned int key) const noexcept {
    if (tagsOwned_) return searchIndex(tagIndex_, facts_.data(), key);
    return searchIndex(edition_->index, edition_->facts.data(), key);
}

std::size_t DcDict::positionOf(unsigned int tag) const noexcept {
    return positionFor(tag, edition_->masks, [this](unsigned int key) { return position(key); });
}

// Looks for the key in the records themselves: whoever asks reads one of them next.
const DcDictElemInfo* DcDict::find(unsigned int tag) const noexcept {
    const std::span<const TagSlot> index = tagsOwned_ ? tagIndex_ : edition_->index;
    const DcDictElemInfo* const records = tagsOwned_ ? tags_.data() : edition_->tags.data();
    const std::size_t found =
        positionFor(tag, edition_->masks, [&](unsigned int key) { return searchIndex(index, records, key); });
    return found == noPosition ? nullptr : records + found;
}

DcDictFacts DcDict::facts(unsigned int tag) const noexcept {
    if (elementOf(tag) == 0) return factsOfRule(tag);
    const std::size_t found = positionOf(tag);
    if (found == noPosition) return factsOfRule(tag);
    const DcDictTagFacts_& f = tagsOwned_ ? facts_[found] : edition_->facts[found];
    return {f.vr, f.vm, true};
}

std::size_t DcDict::tagCount() const noexcept {
    return tagsOwned_ ? tags_.size() : edition_->tags.size();
}

const DcDictElemInfo& DcDict::tagAt(std::size_t index) const noexcept {
    return tagsOwned_ ? tags_[index] : edition_->tags[index];
}

int DcDict::getElemInfo(unsigned int tag, DcDictElemInfo* info) const {
    const DcDictElemInfo* record = recordOf(*this, tag);
    if (record != nullptr) {
        if (info != nullptr) *info = *record;
        return RESULT_OK;
    }
    const DcDictFacts rule = factsOfRule(tag);
    if (info != nullptr) {
        *info = {tag, rule.vr, rule.vm, tag, {}};
        std::snprintf(info->name, sizeof info->name, "T_%04x_%04x%s", groupOf(tag), elementOf(tag),
                      nameEndOfRule(tag));
    }
    return rule.known ? RESULT_OK : RESULT_DICT_NOT_FOUND;
}

int DcDict::getDesc(unsigned int tag, char* name) const {
    if (name == nullptr) return failNull("DcDict::getDesc");
    if (const DcDictElemInfo* record = recordOf(*this, tag)) {
        copyText(name, record->name, maxNameLength);
        return RESULT_OK;
    }
    DcDictElemInfo info;
    const int result = getElemInfo(tag, &info);
    copyText(name, info.name, maxNameLength);
    return result;
}

int DcDict::getVr(unsigned int tag, char* code) const {
    if (code == nullptr) return failNull("DcDict::getVr");
    const DcDictFacts f = facts(tag);
    const int result = getVr(f.vr, code);
    return f.known ? result : RESULT_DICT_NOT_FOUND;
}

int DcDict::getVrDef(unsigned int tag, DICT_VR& vr) const {
    const DcDictFacts f = facts(tag);
    vr = f.vr;
    return f.known ? RESULT_OK : RESULT_DICT_NOT_FOUND;
}

int DcDict::getVm(unsigned int tag, int& vm) const {
    const DcDictFacts f = facts(tag);
    vm = f.vm;
    return f.known ? RESULT_OK : RESULT_DICT_NOT_FOUND;
}

int DcDict::getTag(unsigned int tagDef, unsigned int& tag) const {
    // As a definition (60FF,0010) names a record; as a tag it is a private creator.
    if (position(tagDef) == noPosition) return getTagDef(tagDef, tag);
    tag = tagDef;
    return RESULT_OK;
}

int DcDict::getTagDef(unsigned int tag, unsigned int& tagDef) const {
    DcDictElemInfo info;
    const int result = getElemInfo(tag, &info);
    tagDef = info.tagDef;
    return result;
}

int DcDict::getSqTagList(unsigned int tag, unsigned int* tagList) const {
    if (tagList == nullptr) return failNull("DcDict::getSqTagList");
    tagList[0] = 0;
    const DcDictFacts f = facts(tag);
    if (!f.known) return RESULT_OK;
    if (f.vr != VR_SQ) {
        return fail(RESULT_DICT_NOT_SQ, LOG_NOTICE, "DcDict::getSqTagList",
                    "Element (%04x,%04x) is not of type SQ", groupOf(tag), elementOf(tag));
    }
    const auto list = std::ranges::find(sequences_, find(tag)->tag, &SqList::tag);
    if (list != sequences_.end()) {
        std::copy(list->tags, std::ranges::find(list->tags, 0u) + 1, tagList);
    }
    return RESULT_OK;
}

// The forms with group and element apart.

int DcDict::getElemInfo(unsigned short group, unsigned short element, DcDictElemInfo* info) const {
    return getElemInfo(tagOf(group, element), info);
}

int DcDict::getDesc(unsigned short group, unsigned short element, char* name) const {
    return getDesc(tagOf(group, element), name);
}

int DcDict::getVr(unsigned short group, unsigned short element, char* code) const {
    return getVr(tagOf(group, element), code);
}

int DcDict::getVrDef(unsigned short group, unsigned short element, DICT_VR& vr) const {
    return getVrDef(tagOf(group, element), vr);
}

int DcDict::getVm(unsigned short group, unsigned short element, int& vm) const {
    return getVm(tagOf(group, element), vm);
}

int DcDict::getTag(unsigned int tagDef, unsigned short& group, unsigned short& element) const {
    unsigned int tag = 0;
    const int result = getTag(tagDef, tag);
    group = static_cast<unsigned short>(groupOf(tag));
    element = static_cast<unsigned short>(elementOf(tag));
    return result;
}

int DcDict::getTagDef(unsigned short group, unsigned short element, unsigned int& tagDef) const {
    return getTagDef(tagOf(group, element), tagDef);
}

int DcDict::getSqTagList(unsigned short group, unsigned short element, unsigned int* tagList) const {
    return getSqTagList(tagOf(group, element), tagList);
}
