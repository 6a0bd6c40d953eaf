// Every sample file against its reference table: tags, VRs, lengths and values of all elements.

#include <map>
#include <set>

#include "media/leaves.h"
#include "media/meta_info.h"
#include "media/sample_files.h"
#include "orvkit/edition.h"
#include "orvkit/file.h"
#include "support/temp_dir.h"

namespace {

// Files of which values are kept as what they mean: without padding, and without empty values at the end.
const std::set<std::string> kPadded = {
    "encapsulated/rle_fragments.dcm", "encapsulated/xa_96frames_curves.dcm",
    "private/private_sq_icon.dcm",    "private/private_sq_icon_large.dcm",
    "rt/rtimage_curve.dcm",           "sequences/empty_items_private_sq.dcm"};

// Files of which only the beginning can be compared.
struct Partial {
    int result;
    unsigned int upTo;  // the first element that is read in another way
};
const std::map<std::string, Partial> kPartial = {
    // (0001,0001) is in the place of a private creator, which is LO and never a sequence.
    {"sequences/nested_private_sq_implicit.dcm", {RESULT_OK, 0x00010001}},
    // An unknown implicit element whose value begins with an item is a sequence to us.
    {"sequences/private_sq_implicit.dcm", {RESULT_OK, 0x3F031001}},
    // A VR that came later, on a tag that has another: the dictionary's header is shorter.
    {"newvr/all_new_vrs.dcm", {ELEM_VALUE_REFUSED, 0x00110007}}};

std::string nameOf(const Leaf& leaf) {
    if (leaf.kind == Leaf::item) return "--";
    if (leaf.vr == VR_OX || leaf.vr == VR_XS) return leaf.vr == VR_OX ? "OB/OW" : "US/SS";
    return leaf.vr == VR_UNKNOWN ? "UN" : Dict.vrName(leaf.vr);
}

// VRs of later editions than our dictionary's are UN, and so are their tags unless they hold items.
std::string expectedVr(const ReferenceRow& row, const Leaf& ours) {
    DcDictElemInfo info;
    const bool later = row.vrFrom == "dict" && Dict.getElemInfo(row.tag, &info) != RESULT_OK;
    if (later && ours.kind == Leaf::element) return "UN";
    if (dictGetEdition() == DICT_EDITION_CURRENT) return row.vr;
    return std::set<std::string>{"OD", "OL", "OV", "SV", "UC", "UR", "UV"}.contains(row.vr) ? "UN" : row.vr;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view padding(" \0\r\n\\", 5);
    while (!text.empty() && padding.find(text.back()) != padding.npos) text.remove_suffix(1);
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    return text;
}

// Compares row by row; `upTo` is the first tag at the top level that is left out.
void compare(const Sample& sample, bool implicit, const std::vector<Leaf>& leaves, unsigned int upTo) {
    const std::string file = readWhole(samplePath(sample.path));
    const std::vector<ReferenceRow> rows = referenceOf(sample);
    ASSERT_FALSE(rows.empty()) << "no reference";
    std::size_t leaf = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const ReferenceRow& row = rows[i];
        if (row.tag >> 16 == 2) continue;  // the meta group
        if (row.depth == 0 && row.tag == upTo) return;
        ASSERT_LT(leaf, leaves.size()) << "nothing left for " << std::hex << row.tag;
        SCOPED_TRACE(testing::Message() << "row " << i << " tag " << std::hex << row.tag);
        const Leaf& ours = leaves[leaf++];
        ASSERT_EQ(ours.tag, row.tag);
        ASSERT_EQ(ours.depth, row.depth);
        EXPECT_EQ(nameOf(ours), expectedVr(row, ours));
        if (ours.kind != Leaf::element) continue;
        static const std::set<std::string> longHeaders = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ",
                                                          "SV", "UC", "UN", "UR", "UT", "UV"};
        const std::size_t at = row.offset + (!implicit && longHeaders.contains(row.vr) ? 12 : 8);
        if (row.undefined) {
            // Held as it stands in front of its delimiter: fragments, or the items of an UN sequence.
            EXPECT_EQ(ours.value, file.substr(at, ours.value.size()));
            while (i + 1 < rows.size() && rows[i + 1].depth > row.depth) ++i;
            const std::size_t next = i + 1 < rows.size() ? rows[i + 1].offset : file.size();
            EXPECT_TRUE(row.depth > 0 || at + ours.value.size() + 8 == next) << "the value ends elsewhere";
        } else if (const std::string raw = file.substr(at, row.length); kPadded.contains(sample.path)) {
            EXPECT_EQ(trimmed(ours.value), trimmed(raw));
        } else {
            EXPECT_EQ(ours.value, raw);
        }
    }
    EXPECT_EQ(leaf, leaves.size()) << "more elements than the reference has";
}

