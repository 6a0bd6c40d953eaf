// What an index keeps, tells and refuses.
#include <thread>

#include "index/archive.h"
#include "index/attributes.h"
#include "index/plan.h"
#include "index/schema.h"
#include "index/session.h"
#include "index/trouble.h"

namespace {

class IndexTest : public ArchiveTest {
  protected:
    void storeSeries(const std::string& study, const std::string& series, int instances) {
        for (int i = 1; i <= instances; ++i) {
            store("id=P" + study + "; name=N^" + study + "; modality=CT; study=" + study + "; series=" +
                  series + "; sop=" + series + "." + std::to_string(i) + "; instance=" + std::to_string(i) +
                  "; rows=512; comment=all the same" + (i == 2 ? " but here" : ""));
        }
    }
    void expectDamaged() {
        const int opened = index.open(place().c_str(), INDEX_WRITE);
        if (opened == RESULT_OK) (void)find("level=SERIES; study=7; series", "series");
        EXPECT_EQ(opened == RESULT_OK ? result : opened, INDEX_DAMAGED) << DcIndex::fault();
        EXPECT_NE(std::string(DcIndex::fault()).find("orvkit index rebuild"), std::string::npos)
            << DcIndex::fault();
    }
};

TEST_P(IndexTest, AnswersWhatIsAskedForLevelByLevel) {
    storeSeries("1", "1.1", 3);
    storeSeries("1", "1.2", 1);
    storeSeries("2", "2.1", 1);
    struct Row {
        INDEX_ROOT root;
        const char* keys;
        const char* names;
        const char* answers;
    };
    for (const Row& row : std::initializer_list<Row>{
             {INDEX_ROOT_PATIENT, "level=PATIENT; id; name; studies", "level id studies",
              "PATIENT P1 1, PATIENT P2 1"},
             {INDEX_ROOT_PATIENT, "level=STUDY; id=P1; study; allseries; images", "id study allseries images",
              "P1 1 2 4"},
             {INDEX_ROOT_STUDY, "level=study; id; study; modalities; classes", "id modalities classes",
              "P1 CT 1.2.840.10008.5.1.4.1.1.2, P2 CT 1.2.840.10008.5.1.4.1.1.2"},
             {INDEX_ROOT_STUDY, "level=SERIES; study=1; series; name; inseries", "series name inseries",
              "1.1 N^1 3, 1.2 N^1 1"},
             {INDEX_ROOT_STUDY, "level=IMAGE; study=1; series=1.1; sop; rows; comment; instance",
              "sop rows instance comment",
              "1.1.1 512 1 all the same, 1.1.2 512 2 all the same but here, 1.1.3 512 3 all the same"},
             {INDEX_ROOT_STUDY, "level=IMAGE; study=1; series=1.1; sop=1.1.2\\1.1.3", "sop", "1.1.2, 1.1.3"},
             {INDEX_ROOT_STUDY, "level=IMAGE; study=2; series=1.1; sop", "sop", ""},
         }) {
        EXPECT_EQ(find(row.keys, row.names, 0, row.root), row.answers) << row.keys;
        EXPECT_EQ(result, RESULT_OK) << DcIndex::fault();
        EXPECT_EQ(found.unsupportedCount, 0U);
    }
    EXPECT_EQ(find("level=STUDY; study=1; modality; rows", "study modality rows"), "1  ");
    EXPECT_EQ(found.unsupportedCount, 2U);
    EXPECT_EQ(found.unsupported[0], 0x00080060U);

    std::string all;
    EXPECT_EQ(index.describe("1", "1.1", "1.1.2", &all,
                             [](void* text, DcElemList& dataset) {
                                 for (const char* name : {"class", "sop", "id", "study", "modality",
                                                          "instance", "rows", "comment"}) {
                                     *static_cast<std::string*>(text) += textOf(dataset, name) + "|";
                                 }
                                 return 0;
                             }),
              RESULT_OK);
    EXPECT_EQ(all, "1.2.840.10008.5.1.4.1.1.2|1.1.2|P1|1|CT|2|512|all the same but here|");
}

TEST_P(IndexTest, AnswersInTheCharacterSetOfTheRequestOrInUtf8) {
    store("charset=ISO_IR 100; name=M\xFCller; id=1; study=1; series=1.1; sop=1.1.1; modality=CT");
    struct Row {
        const char* keys;
        const char* answer;
    };
    for (const Row& row :
         std::initializer_list<Row>{{"level=STUDY; study; name", "ISO_IR 192 Müller"},
                                    {"charset=ISO_IR 100; level=STUDY; name", "ISO_IR 100 M\xFCller"},
                                    {"charset=ISO_IR 144; level=STUDY; name", "ISO_IR 192 Müller"},
                                    {"charset=ISO_IR 144; level=STUDY; id", ""}}) {
        EXPECT_EQ(find(row.keys, "charset name"), row.answer) << row.keys;
    }
}

TEST_P(IndexTest, RefusesRequestsWithoutTheirUniqueKeys) {
    storeSeries("1", "1.1", 1);
    for (const auto& [root, keys] : std::initializer_list<std::pair<INDEX_ROOT, const char*>>{
             {INDEX_ROOT_STUDY, "study=1"},
             {INDEX_ROOT_STUDY, "level=PATIENT; id"},
             {INDEX_ROOT_STUDY, "level=FRAME; id"},
             {INDEX_ROOT_STUDY, "level=SERIES; series"},
             {INDEX_ROOT_STUDY, "level=SERIES; study=1\\2; series"},
             {INDEX_ROOT_STUDY, "level=IMAGE; study=1; sop=1.1.1"},
             {INDEX_ROOT_PATIENT, "level=STUDY; study=1"},
             {INDEX_ROOT_PATIENT, "level=STUDY; id=P*; study=1"},
             {INDEX_ROOT_INSTANCE, "level=IMAGE; sop=1.1.1"},
         }) {
        EXPECT_EQ(find(keys, "study", 0, root), "") << keys;
        EXPECT_EQ(result, INDEX_KEYS) << keys;
        EXPECT_STRNE(DcIndex::fault(), "");
    }
    EXPECT_EQ(find("level=IMAGE; sop=1.1.1", "sop", INDEX_RELATIONAL), "1.1.1");
}

TEST_P(IndexTest, WalksWhatUniqueKeysSelect) {
    storeSeries("1", "1.1", 3);
    storeSeries("1", "1.2", 1);
    storeSeries("2", "2.1", 2);
    struct Row {
        INDEX_ROOT root;
        const char* keys;
        const char* files;
        int expected;
    };
    for (const Row& row : std::initializer_list<Row>{
             {INDEX_ROOT_PATIENT, "level=PATIENT; id=P2", "F/2.1.1.dcm, F/2.1.2.dcm", RESULT_OK},
             {INDEX_ROOT_STUDY, "level=STUDY; study=1; modality=MR",
              "F/1.1.1.dcm, F/1.1.2.dcm, F/1.1.3.dcm, F/1.2.1.dcm", RESULT_OK},
             {INDEX_ROOT_STUDY, "level=STUDY; study=2\\1",
              "F/1.1.1.dcm, F/1.1.2.dcm, F/1.1.3.dcm, F/1.2.1.dcm, "
              "F/2.1.1.dcm, F/2.1.2.dcm",
              RESULT_OK},
             {INDEX_ROOT_PATIENT, "level=STUDY; id=P1; study=2", "", RESULT_OK},
             {INDEX_ROOT_STUDY, "level=SERIES; study=1; series=1.2", "F/1.2.1.dcm", RESULT_OK},
             {INDEX_ROOT_STUDY, "level=IMAGE; study=1; series=1.1; sop=1.1.3\\1.1.1\\1.1.3\\2.1.1",
              "F/1.1.1.dcm, F/1.1.3.dcm", RESULT_OK},
             {INDEX_ROOT_INSTANCE, "level=IMAGE; sop=2.1.2\\1.1.1", "F/1.1.1.dcm, F/2.1.2.dcm", RESULT_OK},
             {INDEX_ROOT_STUDY, "level=STUDY; modality=CT", "", INDEX_KEYS},
             {INDEX_ROOT_PATIENT, "level=PATIENT; id=P1\\P2", "", INDEX_KEYS},
         }) {
        EXPECT_EQ(walk(row.keys, row.root), row.files) << row.keys;
        EXPECT_EQ(result, row.expected) << row.keys;
        unsigned long long instances = 0;
        unsigned long long bytes = 0;
        if (row.expected != RESULT_OK) continue;
        EXPECT_EQ(index.count(row.root, 0, *datasetOf(row.keys), instances, bytes), RESULT_OK);
        const std::string files = row.files;
        const auto commas = static_cast<unsigned long long>(std::count(files.begin(), files.end(), ','));
        EXPECT_EQ(instances, files.empty() ? 0 : commas + 1) << row.keys;
        EXPECT_EQ(bytes, instances * 1000);
    }
    std::string all;
    EXPECT_EQ(index.walkAll(&all, addPath), RESULT_OK);
    EXPECT_EQ(std::count(all.begin(), all.end(), ','), 5);
    EXPECT_EQ(index.walkAll(&all, [](void*, const DcIndexInstance&) { return 1; }), INDEX_STOPPED);
}

TEST_P(IndexTest, KeepsReplacesOrTakesBoth) {
    const std::string object = "id=1; study=1; series=1.1; sop=1.1.1; modality=CT; comment=";
    store(object + "first");
    EXPECT_EQ(stored.what, INDEX_STORED_NEW);
    for (const INDEX_DUPLICATE how : {INDEX_KEEP, INDEX_NEW}) {
        EXPECT_EQ(tryStore(object + "second", how, "G/2.dcm", 7), RESULT_OK);
        EXPECT_EQ(stored.what, INDEX_STORED_KEPT);
        EXPECT_STREQ(stored.other, "F/1.1.1.dcm");
    }
    EXPECT_EQ(tryStore(object + "second", INDEX_BOTH, "G/2.dcm", 7), RESULT_OK);
    EXPECT_EQ(stored.what, INDEX_STORED_BOTH);
    EXPECT_EQ(walk("level=STUDY; study=1"), "F/1.1.1.dcm, G/2.dcm");
    EXPECT_EQ(tryStore(object + "third", INDEX_REPLACE, "G/3.dcm", 9), RESULT_OK);
    EXPECT_EQ(stored.what, INDEX_STORED_REPLACED);
    EXPECT_STREQ(stored.other, "F/1.1.1.dcm");
    EXPECT_EQ(find("level=IMAGE; study=1; series=1.1; sop; comment", "sop comment"),
              "1.1.1 second, 1.1.1 third");
    DcIndexStats stats;
    EXPECT_EQ(index.stats(stats), RESULT_OK);
    EXPECT_EQ(stats.instances, 2U);
    EXPECT_EQ(stats.bytes, 16U);
    expectSound();
    EXPECT_EQ(index.forget("1.1.1", "G/3.dcm"), RESULT_OK);
    EXPECT_EQ(index.forget("1.1.1", "G/3.dcm"), INDEX_ABSENT);
    EXPECT_EQ(tryStore(object + "fourth", INDEX_REPLACE, "G/4.dcm", 9), RESULT_OK);
    EXPECT_EQ(walk("level=STUDY; study=1"), "G/4.dcm");
    expectSound();
}

TEST_P(IndexTest, WhatContradictsIsKeptToldAndFound) {
    store("id=1; name=A; study=1; series=1.1; sop=1.1.1; modality=CT");
    store("id=1; name=B; study=2; series=1.1; sop=1.1.1; modality=MR");
    EXPECT_EQ(stored.what, INDEX_STORED_NEW);
    EXPECT_EQ(stored.conflicts, INDEX_INSTANCE_ELSEWHERE | INDEX_SERIES_ELSEWHERE | INDEX_PATIENT_DIFFERS);
    EXPECT_EQ(tryStore("id=2; study=1; series=1.2; sop=1.2.1; modality=CT"), RESULT_OK);
    EXPECT_EQ(stored.conflicts, INDEX_STUDY_ELSEWHERE);
    EXPECT_EQ(find("level=IMAGE; sop=1.1.1; study", "study sop", INDEX_RELATIONAL), "1 1.1.1, 2 1.1.1");
    EXPECT_EQ(find("level=STUDY; study=1; id", "id"), "1, 2");
    EXPECT_EQ(find("level=STUDY; modalities=MR; study", "study"), "2");
    std::string all;
    EXPECT_EQ(index.lookUp("1.1.1", &all, addPath), RESULT_OK);
    EXPECT_EQ(all, "F/1.1.1.dcm, F/1.1.1.dcm");
    // Two without an ID are not one patient.
    store("name=X; study=3; series=3.1; sop=3.1.1; modality=CT");
    store("name=X; study=4; series=4.1; sop=4.1.1; modality=CT");
    EXPECT_EQ(find("level=PATIENT; name=X; studies", "name studies", 0, INDEX_ROOT_PATIENT), "X 1, X 1");
    expectSound();
}

TEST_P(IndexTest, IsCopiedToAnotherEngineAndBackWithAllItKnows) {
    storeSeries("1", "1.1", 600);  // more than go at once
    store(
        "id=1; name=M\xFC"
        "ller; charset=ISO_IR 100; study=1; series=1.1; sop=1.1.1; modality=CT");
    store("id=1; name=B; study=2; series=1.1; sop=1.1.1; modality=MR; comment=of one alone");
    EXPECT_EQ(tryStore("id=1; study=2; series=1.1; sop=1.1.1", INDEX_BOTH, "F/again.dcm", 7), RESULT_OK);
    store("id=2; study=1; series=1.2; sop=1.2.1; modality=CT");
    store("name=X; study=3; series=3.1; sop=3.1.1; modality=CT");
    const auto answers = [this] {
        std::string all;
        EXPECT_EQ(index.walkAll(&all, addPath), RESULT_OK);
        expectSound();
        DcIndexStats stats;
        EXPECT_EQ(index.stats(stats), RESULT_OK);
        return all + std::to_string(stats.bytes) +
               find("level=IMAGE; id; name; study; series; sop; comment", "id name study series sop comment",
                    INDEX_RELATIONAL) +
               find("level=STUDY; id; modalities; study", "id modalities study") +
               find("level=PATIENT; name=m*; id", "id name", INDEX_ANY_CASE, INDEX_ROOT_PATIENT);
    };
    const std::string first = answers();
    const std::string other =
        GetParam() == EngineKind::sqlite ? "sqlite:" + path() + "3" : PostgresqlServer::get().newPlace();
    for (const std::string& next : {"sqlite:" + path() + "2", other}) {
        DcIndex copy;
        ASSERT_EQ(copy.open(next.c_str(), INDEX_CREATE), RESULT_OK) << DcIndex::fault();
        unsigned long long seen = 0;
        // One that was ended goes on where it was; what is there already stays.
        for (const int end : {1, 0, 0}) {
            struct Context {
                unsigned long long& seen;
                int end;
            } context{seen, end};
            EXPECT_EQ(copy.copyAll(index, &context,
                                   [](void* self, unsigned long long instances) {
                                       static_cast<Context*>(self)->seen = instances;
                                       return static_cast<Context*>(self)->end;
                                   }),
                      end != 0 ? INDEX_STOPPED : RESULT_OK)
                << DcIndex::fault();
            EXPECT_EQ(seen, end != 0 ? 500U : 605U);
        }
        copy.close();
        ASSERT_EQ(index.open(next.c_str(), INDEX_READ), RESULT_OK);
        EXPECT_EQ(answers(), first) << next;
    }
}

TEST_P(IndexTest, RefusesObjectsThatNobodyCouldFind) {
    const std::string good = "id=1; study=1; series=1.1; sop=1.1.1";
    for (const char* const object :
         {"id=1; series=1.1; sop=1.1.1", "study=1; sop=1.1.1", "study=1; series=1.1",
          "study=1; series=x; sop=1.1.1", "study=1; series=1.1; sop=../../etc",
          "class=; study=1; series=1.1; sop=1"}) {
        EXPECT_EQ(tryStore(object), INDEX_IDENTITY) << object;
        EXPECT_STRNE(DcIndex::fault(), "");
    }
    EXPECT_EQ(tryStore(good, INDEX_KEEP, std::string(INDEX_PATH_MAX + 1, 'a')), INDEX_IDENTITY);
    EXPECT_EQ(tryStore(good, INDEX_KEEP, std::string(INDEX_PATH_MAX, 'a')), RESULT_OK);
    EXPECT_STREQ(DcIndex::fault(), "");
}

TEST_P(IndexTest, BuriesAndForgetsWhatIsEmptyThen) {
    storeSeries("1", "1.1", 3);
    storeSeries("1", "1.2", 2);
    store("id=P1; study=1; series=1.3; sop=1.3.1; modality=SR");
    storeSeries("2", "2.1", 1);
    DcIndexGrave grave{};
    EXPECT_EQ(index.bury(INDEX_ROOT_STUDY, 0, *datasetOf("level=SERIES; study=1; series=1.3"), grave),
              RESULT_OK);
    EXPECT_EQ(grave.instances, 1U);
    EXPECT_EQ(find("level=STUDY; study; modalities; allseries; images; studies",
                   "study modalities allseries images studies"),
              "1 CT 2 5 1, 2 CT 1 1 1");
    EXPECT_EQ(find("level=STUDY; study; modalities=SR", "study"), "");
    expectSound();
    const unsigned long long first = grave.number;
    EXPECT_EQ(index.bury(INDEX_ROOT_PATIENT, 0, *datasetOf("level=PATIENT; id=P1"), grave), RESULT_OK);
    EXPECT_EQ(grave.instances, 5U);
    EXPECT_EQ(grave.bytes, 5000U);
    EXPECT_EQ(find("level=PATIENT; id", "id", 0, INDEX_ROOT_PATIENT), "P2");
    EXPECT_EQ(find("level=PATIENT; id; name=n*", "id", INDEX_FUZZY_NAMES, INDEX_ROOT_PATIENT), "P2");
    expectSound();
    EXPECT_EQ(index.bury(INDEX_ROOT_PATIENT, 0, *datasetOf("level=PATIENT; id=P1"), grave), RESULT_OK);
    EXPECT_EQ(grave.instances, 0U);
    std::string numbers;
    EXPECT_EQ(index.walkGraves(&numbers,
                               [](void* all, const DcIndexGrave& one) {
                                   *static_cast<std::string*>(all) += std::to_string(one.instances) + " ";
                                   return 0;
                               }),
              RESULT_OK);
    EXPECT_EQ(numbers, "1 5 ");
    std::string files;
    EXPECT_EQ(index.walkGrave(first, &files, addPath), RESULT_OK);
    EXPECT_EQ(files, "F/1.3.1.dcm");
    EXPECT_EQ(index.closeGrave(first), RESULT_OK);
    EXPECT_EQ(index.closeGrave(first), INDEX_ABSENT);
    EXPECT_EQ(index.walkGrave(first, &files, addPath), INDEX_ABSENT);
    // Stored again it is as before.
    store("id=P1; study=1; series=1.3; sop=1.3.1; modality=SR");
    EXPECT_EQ(stored.what, INDEX_STORED_NEW);
    EXPECT_EQ(stored.conflicts, 0U);
    expectSound();
}

TEST_P(IndexTest, EndsQueriesByResultsTimeAndCallbacks) {
    storeSeries("1", "1.1", 30);
    bound = 10;
    EXPECT_NE(find("level=IMAGE; sop", "sop", INDEX_RELATIONAL), "");
    EXPECT_EQ(result, INDEX_RESULTS);
    EXPECT_EQ(found.answers, 10U);
    bound = 30;
    (void)find("level=IMAGE; sop", "sop", INDEX_RELATIONAL);
    EXPECT_EQ(result, RESULT_OK);
    const auto keys = datasetOf("level=IMAGE; sop");
    DcIndexQuery query;
    query.how = INDEX_RELATIONAL;
    int answers = 0;
    const DcIndexAnswerCB once = [](void* count, DcElemList&) {
        return ++*static_cast<int*>(count) == 3 ? 1 : 0;
    };
    EXPECT_EQ(index.query(query, *keys, &answers, once, found), INDEX_STOPPED);
    EXPECT_EQ(answers, 3);
    // While nothing is found: a cross of all with all would take for ever.
    query.maxMilliseconds = 50;
    orvkit::index::Session::Guard guard;
    const auto engine = orvkit::index::openEngine(place(), INDEX_READ, false);
    const auto session = engine->connect(false);
    std::atomic<int> asked = 0;
    session->setGuard([&] { return ++asked == 5; });
    const auto endless = session->prepare(
        "SELECT COUNT(*) FROM instance a, instance b, instance c, instance d, "
        "instance e, instance f");
    EXPECT_ANY_THROW((void)endless->step());
    EXPECT_EQ(asked, 5);
}

// How a statement goes through tables without an index, as its engine tells; "" when it does not. SQLite says
// "SCAN" (https://sqlite.org/eqp.html). PostgreSQL, which is told to scan only where nothing else can be
// done, says "Seq Scan"; and an index that is gone through from end to end has no condition on what it begins
// with.
std::string scansOf(orvkit::index::Session& session, const orvkit::index::Sql& sql, EngineKind kind) {
    const bool isSqlite = kind == EngineKind::sqlite;
    const auto explained =
        session.prepare((isSqlite ? "EXPLAIN QUERY PLAN " : "EXPLAIN (COSTS OFF) ") + sql.text());
    sql.bindTo(*explained);
    std::vector<std::string> lines;
    while (explained->step()) lines.emplace_back(explained->text(isSqlite ? 3 : 0));
    std::string scans;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const auto has = [&](std::size_t line, const char* text) {
            return line < lines.size() && lines[line].find(text) != std::string::npos;
        };
        const bool byIndex = has(i, "Index Scan") || has(i, "Index Only Scan");
        const char* const first = has(i, "on instance_") ? "Index Cond: ((study = " : "Index Cond";
        if (has(i, "SCAN") || has(i, "Seq Scan") || (byIndex && !has(i + 1, first))) scans += lines[i] + "\n";
    }
    return scans;
}

