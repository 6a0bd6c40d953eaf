#include "index/levels.h"

#include <algorithm>
#include <iterator>

#include "index/forms.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

constexpr LevelRow levelRows[] = {
    {"PATIENT", "patient", "p", T_0010_0020_patientId},
    {"STUDY", "study", "s", T_0020_000d_studyInstanceUid},
    {"SERIES", "series", "e", T_0020_000e_seriesInstanceUid},
    {"IMAGE", "instance", "i", T_0008_0018_sopInstanceUid},
};

// clang-format off
constexpr unsigned int patientTags[] = {
    0x00081120, 0x00100010, 0x00100020, 0x00100021, 0x00100022, 0x00100024, 0x00100026, 0x00100027, 0x00100028,
    0x00100030, 0x00100032, 0x00100033, 0x00100034, 0x00100035, 0x00100040, 0x00100212, 0x00100213, 0x00100214,
    0x00101000, 0x00101001, 0x00101002, 0x00101005, 0x00101040, 0x00101060, 0x00101100, 0x00102160, 0x00102201,
    0x00102202, 0x00102292, 0x00102293, 0x00102294, 0x00102295, 0x00102296, 0x00102297, 0x00102298, 0x00102299,
    0x00104000, 0x00120010, 0x00120020, 0x00120021, 0x00120030, 0x00120031, 0x00120040, 0x00120042, 0x00120062,
    0x00120063, 0x00120064, 0x00120081, 0x00120082, 0x00201200, 0x00201202, 0x00201204,
};
constexpr unsigned int studyTags[] = {
    0x00080020, 0x00080030, 0x00080050, 0x00080051, 0x00080061, 0x00080062, 0x00080090, 0x00080096, 0x0008009C,
    0x0008009D, 0x00080201, 0x00081030, 0x00081032, 0x00081048, 0x00081049, 0x00081060, 0x00081062, 0x00081080,
    0x00081084, 0x00081110, 0x00101010, 0x00101020, 0x00101021, 0x00101022, 0x00101030, 0x00102000, 0x00102110,
    0x00102180, 0x001021A0, 0x001021B0, 0x001021C0, 0x001021D0, 0x00102203, 0x00120050, 0x00120051, 0x0020000D,
    0x00200010, 0x00201206, 0x00201208, 0x00321031, 0x00321032, 0x00321033, 0x00321060, 0x00321064, 0x00380010,
    0x00380014, 0x00380060, 0x00380062, 0x00380064, 0x00380500, 0x00401001, 0x00401002, 0x0040100A, 0x00401012,
};
constexpr unsigned int seriesTags[] = {
    0x00080021, 0x00080031, 0x00080060, 0x00080070, 0x00080080, 0x00080081, 0x00080082, 0x00081010, 0x0008103E,
    0x0008103F, 0x00081040, 0x00081041, 0x00081050, 0x00081052, 0x00081070, 0x00081072, 0x00081090, 0x00081111,
    0x00081250, 0x00120060, 0x00120071, 0x00120072, 0x00180015, 0x00181000, 0x00181020, 0x00181030, 0x00185100,
    0x0020000E, 0x00200011, 0x00200052, 0x00200060, 0x00201040, 0x00201209, 0x00280108, 0x00280109, 0x00400241,
    0x00400242, 0x00400243, 0x00400244, 0x00400245, 0x00400250, 0x00400251, 0x00400253, 0x00400254, 0x00400260,
    0x00400275, 0x00400280,
};
constexpr unsigned int computedTags[] = {
    0x00080016, 0x00080018, 0x00080061, 0x00080062, 0x0020000D, 0x0020000E, 0x00201200, 0x00201202, 0x00201204,
    0x00201206, 0x00201208, 0x00201209,
};

