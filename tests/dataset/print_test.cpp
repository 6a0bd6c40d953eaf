// The flat and the tree print: exact lines.

#include "orvkit/tags.h"
#include "support/dataset.h"
#include "support/system.h"
#include "support/temp_dir.h"

namespace {

std::string flat(DcElem& e) {
    return printed([&](FILE* file) { return e.printNodeList(file); });
}

struct DataSet : DcElemList {
    using DcElemList::printNodeList;
    std::string tree() {
        return printed([&](FILE* file) { return printNodeList(file, PRINT_NODE_TREE); });
    }
};

// The values of an element, as each print shows them behind its header.
std::string flatValues(DcElem& e) {
    const std::string all = flat(e);
    return all.substr(all.find('\n') + 1);
}
std::string treeValues(DcElem* e) {
    DataSet set;
    set.add(e);
    return set.tree().substr(46);
}

std::string times(std::size_t n, char c) {
    return std::string(n, c);
}

}  // namespace

TEST(Print, EachKindOfValueHasItsLines) {
    const ExceptionLevel any(0);
    const std::string a80 = times(80, 'a');
    std::string many = "ABCDEFGHIJ", most = many;
    for (int i = 0; i < 10; ++i) many += "\\ABCDEFGHIJ";
    for (int i = 0; i < 6; ++i) most += " \\ ABCDEFGHIJ";
    const struct {
        unsigned int tag;
        DICT_VR vr;
        std::string text, flat, tree;  // no flat: not looked at
    } rows[] = {{0x00101010, VR_AS, "045Y", "  45Y\n", "045Y\n"},
                {0x00280030, VR_DS, "0.5\\ .25", "  0.5\n  .25\n", "0.5 \\ .25\n"},
                {0x00189073, VR_FD, "0.1\\1e300", "  0.1\n  1e+300\n", "0.1 \\ 1e+300\n"},
                {0x00104000, VR_LT, "two\nlines \\ one", "  two\nlines \\ one\n", "two\nlines \\ one\n"},
                {0x00080016, VR_UI, "1.2.840.10008.5.1.4.1.1.2\\1.2.3",
                 "  1.2.840.10008.5.1.4.1.1.2 (CT Image Storage)\n  1.2.3\n",
                 "1.2.840.10008.5.1.4.1.1.2 (CT Image Storage) \\ 1.2.3\n"},
                {0x00089007, VR_UL, "4294967295", "  0xffffffff -1\n", "-1 \n"},
                {0x00189219, VR_SS, "-1\\7", "  0xffff -1\n  0x0007 7\n", "-1 \\ 7 \n"},
                {0x00000100, VR_US, "48", "  0x0030 (C-ECHO-RQ)\n", "0x0030 (C-ECHO-RQ) \n"},
                {0x00280010, VR_US, "48", "  0x0030 48\n", "48 \n"},
                {0x00080050, VR_SH, "", "  \n", "\n"},
                {0x00104000, VR_LT, a80, "  " + a80 + "\n", a80 + "\n"},
                {0x00104000, VR_LT, a80 + "a", "  " + a80 + " ...\n", a80 + "...\n"},
                {0x0040A160, VR_UT, a80, "", a80 + "\n"},
                {0x0040A160, VR_UT, a80 + "a", "", a80 + "...\n"},
                {0x00080008, VR_CS, many, "", most + " \\ ...\n"},
                {0x00091001, VR_UN, "ABC ", "", "ABC\n"},
                {0x00091001, VR_UN, a80 + "aa", "", a80 + " ...\n"},
                {0x00091001, VR_UN, "A\nB ", "", "4 (0x4) bytes \n"},
                {0x60003000, VR_OW, times(300, 'x'), "", "300 (0x12c) bytes \n"},
                {0x00091001, VR_UNKNOWN, "", "", "???\n"},
                // The flat print groups points and the like.
                {0x30060050, VR_DS, "1\\2\\3\\4\\5\\6", "  1 \\ 2 \\ 3\n  4 \\ 5 \\ 6\n",
                 "1 \\ 2 \\ 3 \\ 4 \\ 5 \\ 6\n"},
                {0x30040058, VR_DS, "0\\9\\1\\8", "  0 \\ 9\n  1 \\ 8\n", "0 \\ 9 \\ 1 \\ 8\n"}};
    const CaptureLog quiet;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.tree);
        const auto length = static_cast<unsigned int>(row.text.size());
        auto* e = new DcElem(row.tag, nullptr, 0u, UID_NONE, row.vr, 0);
        if (row.vr == VR_UN || row.vr == VR_OW) {
            (void)e->addValue(row.text.data(), length, kExplicit);
        } else if (row.vr != VR_UNKNOWN) {
            (void)e->addValue(row.text.c_str());
        }
        if (!row.flat.empty()) {
            EXPECT_EQ(flatValues(*e), row.flat);
        }
        EXPECT_EQ(treeValues(e), row.tree);
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

TEST(Print, NestedItemsInBothForms) {
    DataSet set;
    auto* outer = new DcElemSq(T_0040_0275_requestAttributesSequence);
    auto* inner = new DcElemSq(T_0040_0008_scheduledProtocolCodeSequence);
    const auto id = [](const char* text) { return new DcElem(T_0040_1001_requestedProcedureId, text); };
    inner->add(&(*new DcElemSqItem + new DcElem(T_0008_0100_codeValue, "C1")));
    outer->add(&(*new DcElemSqItem + inner + id("P1")));
    outer->add(&(*new DcElemSqItem + id("P2")));
    set + outer + id("P3") + new DcElem(0x60020010u, nullptr, 0u, UID_NONE, VR_US, 0);

    EXPECT_EQ(set.tree(),
              "T_0040_0275_requestAttributesSequence    (SQ) \n"
              "|  |--T_0040_0008_scheduledProtocolCodeSequenc (SQ) \n"
              "|  |  +--T_0008_0100_codeValue                    (SH) C1\n"
              "|  +--T_0040_1001_requestedProcedureId         (SH) P1\n"
              "|  |---------------------------------------\n"
              "|  +--T_0040_1001_requestedProcedureId         (SH) P2\n"
              "T_0040_1001_requestedProcedureId         (SH) P3\n"
              "T_6002_0010                              (US) \n");
    EXPECT_EQ(flat(*set.last()), "(6002,0010)   US(US)   T_60xx_0010_overlayRows\n");
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
    const std::string tree = set.tree();
    EXPECT_EQ(std::count(tree.begin(), tree.end(), '\n'), 64 + 1 + 1)
        << "64 levels below the first, and the note";
    EXPECT_NE(tree.find("not shown"), std::string::npos);
}
