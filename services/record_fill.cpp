#include "services/record_fill.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <new>

#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/record_types.h"
#include "services/text.h"

namespace services {
namespace {

bool isSequence(const DcElem& element) {
    return element.getVr() == VR_SQ;
}

DcElemSq* sequenceIn(DcElemList& list, unsigned int tag) {
    return dynamic_cast<DcElemSq*>(elementOf(list, tag));
}

bool hasValue(DcElem& element) {
    if (auto* sequence = dynamic_cast<DcElemSq*>(&element)) return sequence->first() != nullptr;
    if (element.getValueCount() <= 0) return false;
    if (Dict.vrFacts(element.getVr()).size != VR_SIZE_CHAR) return true;
    char room[2] = "";
    const int result = element.getValue(room, 1, 0);
    return result != RESULT_OK || room[0] != '\0';  // too long for the room is a value, too
}

// Eight digits that are the same for the same text in every run (FNV-1a).
std::string digest(const std::string& text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X", hash);
    return digits;
}

std::string firstOf(SourceFile& source, std::initializer_list<unsigned int> tags, const char* otherwise) {
    for (const unsigned int tag : tags) {
        std::string value = source.text(tag);
        if (!value.empty()) return value;
    }
    return otherwise;
}

// A value for a key that the file leaves open. Dates and times are those of something close to it.
std::string madeValue(unsigned int tag, SourceFile& source, unsigned int number) {
    switch (tag) {
        case T_0010_0020_patientId:
            return patientIdOf(source);
        case T_0020_0010_studyId:
            return "ORV" + digest(source.text(T_0020_000d_studyInstanceUid));
        case T_0008_0020_studyDate:
            return firstOf(source,
                           {T_0008_0021_seriesDate, T_0008_0022_acquisitionDate, T_0008_0023_contentDate},
                           "19000101");
        case T_0008_0023_contentDate:
            return firstOf(source,
                           {T_0008_0022_acquisitionDate, T_0008_0021_seriesDate, T_0008_0020_studyDate},
                           "19000101");
        case T_0008_0030_studyTime:
            return firstOf(source,
                           {T_0008_0031_seriesTime, T_0008_0032_acquisitionTime, T_0008_0033_contentTime},
                           "000000");
        case T_0008_0033_contentTime:
            return firstOf(source,
                           {T_0008_0032_acquisitionTime, T_0008_0031_seriesTime, T_0008_0030_studyTime},
                           "000000");
        default:  // series, instance, overlay, curve and LUT numbers
            return std::to_string(number);
    }
}

// Only what modifies the title of a document stands in its record (PS3.3 F.5.24).
void keepConceptModifiers(DcElemSq& content) {
    for (DcElemSqItem *item = content.first(), *next = nullptr; item != nullptr; item = next) {
        next = item->next();
        if (textOf(item->getElemList(), T_0040_a010_relationshipType) == "HAS CONCEPT MOD") continue;
        content - item;
        delete item;
    }
}

// The latest verification of a document: its date stands with each observer.
std::string lastVerification(SourceFile& source) {
    std::string last;
    DcElemSq* observers = sequenceIn(source.dataset, T_0040_a073_verifyingObserverSequence);
    for (auto* item = observers != nullptr ? observers->first() : nullptr; item != nullptr;
         item = item->next()) {
        last = std::max(last, textOf(item->getElemList(), T_0040_a030_verificationDateTime));
    }
    return last;
}

// The keys of the source, as deep copies; those without a value stay behind.
void copyKeys(std::span<const RecordKey> keys, SourceFile& source, DcDirRec& record) {
    unsigned int tags[32];
    std::size_t count = 0;
    for (const RecordKey& key : keys) tags[count++] = key.tag;
    tags[count] = TAG_LIST_END;
    DcElemList copy;
    if (source.dataset.duplicate(&copy, tags) == ELEM_NO_MEMORY) throw std::bad_alloc();
    while (DcElem* element = copy.first()) {
        copy.subtract(element);
        auto* sequence = dynamic_cast<DcElemSq*>(element);
        if (tagOf(*element) == T_0040_a730_contentSequence && sequence != nullptr)
            keepConceptModifiers(*sequence);
        if (hasValue(*element)) {
            record.add(element);
        } else {
            delete element;
        }
    }
}

DcElem* emptyElement(unsigned int tag) {
    DICT_VR vr = VR_UN;
    Dict.getVrDef(tag, vr);
    if (vr == VR_SQ) return new DcElemSq(tag);
    return new DcElem(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_IM, 0);
}

bool holdsOtherThanAscii(DcElemList& list);

bool holdsOtherThanAscii(DcElem& element) {
    if (auto* sequence = dynamic_cast<DcElemSq*>(&element)) {
        for (auto* item = sequence->first(); item != nullptr; item = item->next()) {
            if (holdsOtherThanAscii(item->getElemList())) return true;
        }
        return false;
    }
    if (Dict.vrFacts(element.getVr()).size != VR_SIZE_CHAR) return false;
    char text[1025] = "";
    for (int i = 0, count = element.getValueCount(); i < count; ++i) {
        if (element.getValue(text, sizeof text - 1, i) == RESULT_OK && !isPlainAscii(text)) return true;
    }
    return false;
}

bool holdsOtherThanAscii(DcElemList& list) {
    for (DcElem* element = list.first(); element != nullptr; element = element->next()) {
        if (holdsOtherThanAscii(*element)) return true;
    }
    return false;
}

bool holdsOtherThanAscii(const DcDirRec& record) {
    for (DcElem* element = record.firstElem(); element != nullptr; element = element->next()) {
        if (holdsOtherThanAscii(*element)) return true;
    }
    return false;
}

void copyCharset(SourceFile& source, DcDirRec& record) {
    if (source.text(T_0008_0005_specificCharacterSet).empty() || !holdsOtherThanAscii(record)) return;
    const RecordKey charset[] = {{T_0008_0005_specificCharacterSet, Need::given}};
    copyKeys(charset, source, record);
}

std::string charsetOf(const DcDirRec& record) {
    return textOf(record, T_0008_0005_specificCharacterSet);
}

}  // namespace

std::string keyName(unsigned int tag) {
    DcDictElemInfo info;
    Dict.getElemInfo(tag, &info);
    const std::string name = info.name;
    return name.substr(std::min<std::size_t>(12, name.size())) + " " + tagText(tag);
}

std::string patientIdOf(SourceFile& source) {
    std::string id = source.text(T_0010_0020_patientId);
    if (!id.empty()) return id;
    std::string who = source.text(T_0010_0010_patientsName);
    if (!who.empty()) who += "\n" + source.text(T_0010_0030_patientsBirthDate);
    return "ORV" + digest(who.empty() ? source.text(T_0020_000d_studyInstanceUid) : who);
}

void fillRecord(DcDirRec& record, SourceFile& source, unsigned int number, Lacks& lacks) {
    const DIR_REC type = typeOf(record);
    const std::span<const RecordKey> keys = keysOf(type);
    if (type == DIR_REC_PRIVATE) record.setPvtRecUid(privateInstanceUid);
    copyKeys(keys, source, record);
    if (type == DIR_REC_SR_DOCUMENT) {
        const std::string verified = lastVerification(source);
        if (!verified.empty()) record.add(new DcElem(T_0040_a030_verificationDateTime, verified.c_str()));
    }
    for (const RecordKey& key : keys) {
        if (key.need == Need::given || elementOf(record, key.tag) != nullptr) continue;
        if (key.need == Need::empty) {
            record.add(emptyElement(key.tag));
        } else if (key.need == Need::made) {
            const std::string value = madeValue(key.tag, source, number);
            lacks.made.push_back(keyName(key.tag) + " " + value);
            record.add(new DcElem(key.tag, value.c_str()));
        } else {
            lacks.missing.push_back(keyName(key.tag));
        }
    }
    copyCharset(source, record);
}

void compareKeys(const DcDirRec& record, SourceFile& source, std::vector<std::string>& faults) {
    const bool sameCharset = charsetOf(record) == source.text(T_0008_0005_specificCharacterSet);
    for (const RecordKey& key : keysOf(typeOf(record))) {
        const DcElem* const theirs = elementOf(source.dataset, key.tag);
        if (theirs == nullptr || isSequence(*theirs)) continue;
        const std::string here = textOf(record, key.tag);
        const std::string there = source.text(key.tag);
        if (here.empty() || there.empty() || here == there) continue;
        if (!sameCharset && !(isPlainAscii(here) && isPlainAscii(there))) continue;
        faults.push_back(keyName(key.tag) + " is '" + there + "', in the " + typeName(record) + " record '" +
                         here + "'");
    }
}

void checkKeys(const DcDirRec& record, std::vector<std::string>& faults) {
    for (const RecordKey& key : keysOf(typeOf(record))) {
        if (key.need != Need::required && key.need != Need::made) continue;
        DcElem* const element = elementOf(record, key.tag);
        if (element != nullptr && hasValue(*element)) continue;
        faults.push_back(keyName(key.tag) + " is missing");
    }
}

}  // namespace services