constexpr SearchRow searchRows[] = {
    // Tag                                       in its items                          level           search         column         words
    {T_0008_0018_sopInstanceUid,                 0,                                    Level::image,   Search::uid,   "uid",         0},
    {T_0020_000e_seriesInstanceUid,              0,                                    Level::series,  Search::uid,   "uid",         0},
    {T_0020_000d_studyInstanceUid,               0,                                    Level::study,   Search::uid,   "uid",         0},
    {T_0010_0020_patientId,                      0,                                    Level::patient, Search::text,  "id_form",     0},
    {T_0008_0050_accessionNumber,                0,                                    Level::study,   Search::text,  "accession",   0},
    {T_0020_0010_studyId,                        0,                                    Level::study,   Search::text,  "study_id",    0},
    {T_0010_0010_patientsName,                   0,                                    Level::patient, Search::name,  "name",        0},
    {T_0010_0030_patientsBirthDate,              0,                                    Level::patient, Search::date,  "birth",       0},
    {T_0008_0020_studyDate,                      0,                                    Level::study,   Search::date,  "date",        0},
    {T_0008_1030_studyDescription,               0,                                    Level::study,   Search::text,  "description", 0},
    {T_0008_0021_seriesDate,                     0,                                    Level::series,  Search::date,  "date",        0},
    {T_0040_0244_performedProcedureStepStartDate, 0,                                   Level::series,  Search::date,  "performed",   0},
    {T_0008_0060_modality,                       0,                                    Level::series,  Search::text,  "modality",    0},
    {T_0008_0061_modalitiesInStudy,              0,                                    Level::study,   Search::words, nullptr,       kModality},
    {T_0010_1000_otherPatientIds,                0,                                    Level::patient, Search::words, nullptr,       3},
    {T_0010_1002_otherPatientIdsSequence,        T_0010_0020_patientId,                Level::patient, Search::words, nullptr,       3},
    {T_0008_0090_referringPhysiciansName,        0,                                    Level::study,   Search::names, nullptr,       4},
    {T_0008_1032_procedureCodeSequence,          T_0008_0100_codeValue,                Level::study,   Search::words, nullptr,       5},
    {T_0008_1050_performingPhysiciansName,       0,                                    Level::series,  Search::names, nullptr,       6},
    {T_0040_0275_requestAttributesSequence,      T_0040_1001_requestedProcedureId,     Level::series,  Search::words, nullptr,       7},
    {T_0040_0275_requestAttributesSequence,      T_0040_0009_scheduledProcedureStepId, Level::series,  Search::words, nullptr,       8},
    {T_0040_0253_performedProcedureStepId,       0,                                    Level::series,  Search::words, nullptr,       9},
};
// clang-format on

bool has(std::span<const unsigned int> tags, unsigned int tag) {
    return std::binary_search(tags.begin(), tags.end(), tag);
}

void addForms(const SearchRow& row, std::string_view value, std::vector<Word>& words) {
    const auto add = [&](std::string_view text) {
        std::string form = formOf(text);
        if (!form.empty()) words.push_back({row.kind, std::move(form)});
    };
    eachValue(value, [&](std::string_view one) {
        if (row.search != Search::names) return add(one);
        for (const std::string& group : nameGroups(one)) add(group);
    });
}

}  // namespace

const LevelRow& rowOf(Level level) {
    return levelRows[numberOf(level)];
}

Level levelOf(unsigned int tag) {
    if (has(patientTags, tag)) return Level::patient;
    if (has(studyTags, tag)) return Level::study;
    return has(seriesTags, tag) ? Level::series : Level::image;
}

bool isComputed(unsigned int tag) {
    return has(computedTags, tag);
}

std::span<const SearchRow> searches() {
    return searchRows;
}

std::vector<Word> wordsOf(Level level, std::string_view attributes) {
    std::vector<Word> words;
    for (const SearchRow& row : searchRows) {
        if (row.column != nullptr || row.level != level) continue;
        const std::string_view value = valueOf(attributes, row.tag);
        if (row.within == 0) {
            addForms(row, value, words);
            continue;
        }
        ItemReader items(value);
        for (std::string_view item; items.next(item);) addForms(row, valueOf(item, row.within), words);
    }
    if (level == Level::patient) {
        for (std::string& word : nameWords(valueOf(attributes, T_0010_0010_patientsName))) {
            words.push_back({kNameWord, std::move(word)});
        }
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

}  // namespace orvkit::index
