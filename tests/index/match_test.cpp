// What matches (PS3.4 C.2.2.2), over one corpus.
#include "index/match.h"

#include "index/archive.h"

namespace {

constexpr const char* kCorpus[] = {
    // A name in Latin-1, two series.
    "charset=ISO_IR 100; id=4711; name=M\xFCller^J\xFCrgen; birth=19600101; sex=M; study=1.1; date=20200102; "
    "time=101500; accession=A1; desc=CT Abdomen; studyid=7; referring=House^Gregory; modality=CT; "
    "series=1.1.1; "
    "number=1; sop=1.1.1.1; instance=1; taken=20200102101501.5+0100; rows=512",
    "charset=ISO_IR 100; id=4711; name=M\xFCller^J\xFCrgen; birth=19600101; sex=M; study=1.1; date=20200102; "
    "time=101500; accession=A1; desc=CT Abdomen; studyid=7; modality=SR; series=1.1.2; number=02; "
    "sop=1.1.2.1; "
    "class=1.2.840.10008.5.1.4.1.1.88.11",
    // Three component groups, in UTF-8.
    "charset=ISO_IR 192; id=4712; name=Yamada^Tarou=山田^太郎=やまだ^たろう; birth=19710203; sex=M; "
    "study=1.2; "
    "date=20200115; time=0800; accession=a1; desc=MR Kopf; modality=MR; series=1.2.1; sop=1.2.1.1; "
    "req>rp=RP7; req>step=S9; proc>code=P100; proc>meaning=Head; taken=20200115080000",
    // The last second of a year.
    "id=47130; name=Doe^Jane; birth=19800229; sex=F; study=1.3; date=20191231; time=235959.5; accession=B22; "
    "desc=CT_Thorax (late); others=X1\\X2; zone=+0100; modality=CT; series=1.3.1; sop=1.3.1.1; "
    "req>rp=RP8; req>step=S9; physician=Foreman^Eric",
    // No ID, and little else.
    "name=DOE^JOHN; study=1.4; modality=OT; series=1.4.1; sop=1.4.1.1; charset=; desc=100% [x]' OR 1=1 --",
    // Without a name.
    "id=4715; study=1.5; date=20200102; time=120000; modality=CT; series=1.5.1; sop=1.5.1.1",
};

class MatchTest : public ArchiveTest {
  protected:
    void SetUp() override {
        ArchiveTest::SetUp();
        if (IsSkipped()) return;
        for (const char* const object : kCorpus) store(object);
    }
    // Each row is keys, " -> ", and the studies or series that they find.
    void expect(const std::vector<std::string>& rows, unsigned int how = 0,
                const std::string& level = "STUDY") {
        const std::string answer = level == "STUDY" ? "study" : "series";
        for (const std::string& row : rows) {
            const std::size_t arrow = row.find(" -> ");
            const std::string keys = "level=" + level + "; " + answer + "; " + row.substr(0, arrow);
            EXPECT_EQ(find(keys, answer, how), row.substr(arrow + 4)) << row << " how " << how;
            EXPECT_EQ(result, RESULT_OK) << DcIndex::fault();
        }
    }
};

TEST_P(MatchTest, ValuesListsAndWildCards) {
    expect({"id -> 1.1, 1.2, 1.3, 1.4, 1.5", "id=* -> 1.1, 1.2, 1.3, 1.4, 1.5", "id=4711 -> 1.1",
            "id= 4711  -> 1.1", "id=471 -> ", "id=471? -> 1.1, 1.2, 1.5", "id=471* -> 1.1, 1.2, 1.3, 1.5",
            "id=*13* -> 1.3", "id=4711\\4715 -> 1.1, 1.5", "id=4711\\*5 -> 1.1, 1.5", "others=X2 -> 1.3",
            "others=X1\\X2 -> 1.3", "others=X -> ", "sex=F -> 1.3"});
    expect({"accession=A1 -> 1.1", "accession=a* -> 1.2", "desc=CT* -> 1.1, 1.3", "desc=CT_* -> 1.3",
            "desc=*(late) -> 1.3", "desc=100% [x]' OR 1=1 -- -> 1.4", "desc=% -> ", "desc=' OR ''=' -> ",
            "studyid=7 -> 1.1", "studyid=07 -> "});
    expect({"study=1.1\\1.3\\1.9 -> 1.1, 1.3", "study=1.* -> ", "modalities=CT -> 1.1, 1.3, 1.5",
            "modalities=SR\\MR -> 1.1, 1.2", "modalities=CT; id=4711 -> 1.1", "modalities=C*; date=2019- -> ",
            "classes=1.2.840.10008.5.1.4.1.1.88.11 -> 1.1", "images=2 -> 1.1", "id=\"\" -> "});
    expect({"accession=A1 -> 1.1, 1.2"}, INDEX_ANY_CASE);
    expect({"id=\"\" -> 1.4", "date=\"\" -> 1.4"}, INDEX_EMPTY_VALUE);
}

TEST_P(MatchTest, NamesByComponentGroupCaseAndAccents) {
    expect({"name=doe^jane -> 1.3", "name=Doe^Jane^^^ -> 1.3", "name=DOE -> ", "name=doe* -> 1.3, 1.4",
            "name=*JO?N -> 1.4", "name=doe^*\\yama* -> 1.2, 1.3, 1.4",
            "charset=ISO_IR 192; name=Müller* -> 1.1", "charset=ISO_IR 100; name=M\xFCLLER* -> 1.1",
            "charset=ISO_IR 192; name=MÜLLER* -> 1.1", "name=Muller* -> ",
            "charset=ISO_IR 192; name=山田^太郎 -> 1.2", "charset=ISO_IR 192; name=やまだ* -> 1.2",
            "charset=ISO_IR 192; name==山田* -> 1.2", "charset=ISO_IR 192; name=Yamada*=山田* -> 1.2",
            "charset=ISO_IR 192; name=Suzuki*=山田* -> ", "charset=ISO_IR 192; name=山田*= -> ",
            "charset=\\ISO 2022 IR 87; name==\x1B$B;3ED\x1B(B* -> 1.2", "referring=house* -> 1.1"});
    expect({"name=Muller* -> 1.1"}, INDEX_ANY_ACCENT);
    expect({"name=jurgen muller -> 1.1", "name=Jan Do -> 1.3", "name=jane x -> ",
            "name=* -> 1.1, 1.2, 1.3, 1.4, 1.5", "charset=ISO_IR 192; name=太郎 -> 1.2"},
           INDEX_FUZZY_NAMES);
}

TEST_P(MatchTest, DatesAndTimes) {
    constexpr unsigned int both = INDEX_DATE_TIME;
    expect({"date=20200102 -> 1.1, 1.5", "date=2020.01.02 -> 1.1, 1.5",
            "date=20200102-20200115 -> 1.1, 1.2, 1.5", "date=-20200102 -> 1.1, 1.3, 1.5",
            "date=20200103- -> 1.2", "date=20200115-20200102 -> ", "date=- -> ", "date=202001 -> ",
            "date=2020010x -> ", "date=20191231\\20200115 -> 1.2, 1.3", "time=1015 -> 1.1",
            "time=101500.0- -> 1.1, 1.3, 1.5", "time=10-12 -> 1.1, 1.5", "time=-0800 -> 1.2",
            "time=235959 -> 1.3", "time=235959.6- -> ", "date=20191231-20200102; time=110000-113000 -> ",
            "birth=19600101-19700101 -> 1.1"});
    expect({"date=20191231-20200102; time=110000-113000 -> 1.1, 1.3",
            "date=20200102-20200115; time=113000- -> 1.2, 1.5",
            "date=20200102-20200115; time=110000-075959 -> 1.5"},
           both);
    expect({"date=20191231-20191231; time=225900-230000; zone=+0000 -> 1.3",
            "date=20191231-20191231; time=235900-235959; zone=+0000 -> ",
            "date=20200101-20200101; time=000000-; zone=+0200 -> 1.3"},
           both | INDEX_TIMEZONE);
    EXPECT_EQ(find("level=STUDY; study=1.3; zone=+0200", "zone"), "+0100");
}

TEST_P(MatchTest, SequencesByWhatIsInOneItem) {
    expect({"req>rp=RP7 -> 1.2.1", "req>step=S9 -> 1.2.1, 1.3.1", "req>step=S9; req>rp=RP8 -> 1.3.1",
            "req>step=S9; req>rp=RP9 -> ", "req>step; req>rp=RP* -> 1.2.1, 1.3.1",
            "req>step -> 1.1.1, 1.1.2, 1.2.1, 1.3.1, 1.4.1, 1.5.1", "proc>code=P100 -> 1.2.1",
            "proc>code=P1*; proc>meaning=head -> ", "physician=foreman* -> 1.3.1", "number=2 -> 1.1.2",
            "modality=CT; name=doe* -> 1.3.1"},
           INDEX_RELATIONAL, "SERIES");
    EXPECT_EQ(
        find("level=IMAGE; sop; taken=20200102091500+0000-20200102091502+0000", "sop", INDEX_RELATIONAL),
        "1.1.1.1");
    EXPECT_EQ(find("level=IMAGE; sop; taken=20200102091502+0000-", "sop", INDEX_RELATIONAL), "1.2.1.1");
    EXPECT_EQ(find("level=IMAGE; sop; taken=20200102-1200", "sop", INDEX_RELATIONAL), "");
    EXPECT_EQ(find("level=IMAGE; sop; taken=2020-2021", "sop", INDEX_RELATIONAL), "1.1.1.1, 1.2.1.1");
    EXPECT_EQ(find("level=IMAGE; sop; rows=512", "sop", INDEX_RELATIONAL), "1.1.1.1");
}

TEST_P(MatchTest, HostileKeysCostLittleAndAreOnlyValues) {
    const std::string stars = "*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*b";
    EXPECT_FALSE(orvkit::index::isLike(std::string(4096, 'a'), stars));
    EXPECT_TRUE(orvkit::index::isLike(std::string(4096, 'a') + "b", stars + "*"));
    EXPECT_EQ(find("level=STUDY; study; desc=" + std::string(64, '*') + "Thorax*", "study"), "1.3");
    std::string uids = "1.3";
    for (int i = 0; i < 10000; ++i) uids += "\\9.9." + std::to_string(i);
    EXPECT_EQ(find("level=STUDY; study=" + uids, "study"), "1.3");
    EXPECT_EQ(walk("level=STUDY; study=" + uids), "F/1.3.1.1.dcm");
    EXPECT_EQ(find("level=STUDY; study; name=\xFF\xFE\x80*; charset=ISO_IR 192", "study"), "");
    EXPECT_EQ(find("level=STUDY; study; name=\x01"
                   "x\x02; charset=NONE SUCH",
                   "study"),
              "");
    EXPECT_EQ(find("level=STUDY; study; accession=';DROP TABLE study;--", "study"), "");
    EXPECT_EQ(find("level=STUDY; study", "study"), "1.1, 1.2, 1.3, 1.4, 1.5");
    std::string deep = "rp=x";
    for (int i = 0; i < 50; ++i) deep = "req>" + deep;
    EXPECT_EQ(find("level=STUDY; study; " + deep, "study"), "");
    EXPECT_EQ(result, INDEX_KEYS);
}

ORVKIT_ON_BOTH_ENGINES(MatchTest);

}  // namespace
