// Addition and removal of data elements and of the tag lists of sequences.
#include <algorithm>
#include <cstdio>

#include "dictionary/builtin.h"
#include "dictionary/failures.h"
#include "dictionary/keys.h"
#include "foundation/text.h"
#include "orvkit/dict.h"

using namespace orvkit;

namespace {

// "T_gggg_eeee" with "xx" for the digits that the tag's key leaves open.
void defaultName(unsigned int tag, char (&name)[64]) {
    std::snprintf(name, sizeof name, "T_%04x_%04x", groupOf(tag), elementOf(tag));
    // The digits begin at 2 (group) and 7 (element).
    if (isRepeating(tag)) name[4] = name[5] = 'x';
    if (isPrivate(tag)) {
        char* const open = isCreator(tag) ? name + 9 : name + 7;
        open[0] = open[1] = 'x';
    }
}

DcDictElemInfo makeRecord(unsigned int tag, DICT_VR vr, int vm, const char* name) {
    const unsigned int key = tagKey(tag);
    DcDictElemInfo record{key, vr, vm, key, {}};
    if (isCreator(tag)) record.vr = VR_LO;
    if (record.vr == VR_SQ) record.vm = 1;
    if (name == nullptr) {
        defaultName(tag, record.name);
    } else {
        copyText(record.name, name, maxNameLength);
    }
    return record;
}

}  // namespace

// Makes the tables anew: those of the edition, without what was subtracted and with what was added.
void DcDict::makeTags() {
    tagsOwned_ = true;
    tags_.assign(edition_->tags.begin(), edition_->tags.end());
    std::erase_if(tags_, [this](const DcDictElemInfo& record) {
        return std::ranges::find(subtracted_, record.tag) != subtracted_.end();
    });
    tags_.insert(tags_.end(), added_.begin(), added_.end());
    std::ranges::stable_sort(tags_, {}, &DcDictElemInfo::tag);
    indexTags();
}

void DcDict::indexTags() {
    facts_.clear();
    for (const DcDictElemInfo& record : tags_) facts_.push_back({record.tag, record.vr, record.vm});
    tagIndex_.assign(indexSlotsFor(edition_->tags.size() + maxTags), 0);
    fillIndex(tagIndex_, facts_);
}

int DcDict::add(unsigned int tag, DICT_VR vr, int vm, const char* name, unsigned int* tagDef) {
    if (tagDef == nullptr && (elementOf(tag) == 0 || isCreator(tag))) return RESULT_OK;

    // The one test for duplicates, kept for callers that rely on it.
    const std::size_t found = position(tagKey(tag));
    if (found != noPosition && !isPrivate(tag) && elementOf(tag) == 0x00FF) {
        if (tagDef != nullptr) *tagDef = tagAt(found).tagDef;
        return fail(RESULT_DICT_EXISTS, LOG_NOTICE, "DcDict::add",
                    "Tag (%04x,%04x) already exists in dictionary", groupOf(tag), elementOf(tag));
    }
    if (tagCount() >= maxTags - edition2008.tags.size() + edition_->tags.size()) {
        if (tagDef != nullptr) *tagDef = 0xFFFFFFFF;
        return fail(RESULT_DICT_LIMIT, LOG_NOTICE, "DcDict::add",
                    "Tag (%04x,%04x) not added, Dictionary limit reached", groupOf(tag), elementOf(tag));
    }
    const DcDictElemInfo record = makeRecord(tag, vr, vm, name);
    if (!tagsOwned_) makeTags();
    added_.push_back(record);
    const auto behind = std::ranges::upper_bound(tags_, record.tag, {}, &DcDictElemInfo::tag);
    const auto at = behind - tags_.begin();
    tags_.insert(behind, record);
    facts_.insert(facts_.begin() + at, {record.tag, record.vr, record.vm});
    insertIntoIndex(tagIndex_, facts_, static_cast<std::size_t>(at));
    if (tagDef != nullptr) *tagDef = record.tagDef;
    return RESULT_OK;
}

int DcDict::add(unsigned int tag, const unsigned int* tagList, const char* name, unsigned int* tagDef) {
    if (tagList == nullptr) return failNull("DcDict::add");
    const unsigned int* const end = std::find(tagList, tagList + maxSqTags, 0u);
    if (end == tagList + maxSqTags) {
        return fail(RESULT_DICT_LIMIT, LOG_NOTICE, "DcDict::add",
                    "Number of element exceeds limit for SQ tag 0x%08x", tag);
    }
    if (std::ranges::find(sequences_, tagKey(tag), &SqList::tag) != sequences_.end()) {
        return fail(RESULT_DICT_EXISTS, LOG_NOTICE, "DcDict::add", "SQ 0x%08x already exists in dictionary",
                    tag);
    }
    if (sequences_.size() >= maxSequences) {
        return fail(RESULT_DICT_LIMIT, LOG_NOTICE, "DcDict::add",
                    "SQ 0x%08x not added, Dictionary sequence limit reached", tag);
    }
    const int result = add(tag, VR_SQ, 1, name, tagDef);
    if (result != RESULT_OK) return result;
    SqList list{tagKey(tag), {}};
    std::copy(tagList, end, list.tags);
    sequences_.push_back(list);
    return RESULT_OK;
}

int DcDict::subtract(unsigned int tag) {
    const DcDictElemInfo* found = find(tag);
    if (found == nullptr) {
        return fail(RESULT_DICT_NOT_FOUND, LOG_NOTICE, "DcDict::subtract",
                    "Tag (%04x,%04x) is not in Dictionary", groupOf(tag), elementOf(tag));
    }
    const DcDictElemInfo removed = *found;
    const auto position = found - &tagAt(0);
    if (!tagsOwned_) makeTags();
    // Of records with one key the last one answers: what was added, as long as there is any.
    const auto added = std::ranges::find(added_.rbegin(), added_.rend(), removed.tag, &DcDictElemInfo::tag);
    if (added != added_.rend()) {
        added_.erase(std::next(added).base());
    } else {
        subtracted_.push_back(removed.tag);
    }
    tags_.erase(tags_.begin() + position);
    indexTags();
    if (removed.vr == VR_SQ) {
        std::erase_if(sequences_, [&](const SqList& list) { return list.tag == removed.tag; });
    }
    return RESULT_OK;
}

// The forms with group and element apart.

int DcDict::add(unsigned short group, unsigned short element, DICT_VR vr, int vm, const char* name,
                unsigned int* tagDef) {
    return add(tagOf(group, element), vr, vm, name, tagDef);
}

int DcDict::add(unsigned short group, unsigned short element, const unsigned int* tagList, const char* name,
                unsigned int* tagDef) {
    return add(tagOf(group, element), tagList, name, tagDef);
}

int DcDict::subtract(unsigned short group, unsigned short element) {
    return subtract(tagOf(group, element));
}
