// The flat and the tree print: exact lines.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "orvkit/tags.h"
#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/elem_values.h"
#include "support/system.h"
#include "support/temp_dir.h"

namespace {

template <typename Print>
std::string printed(Print print) {
    const TempDir dir;
    FILE* const file = std::fopen((dir / "out").c_str(), "wb");
    EXPECT_EQ(print(file), RESULT_OK);
    std::fclose(file);
    return readWhole(dir / "out");
}

std::string flat(DcElem& e) {
    return printed([&](FILE* file) { return e.printNodeList(file); });
}

struct DataSet : DcElemList {
    using DcElemList::printNodeList;
    std::string print(PRINT_NODE how) {
        return printed([&](FILE* file) { return printNodeList(file, how); });
    }
    std::string tree() { return print(PRINT_NODE_TREE); }
};

// The values of an element, as each print shows them behind its header.
std::string flatValues(DcElem& e) {
    const std::string all = flat(e);
    return all.substr(all.find('\n') + 1);
}
std::string treeValues(DcElem* e) {
    DataSet set;
    set.add(e);
    const std::string all = set.tree();
    return all.substr(46);
}

DcElem* elem(unsigned int tag, const char* text) {
    return new DcElem(tag, text);
}

std::string times(std::size_t n, char c) {
    return std::string(n, c);
}

}  // namespace

TEST(Print, EachKindOfValueHasItsLines) {
    const ExceptionLevel any(0);
    const struct {
        unsigned int tag;
        DICT_VR vr;
        const char* text;
        const char* flat;
        const char* tree;
    } rows[] = {
        {0x00080054, VR_AE, "STORE1\\STORE2", "  STORE1\n  STORE2\n", "STORE1 \\ STORE2\n"},
        {0x00101010, VR_AS, "045Y", "  45Y\n", "045Y\n"},
        {0x00280030, VR_DS, "0.5\\ .25", "  0.5\n  .25\n", "0.5 \\ .25\n"},
        {0x00189073, VR_FD, "0.1\\1e300", "  0.1\n  1e+300\n", "0.1 \\ 1e+300\n"},
        {0x00104000, VR_LT, "two\nlines \\ one", "  two\nlines \\ one\n", "two\nlines \\ one\n"},
        {0x00080016, VR_UI, "1.2.840.10008.5.1.4.1.1.2\\1.2.3",
         "  1.2.840.10008.5.1.4.1.1.2 (CT Image Storage)\n  1.2.3\n",
         "1.2.840.10008.5.1.4.1.1.2 (CT Image Storage) \\ 1.2.3\n"},
        {0x00089007, VR_UL, "4294967295", "  0xffffffff -1\n", "-1 \n"},
        {0x00189219, VR_SS, "-1\\7", "  0xffff -1\n  0x0007 7\n", "-1 \\ 7 \n"},
        {0x00280010, VR_US, "65535", "  0xffff 65535\n", "65535 \n"},
        {0x00000100, VR_US, "48", "  0x0030 (C-ECHO-RQ)\n", "0x0030 (C-ECHO-RQ) \n"},
        {0x00000900, VR_US, "45056", "  0xb000 45056\n", "0xb000 \n"},
        {0x00080050, VR_SH, nullptr, "", "\n"},
    };
    const CaptureLog quiet;
    for (const auto& row : rows) {
        auto* e = new DcElem(row.tag, nullptr, 0u, UID_NONE, row.vr, 0);
        if (row.text != nullptr) (void)e->addValue(row.text);
        EXPECT_EQ(flatValues(*e), row.flat) << row.text;
        EXPECT_EQ(treeValues(e), row.tree) << row.text;
    }
}

TEST(Print, RawValuesShowWhereTheyAre) {
    std::unique_ptr<DcElem> overlay(raw(0x60003000, VR_OX, times(20, 'x')));
    char buffer[160];
    std::snprintf(buffer, sizeof buffer, "  buf: %p   len: 20 (0x14) bytes\n",
                  orvkit::ElemAccess::firstBuf(*overlay)->getBuf());
    EXPECT_EQ(flatValues(*overlay), buffer + std::string("                 Total : 20 (0x14) bytes\n"));
    DcElem pixels(0x7FE00010u, nullDevice, 16, 200u, kExplicit);
    EXPECT_EQ(flatValues(pixels), "  filename: " + std::string(nullDevice) +
                                      "   offset: 16 (0x10)  len: 200 (0xc8) bytes\n"
                                      "                 Total : 200 (0xc8) bytes\n");
}

TEST(Print, TreeShowsUnknownValuesAsTextWhereTheyAreText) {
    EXPECT_EQ(treeValues(raw(0x00091001, VR_UN, "ABC ")), "ABC\n");
    EXPECT_EQ(treeValues(raw(0x00091001, VR_UN, times(82, 'a'))), times(80, 'a') + " ...\n");
    EXPECT_EQ(treeValues(raw(0x00091001, VR_UN, "A\nB ")), "4 (0x4) bytes \n");
    EXPECT_EQ(treeValues(raw(0x60003000, VR_OW, times(300, 'x'))), "300 (0x12c) bytes \n");
    EXPECT_EQ(treeValues(new DcElem(0x00091001u, nullptr, 0u, UID_NONE, VR_UNKNOWN, 0)), "???\n");
}

TEST(Print, LongValuesAreCutAtEightyBytes) {
    for (const std::size_t length : {80u, 81u}) {
        const std::string text = times(length, 'a');
        const bool cut = length > 80;
        auto* e = elem(0x00104000, text.c_str());
        EXPECT_EQ(flatValues(*e), "  " + text.substr(0, 80) + (cut ? " ...\n" : "\n"));
        EXPECT_EQ(treeValues(e), text.substr(0, 80) + (cut ? "...\n" : "\n"));
    }
}