TEST_P(IndexTest, NoPlanOfASupportedKeyScansATable) {
    storeSeries("1", "1.1", 2);
    const auto engine = orvkit::index::openEngine(place(), INDEX_READ, false);
    const auto session = engine->connect(false);
    const std::pair<const char*, std::vector<std::string>> kinds[] = {
        {"level=PATIENT; ", {"id=1", "id=1*", "name=Doe^*", "name==Doe", "birth=19600101-", "others=7"}},
        {"level=STUDY; ",
         {"study=1\\2", "date=20200101-20200131", "date=-20200131", "accession=A1", "accession=A*",
          "id=1; date=20200101-", "name=Doe*; modalities=CT", "studyid=1", "desc=CT*", "referring=House*",
          "proc>code=1", "modalities=CT\\MR"}},
        {"level=SERIES; ",
         {"series=1", "study=1; modality=CT", "modality=CT", "req>rp=1", "req>step=1", "seriesdate=20200101",
          "performed=20200101-", "physician=House*", "ppsid=7"}},
        {"level=IMAGE; ",
         {"sop=1", "study=1; series=1.1; sop", "study=1; series=1.1; sop=1\\2", "date=20200101; instance=1",
          "id=1; sop"}}};
    for (const auto& [level, all] : kinds) {
        for (const std::string& keys : all) {
            const auto request =
                orvkit::index::makeRequest(INDEX_ROOT_PATIENT, INDEX_RELATIONAL, *datasetOf(level + keys));
            const auto plan = orvkit::index::makePlan(*session, request);
            EXPECT_FALSE(plan.everything) << level << keys;
            for (const auto& sql : plan.statements)
                EXPECT_EQ(scansOf(*session, sql, GetParam()), "") << level << keys << "\n" << sql.text();
        }
    }
    const auto all =
        orvkit::index::makeRequest(INDEX_ROOT_PATIENT, INDEX_RELATIONAL, *datasetOf("level=STUDY; name=*e"));
    const auto plan = orvkit::index::makePlan(*session, all);
    EXPECT_TRUE(plan.everything);
    EXPECT_NE(scansOf(*session, plan.statements[0], GetParam()), "");
}