bool isApart(const Sample& s) {
    return s.folder() == "deflated" || s.isMalformed();
}

// What is no Part 10 file by the letter is read as one that may be none. Group 0004 is explicit little endian
// in every stream (PS3.10 8.6), and one of the directories has it implicit.
int readSample(const Sample& sample, DcDirMetaInfo& meta, DcElemList& dataset) {
    const std::string path = samplePath(sample.path);
    const bool implicitDirectory = sample.path.ends_with("dicomdir_implicit");
    if (sample.folder() != "nometa" && !implicitDirectory) return dirReadFile(path.c_str(), meta, dataset);
    (void)dirSetImplicitDirectory(implicitDirectory ? 1 : 0);
    DcDirFound found;
    const int result = dirReadAnyFile(path.c_str(), meta, dataset, found);
    (void)dirSetImplicitDirectory(0);
    return result;
}

}  // namespace

class Samples : public testing::Test {
  protected:
    void SetUp() override {
        if (samplesDirectory() == nullptr) GTEST_SKIP() << "no sample files (see ORVKIT_SAMPLES)";
    }
    CaptureLog log_;
};

class SamplesInEdition : public Samples, public testing::WithParamInterface<DICT_EDITION> {
  protected:
    SamplesInEdition() { dictSetEdition(GetParam()); }
    ~SamplesInEdition() override { dictSetEdition(DICT_EDITION_2008); }
};
INSTANTIATE_TEST_SUITE_P(Each, SamplesInEdition, testing::Values(DICT_EDITION_2008, DICT_EDITION_CURRENT));

TEST_P(SamplesInEdition, AgreeWithTheirReferenceTables) {
    const ExceptionLevel acceptAll(0);  // some hold values that break the rules of their VR
    int compared = 0;
    for (const Sample& sample : allSamples()) {
        if (isApart(sample)) continue;
        SCOPED_TRACE(sample.path);
        DcDirMetaInfo meta;
        DcElemList dataset;
        const int result = readSample(sample, meta, dataset);
        const DICT_UID xferSyn = meta.transferSyntax != UID_NONE ? meta.transferSyntax : kExplicit;
        const auto partial = kPartial.find(sample.path);
        const bool later = GetParam() == DICT_EDITION_CURRENT && sample.folder() == "newvr";
        const bool whole = partial == kPartial.end() || later;
        EXPECT_EQ(result, whole ? RESULT_OK : partial->second.result);
        compare(sample, meta.transferSyntax == kImplicit, leavesOf(dataset, xferSyn),
                whole ? 0xFFFFFFFF : partial->second.upTo);
        if (testing::Test::HasFatalFailure()) return;
        ++compared;
        EXPECT_TRUE(meta.transferSyntax == UID_NONE || sample.transferSyntax.starts_with("none (") ||
                    sample.transferSyntax == orvkit::uidText(meta.transferSyntax));
        // With the checks of values on, which are the default, it is still read to its end.
        elemListSetValueExceptionLevel(-1);
        DcElemList again;
        EXPECT_EQ(readSample(sample, meta, again), result);
        elemListSetValueExceptionLevel(0);
        if (!whole) continue;
        // Written and read again it holds the same.
        const auto bytes = frame(dataset, xferSyn);
        auto read = bytes;
        auto length = static_cast<unsigned int>(bytes.size());
        DcElemList reread;
        EXPECT_EQ(reread.parse(read.data(), length, xferSyn), RESULT_OK);
        EXPECT_TRUE(frame(reread, xferSyn) == bytes);
    }
    EXPECT_GE(compared, 160);
}
