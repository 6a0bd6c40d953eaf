// An index of a test's own, with objects and keys as lines of text: "id=4711; name=Doe^Jane; req>step=S1".
#ifndef ORVKIT_TESTS_INDEX_ARCHIVE_H
#define ORVKIT_TESTS_INDEX_ARCHIVE_H

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <vector>

#include "index/server.h"
#include "orvkit/index.h"
#include "orvkit/log.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "support/temp_dir.h"

inline unsigned int tagNamed(const std::string& name) {
    static const std::map<std::string, unsigned int> tags = {
        {"charset", 0x00080005},   {"level", 0x00080052},      {"class", 0x00080016},
        {"sop", 0x00080018},       {"date", 0x00080020},       {"time", 0x00080030},
        {"accession", 0x00080050}, {"modality", 0x00080060},   {"modalities", 0x00080061},
        {"classes", 0x00080062},   {"referring", 0x00080090},  {"zone", 0x00080201},
        {"desc", 0x00081030},      {"proc", 0x00081032},       {"code", 0x00080100},
        {"meaning", 0x00080104},   {"name", 0x00100010},       {"id", 0x00100020},
        {"issuer", 0x00100021},    {"birth", 0x00100030},      {"sex", 0x00100040},
        {"others", 0x00101000},    {"study", 0x0020000D},      {"series", 0x0020000E},
        {"studyid", 0x00200010},   {"number", 0x00200011},     {"instance", 0x00200013},
        {"req", 0x00400275},       {"rp", 0x00401001},         {"step", 0x00400009},
        {"taken", 0x0008002A},     {"rows", 0x00280010},       {"studies", 0x00201200},
        {"allseries", 0x00201206}, {"images", 0x00201208},     {"inseries", 0x00201209},
        {"comment", 0x00204000},   {"seriesdate", 0x00080021}, {"performed", 0x00400244},
        {"physician", 0x00081050}, {"ppsid", 0x00400253},      {"otherids", 0x00101002},
    };
    return tags.at(name);
}

// A value as it stands in a stream, which may be none of its VR.
inline void addText(DcElemList& list, unsigned int tag, std::string value) {
    DICT_VR vr = VR_UNKNOWN;
    (void)Dict.getVrDef(tag, vr);
    if (vr == VR_US && !value.empty()) {
        list.add(new DcElem(tag, static_cast<unsigned short>(std::stoi(value))));
        return;
    }
    if (value.size() % 2 != 0) value += vr == VR_UI ? '\0' : ' ';
    auto* const element = new DcElem(tag, nullptr, 0U, UID_NONE, VR_IM, 0);
    element->registerValueExceptionCB(nullptr, [](void*, unsigned int, DICT_VR, char*, char**) { return 0; });
    (void)element->parseVal(value.data(), static_cast<unsigned int>(value.size()),
                            UID_LITTLE_ENDIAN_IMPLICIT);
    list.add(element);
}

inline void addPart(DcElemList& list, const std::string& name, const std::string& value) {
    const std::size_t inner = name.find('>');
    if (inner == std::string::npos) return addText(list, tagNamed(name), value);
    const unsigned int tag = tagNamed(name.substr(0, inner));
    DcElemSq* sequence = nullptr;
    if (list.getElem(tag, &sequence) != RESULT_OK) {
        sequence = new DcElemSq(tag);
        sequence->add(new DcElemSqItem());
        list.add(sequence);
    }
    addPart(sequence->first()->getElemList(), name.substr(inner + 1), value);
}

inline std::unique_ptr<DcElemList> datasetOf(const std::string& text) {
    auto list = std::make_unique<DcElemList>();
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("; ", at), text.size());
        const std::string part = text.substr(at, end - at);
        const std::size_t equals = part.find('=');
        addPart(*list, part.substr(0, equals), equals == std::string::npos ? "" : part.substr(equals + 1));
        at = end + 2;
    }
    return list;
}

inline std::string textOf(DcElemList& list, const std::string& name) {
    char text[512] = "";
    std::string all;
    const unsigned int tag = tagNamed(name);
    for (int i = 0; i < list.getValueCount(tag); ++i) {
        (void)list.getValue(tag, text, sizeof text - 1, i);
        all += (i == 0 ? "" : "\\") + std::string(text);
    }
    return all;
}