TEST_P(IndexTest, ManyWritersLoseNothing) {
    constexpr int threads = 4;
    constexpr int objects = 40;
    std::atomic<int> stored_ = 0;
    std::vector<std::thread> writers;
    for (int t = 0; t < threads; ++t) {
        writers.emplace_back([&, t] {
            for (int i = 0; i < objects; ++i) {
                const DcIndexBusy busy(index);
                // Each series is that of two threads.
                const std::string series = std::to_string(t / 2) + "." + std::to_string(i % 5);
                const std::string sop = series + "." + std::to_string(t) + "." + std::to_string(i);
                const auto dataset =
                    datasetOf(std::string("class=") + kClass + "; id=" + std::to_string(t % 2) +
                              "; study=" + std::to_string(t / 2) + "; series=" + series + "; sop=" + sop +
                              "; modality=CT");
                DcIndexFile file;
                file.path = sop.c_str();
                file.xferSyn = kSyntax;
                file.size = 1;
                DcIndexStored outcome;
                if (index.store(*dataset, file, INDEX_KEEP, outcome) == RESULT_OK) ++stored_;
                DcIndexFound none;
                DcIndexQuery query;
                (void)index.query(
                    query, *datasetOf("level=STUDY; study=1"), nullptr, [](void*, DcElemList&) { return 0; },
                    none);
            }
        });
    }
    for (std::thread& writer : writers) writer.join();
    EXPECT_EQ(stored_, threads * objects);
    DcIndexStats stats;
    EXPECT_EQ(index.stats(stats), RESULT_OK);
    EXPECT_EQ(stats.instances, static_cast<unsigned long long>(threads * objects));
    expectSound();
    if (GetParam() != EngineKind::sqlite) return;
    // What was confirmed is there however the program ends: its files as they are now, of which another takes
    // a copy.
    for (const char* const suffix : {"", "-wal"})
        std::filesystem::copy_file(path() + suffix, directory / ("copy" + std::string(suffix)));
    DcIndex copy;
    ASSERT_EQ(copy.open(("sqlite:" + (directory / "copy")).c_str(), INDEX_WRITE), RESULT_OK)
        << DcIndex::fault();
    EXPECT_EQ(copy.stats(stats), RESULT_OK);
    EXPECT_EQ(stats.instances, static_cast<unsigned long long>(threads * objects));
}