TEST(Print, TreeLeavesOutValuesThatDoNotFitTheLine) {
    auto* texts = elem(0x00080008, "ABCDEFGHIJ");
    for (int i = 0; i < 10; ++i) texts->addValue("ABCDEFGHIJ");
    EXPECT_EQ(treeValues(texts),
              "ABCDEFGHIJ \\ ABCDEFGHIJ \\ ABCDEFGHIJ \\ ABCDEFGHIJ \\ ABCDEFGHIJ \\ ABCDEFGHIJ \\ ABCDEFGHIJ"
              " \\ ...\n");
}

TEST(Print, FlatGroupsListsOfPointsAndTheLike) {
    const ExceptionLevel any(0);
    const struct {
        unsigned int tag;
        const char* text;
        const char* lines;
    } rows[] = {
        {T_3006_0050_contourData, "1\\2\\3\\4\\5\\6", "  1 \\ 2 \\ 3\n  4 \\ 5 \\ 6\n"},
        {T_3004_0058_dvhData, "0\\9\\1\\8", "  0 \\ 9\n  1 \\ 8\n"},
        {T_300a_00be_leafPositionBoundaries, "1\\2\\3\\4\\5\\6\\7\\8\\9",
         "  1 \\ 2 \\ 3 \\ 4 \\ 5 \\ 6 \\ 7 \\ 8\n  9\n"},
        {T_0020_0032_imagePositionPatient, "1\\2\\3", "  1\n  2\n  3\n"},
    };
    for (const auto& row : rows) {
        DcElem e(row.tag, row.text);
        EXPECT_EQ(flatValues(e), row.lines);
    }
}

TEST(Print, HeadersNameElementsAsTheDictionaryDoes) {
    const struct {
        unsigned int tag;
        DICT_VR vr;
        const char* flat;
        const char* tree;
    } rows[] = {
        {0x00280106, VR_US, "(0028,0106)   US(XS)   T_0028_0106_smallestImagePixelValue\n",
         "T_0028_0106_smallestImagePixelValue      (US) "},
        {0x00091001, VR_UNKNOWN, "(0009,1001)   ?\?(UN)   T_0009_1001\n",
         "T_0009_1001                              (?\?) "},
        {0x60020010, VR_US, "(6002,0010)   US(US)   T_60xx_0010_overlayRows\n",
         "T_6002_0010                              (US) "},
    };
    for (const auto& row : rows) {
        auto* e = new DcElem(row.tag, nullptr, 0u, UID_NONE, row.vr, 0);
        const std::string text = flat(*e);
        EXPECT_EQ(text.substr(0, text.find('\n') + 1), row.flat);
        DataSet set;
        set.add(e);
        EXPECT_EQ(set.tree().substr(0, 46), row.tree);
    }
}

TEST(Print, NestedItemsInBothForms) {
    DataSet set;
    auto* outer = new DcElemSq(T_0040_0275_requestAttributesSequence);
    auto* inner = new DcElemSq(T_0040_0008_scheduledProtocolCodeSequence);
    auto* code = new DcElemSqItem;
    *code + elem(T_0008_0100_codeValue, "C1");
    inner->add(code);
    auto* first = new DcElemSqItem;
    *first + inner;
    *first + elem(T_0040_1001_requestedProcedureId, "P1");
    auto* second = new DcElemSqItem;
    *second + elem(T_0040_1001_requestedProcedureId, "P2");
    outer->add(first);
    outer->add(second);
    set.add(outer);
    set.add(elem(T_0040_1001_requestedProcedureId, "P3"));

    EXPECT_EQ(set.tree(),
              "T_0040_0275_requestAttributesSequence    (SQ) \n"
              "|  |--T_0040_0008_scheduledProtocolCodeSequenc (SQ) \n"
              "|  |  +--T_0008_0100_codeValue                    (SH) C1\n"
              "|  +--T_0040_1001_requestedProcedureId         (SH) P1\n"
              "|  |---------------------------------------\n"
              "|  +--T_0040_1001_requestedProcedureId         (SH) P2\n"
              "T_0040_1001_requestedProcedureId         (SH) P3\n");

    EXPECT_EQ(flat(*inner),
              "   *** SQ (0040,0008)  T_0040_0008_scheduledProtocolCodeSequence begin ***\n"
              "     * SQ item (0040,0008) begin *\n"
              "(0008,0100)   SH(SH)   T_0008_0100_codeValue\n"
              "  C1\n"
              "     * SQ item (0040,0008) end *\n"
              "   *** SQ (0040,0008)  T_0040_0008_scheduledProtocolCodeSequence end ***\n")
        << "what follows the sequence in its item is not printed";
}

TEST(Print, DeepNestingIsBoundedInTheTree) {
    DataSet set;
    DcElemList* list = &set;
    for (int i = 0; i < 1000; ++i) {
        auto* sq = new DcElemSq(T_0040_0275_requestAttributesSequence);
        auto* item = new DcElemSqItem;
        sq->add(item);
        list->add(sq);
        list = &item->getElemList();
    }
    list->add(elem(T_0040_1001_requestedProcedureId, "deepest"));
    const std::string tree = set.tree();
    EXPECT_EQ(std::count(tree.begin(), tree.end(), '\n'), 64 + 1 + 1)
        << "64 levels below the first, and the note";
    EXPECT_NE(tree.find("not shown"), std::string::npos);
}