// Each test is one of both engines.
enum class EngineKind { sqlite, postgresql };
inline std::string engineName(const testing::TestParamInfo<EngineKind>& info) {
    return info.param == EngineKind::sqlite ? "Sqlite" : "Postgresql";
}
#define ORVKIT_ON_BOTH_ENGINES(test)                                                                     \
    INSTANTIATE_TEST_SUITE_P(Engines, test, testing::Values(EngineKind::sqlite, EngineKind::postgresql), \
                             engineName)

class ArchiveTest : public testing::TestWithParam<EngineKind> {
  protected:
    static constexpr const char* kClass = "1.2.840.10008.5.1.4.1.1.2";
    static constexpr const char* kSyntax = "1.2.840.10008.1.2.1";

    void SetUp() override {
        // As whoever answers requests does: keys are no values of their VRs.
        elemListSetValueExceptionLevel(0);
        place_ = "sqlite:" + path();
        if (GetParam() == EngineKind::postgresql) {
            const std::string& fault = PostgresqlServer::get().fault();
            if (!fault.empty()) GTEST_SKIP() << fault;
            place_ = PostgresqlServer::get().newPlace();
        }
        ASSERT_EQ(index.open(place().c_str(), INDEX_CREATE), RESULT_OK) << DcIndex::fault();
    }

    std::string path() const { return directory / "index.sqlite"; }
    const std::string& place() const { return place_; }

    // The instance is "sop" in the text, and its file F/sop.dcm unless told.
    int tryStore(const std::string& text, INDEX_DUPLICATE duplicate = INDEX_KEEP, std::string file = "",
                 unsigned long long size = 1000) {
        const auto dataset = datasetOf(
            text.find("class=") == std::string::npos ? std::string("class=") + kClass + "; " + text : text);
        if (file.empty()) file = "F/" + textOf(*dataset, "sop") + ".dcm";
        DcIndexFile about;
        about.path = file.c_str();
        about.xferSyn = kSyntax;
        about.size = size;
        return index.store(*dataset, about, duplicate, stored);
    }
    void store(const std::string& text) { ASSERT_EQ(tryStore(text), RESULT_OK) << DcIndex::fault(); }

    // The values of `what` in the answers, in order.
    std::string find(const std::string& keys, const std::string& what, unsigned int how = 0,
                     INDEX_ROOT root = INDEX_ROOT_STUDY) {
        DcIndexQuery query;
        query.root = root;
        query.how = how;
        query.maxResults = bound;
        query.maxMilliseconds = milliseconds;
        const auto identifier = datasetOf(keys);
        struct Context {
            const std::string& what;
            std::multiset<std::string> values;
        } context{what, {}};
        result = index.query(
            query, *identifier, &context,
            [](void* self, DcElemList& answer) {
                auto& into = *static_cast<Context*>(self);
                std::istringstream names(into.what);
                std::string all;
                for (std::string name; names >> name;) all += (all.empty() ? "" : " ") + textOf(answer, name);
                into.values.insert(all);
                return 0;
            },
            found);
        std::string all;
        for (const std::string& value : context.values) all += (all.empty() ? "" : ", ") + value;
        return all;
    }

    std::string walk(const std::string& keys, INDEX_ROOT root = INDEX_ROOT_STUDY, unsigned int how = 0) {
        const auto identifier = datasetOf(keys);
        std::string all;
        result = index.walk(root, how, *identifier, &all, addPath);
        return all;
    }
    static int addPath(void* all, const DcIndexInstance& instance) {
        auto& text = *static_cast<std::string*>(all);
        text += (text.empty() ? "" : ", ") + std::string(instance.path);
        return 0;
    }

    void expectSound() {
        std::string faults;
        EXPECT_EQ(index.verify(&faults,
                               [](void* all, const char* fault) {
                                   *static_cast<std::string*>(all) += std::string(fault) + "\n";
                                   return 0;
                               }),
                  RESULT_OK);
        EXPECT_EQ(faults, "");
    }

    TempDir directory;
    std::string place_;
    DcIndex index;
    DcIndexStored stored;
    DcIndexFound found;
    int result = RESULT_OK;
    unsigned int bound = 0;
    unsigned int milliseconds = 0;
};

#endif