// Servers that are started together, by a machine that comes up.
TEST_P(IndexTest, ManyMakeAndOpenOneAtOnce) {
    for (int round = 0; round < 8; ++round) {
        const std::string fresh = GetParam() == EngineKind::sqlite ? place() + std::to_string(round)
                                                                   : PostgresqlServer::get().newPlace();
        std::vector<std::jthread> all;
        std::atomic<int> opened = 0;
        for (int i = 0; i < 6; ++i) {
            all.emplace_back([&] {
                DcIndex one;
                if (one.open(fresh.c_str(), INDEX_CREATE) == RESULT_OK) {
                    ++opened;
                } else {
                    ADD_FAILURE() << DcIndex::fault();
                }
            });
        }
        all.clear();
        EXPECT_EQ(opened, 6);
    }
}

TEST_P(IndexTest, OneThatFailsSpoilsNoOther) {
    storeSeries("1", "1.1", 1);
    // Another program's rows are seen by this one, also where it has learned otherwise.
    DcIndex other;
    ASSERT_EQ(other.open(place().c_str(), INDEX_WRITE), RESULT_OK);
    DcIndexGrave grave{};
    EXPECT_EQ(other.bury(INDEX_ROOT_STUDY, 0, *datasetOf("level=STUDY; study=1"), grave), RESULT_OK);
    storeSeries("1", "1.1", 2);
    expectSound();
    EXPECT_EQ(find("level=STUDY; study; images", "study images"), "1 2");
    EXPECT_EQ(index.closeGrave(99), INDEX_ABSENT);
    store("id=9; study=9; series=9.1; sop=9.1.1; modality=CT");
    expectSound();
}

TEST_P(IndexTest, RefusesWhatIsNoIndexOfThisVersionByName) {
    storeSeries("1", "1.1", 20);
    EXPECT_EQ(index.close(), RESULT_OK);
    EXPECT_EQ(tryStore("study=1"), INDEX_CLOSED);
    DcIndex other;
    EXPECT_EQ(other.open(("sqlite:" + (directory / "none")).c_str(), INDEX_READ), INDEX_ABSENT);
    EXPECT_EQ(other.open("mysql:x", INDEX_READ), INDEX_PLACE);
    EXPECT_EQ(other.open(("sqlite:" + (directory / "no/such")).c_str(), INDEX_CREATE), INDEX_PLACE);
    writeWhole(directory / "text",
               "this is no database, but it is long enough to be looked at all the same..........");
    EXPECT_EQ(other.open(("sqlite:" + (directory / "text")).c_str(), INDEX_CREATE), INDEX_DAMAGED);
    {
        const auto engine = orvkit::index::openEngine(place(), INDEX_WRITE, false);
        engine->connect(true)->execute("UPDATE orvkit_index SET version = 99");
    }
    EXPECT_EQ(other.open(place().c_str(), INDEX_WRITE), INDEX_VERSION);
    EXPECT_NE(std::string(DcIndex::fault()).find("version 99"), std::string::npos) << DcIndex::fault();
}

// By a version that somebody may make one day.
TEST_P(IndexTest, AnEarlierVersionIsBroughtForwardWhereItMayBeWritten) {
    storeSeries("1", "1.1", 2);
    const std::vector<const char*> steps = {"never again", "nor this",
                                            "ALTER TABLE patient ADD COLUMN extra {text};"};
    const auto engine = orvkit::index::openEngine(place(), INDEX_WRITE, false);
    const auto session = engine->connect(true);
    EXPECT_THROW(settleSchema(*session, INDEX_READ, steps), orvkit::index::Trouble);
    EXPECT_EQ(orvkit::index::schemaVersion(*session), INDEX_VERSION_CURRENT);
    // One that fails leaves it as it was.
    EXPECT_ANY_THROW(
        settleSchema(*session, INDEX_WRITE, std::vector{steps[0], steps[1], steps[2], "no statement"}));
    EXPECT_EQ(orvkit::index::schemaVersion(*session), INDEX_VERSION_CURRENT);
    settleSchema(*session, INDEX_WRITE, steps);
    EXPECT_EQ(orvkit::index::schemaVersion(*session), INDEX_VERSION_CURRENT + 1);
    EXPECT_FALSE(session->prepare("SELECT extra FROM patient WHERE extra IS NOT NULL")->step());
    EXPECT_EQ(find("level=STUDY; study=1; images", "images"), "2");
}

TEST_P(IndexTest, WhatTheFirstVersionKeptIsFoundInTheNext) {
    EXPECT_EQ(index.close(), RESULT_OK);
    const std::string former = GetParam() == EngineKind::sqlite ? "sqlite:" + (directory / "former.sqlite")
                                                                : PostgresqlServer::get().newPlace();
    {
        const auto session = orvkit::index::openEngine(former, INDEX_CREATE, false)->connect(true);
        settleSchema(*session, INDEX_CREATE, orvkit::index::schemaSteps().first(1));
        orvkit::index::Bytes own;
        orvkit::index::append(own, tagNamed("comment"), VR_LT, "but here");
        const auto insert = [&](const std::string& sql, const auto&... values) {
            const auto statement = session->prepare("INSERT INTO " + sql);
            statement->bindFrom(1, values...);
            statement->post(1);
        };
        insert("instance_attributes (id, data) VALUES ($1, $2)", 7, own);
        insert(
            "patient (id, pid, issuer, apart, studies, series, instances, attributes) "
            "VALUES (1, $1, '', '', 1, 1, 2, '')",
            std::string("P"));
        insert(
            "study (id, patient, uid, series, instances, bytes, attributes) VALUES (1, 1, $1, 1, 2, 20, '')",
            std::string("1"));
        insert(
            "series (id, study, uid, instances, bytes, attributes, common) VALUES (1, 1, $1, 2, 20, '', '')",
            std::string("1.1"));
        insert("term (id, uid) VALUES (1, $1)", std::string(kClass));
        for (const std::string sop : {"1.1.1", "1.1.20"}) {
            insert(
                "instance (study, series, uid, copy, class, syntax, size, path, attributes) "
                "VALUES (1, 1, $1, 0, 1, 1, 10, $2, $3)",
                sop, "F/" + sop, sop == "1.1.1" ? 0 : 7);
            insert("uid (uid, study, series) VALUES ($1, 1, 1)", sop);
        }
        session->execute("SELECT 1");
    }
    EXPECT_EQ(index.open(former.c_str(), INDEX_READ), INDEX_VERSION);
    ASSERT_EQ(index.open(former.c_str(), INDEX_WRITE), RESULT_OK) << DcIndex::fault();
    EXPECT_EQ(find("level=IMAGE; study=1; series=1.1; sop; comment; class", "sop comment class"),
              std::string("1.1.1  ") + kClass + ", 1.1.20 but here " + kClass);
    EXPECT_EQ(walk("level=IMAGE; sop=1.1.20\\1.1.1\\x", INDEX_ROOT_INSTANCE), "F/1.1.1, F/1.1.20");
    store("id=P; study=1; series=1.1; sop=1.1.1");
    EXPECT_EQ(stored.what, INDEX_STORED_KEPT);
    expectSound();
}

TEST_P(IndexTest, ADamagedIndexIsToldWithWhatMendsIt) {
    for (int i = 1; i <= 60; ++i) storeSeries(std::to_string(i), std::to_string(i) + ".1", 3);
    EXPECT_EQ(index.close(), RESULT_OK);
    const std::string whole = GetParam() == EngineKind::sqlite ? readWhole(path()) : "";
    orvkit::index::openEngine(place(), INDEX_WRITE, false)->connect(true)->execute("DROP TABLE series");
    expectDamaged();
    if (GetParam() == EngineKind::postgresql) return;
    EXPECT_EQ(index.close(), RESULT_OK);
    std::string bytes = whole;
    ASSERT_GT(bytes.size(), std::size_t{16 * 4096});
    for (std::size_t at = 2 * 4096; at + 4096 <= bytes.size(); at += 4096) bytes.replace(at, 64, 64, '\x5A');
    writeWhole(path(), bytes);
    expectDamaged();
}

ORVKIT_ON_BOTH_ENGINES(IndexTest);

}  // namespace
