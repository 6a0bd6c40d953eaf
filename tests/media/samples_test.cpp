// Every sample file against its reference table: tags, VRs, lengths and values of all elements.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "media/leaves.h"
#include "media/meta_info.h"
#include "media/sample_files.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

// ---- where we differ from the tables, and why -----------------------------------------------------------

// Values that are kept as the value they mean, not byte for byte. `ours` is what is written again.
struct ValueDifference {
    const char* path;
    unsigned int tag;
    const char* ours;
    const char* reason;
};
constexpr ValueDifference kValueDifferences[] = {
    {"encapsulated/rle_fragments.dcm", 0x00280030, "0.661468\\0.661468 ",
     "padded with NUL: a blank belongs there"},
    {"encapsulated/rle_fragments.dcm", 0x00281052, "-1024 ", "padded with NUL: a blank belongs there"},
    {"encapsulated/rle_fragments.dcm", 0x00281053, "1 ", "padded with NUL: a blank belongs there"},
    {"encapsulated/xa_96frames_curves.dcm", 0x00100010, "Rubo DEMO ", "more padding than one blank"},
    {"private/private_sq_icon.dcm", 0x00080008, "ORIGINAL\\SECONDARY", "an empty last value is dropped"},
    {"private/private_sq_icon.dcm", 0x00100030, "", "a date of NULs is no date"},
    {"private/private_sq_icon_large.dcm", 0x00080008, "ORIGINAL\\PRIMARY", "an empty last value is dropped"},
    {"sequences/empty_items_private_sq.dcm", 0x00181074, "474592928 ", "leading blanks are insignificant"},
    {"sequences/empty_items_private_sq.dcm", 0x00541322, "143 ", "leading blanks are insignificant"},
    {"sequences/empty_items_private_sq.dcm", 0x00091062, nullptr, "256 bytes filled up with blanks"},
    {"rt/rtimage_curve.dcm", 0x30020004, nullptr, "a line end behind the last line is no part of the value"},
};

// Tags of later editions than our dictionary's: read from implicit streams they are unknown, hence UN.
const std::set<unsigned int> kLaterTags = {0x00400032, 0x00400033, 0x00480006, 0x00480007,
                                           0x00480102, 0x0048021E, 0x0048021F, 0x00620013,
                                           0x00620020, 0x00620021, 0x00660031, 0x00660036};

// Files of which only the beginning can be compared.
constexpr struct {
    const char* path;
    int result;
    unsigned int upTo;  // the first element that is read in another way
    const char* reason;
} kPartial[] = {
    {"dicomdir/variants/dicomdir_implicit", ELEM_VALUE_REFUSED, 0x00041130,
     "group 0004 is explicit little endian in every stream (PS3.10 8.6), this file has it implicit"},
    {"sequences/nested_private_sq_implicit.dcm", RESULT_OK, 0x00010001,
     "(0001,0001) is in the place of a private creator, which is LO and never a sequence"},
    {"sequences/private_sq_implicit.dcm", RESULT_OK, 0x3F031001,
     "an unknown implicit element whose value begins with an item is a sequence to us"},
    {"newvr/all_new_vrs.dcm", ELEM_VALUE_REFUSED, 0x00110007,
     "a VR that came later, on a tag that has another: the dictionary's header is shorter"},
};

const auto* partialOf(const Sample& sample) {
    const auto* found = std::find_if(std::begin(kPartial), std::end(kPartial),
                                     [&](const auto& p) { return p.path == sample.path; });
    return found != std::end(kPartial) ? found : nullptr;
}

// ---- comparing ------------------------------------------------------------------------------------------

std::string nameOf(const Leaf& leaf) {
    if (leaf.kind == Leaf::item) return "--";
    switch (leaf.vr) {
        case VR_OX:
            return "OB/OW";
        case VR_XS:
            return "US/SS";
        case VR_UNKNOWN:
            return "UN";
        default:
            return Dict.vrName(leaf.vr);
    }
}

bool isNewVr(const std::string& vr) {
    return vr == "OD" || vr == "OL" || vr == "OV" || vr == "SV" || vr == "UC" || vr == "UR" || vr == "UV";
}

class Comparison {
  public:
    Comparison(const Sample& sample, DICT_UID xferSyn)
        : sample_(sample),
          xferSyn_(xferSyn),
          file_(readBytes(samplePath(sample.path))),
          rows_(referenceOf(sample)) {}

    // Compares row by row; `upTo`, when given, is the first tag at the top level that is left out.
    void run(const std::vector<Leaf>& leaves, unsigned int upTo = 0xFFFFFFFF) {
        ASSERT_FALSE(rows_.empty()) << "no reference";
        std::size_t leaf = 0;
        for (std::size_t i = 0; i < rows_.size(); ++i) {
            const ReferenceRow& row = rows_[i];
            if (row.tag >> 16 == 2) continue;  // the meta group
            if (row.depth == 0 && row.tag == upTo) return;
            ASSERT_LT(leaf, leaves.size()) << "nothing left for " << std::hex << row.tag;
            SCOPED_TRACE(testing::Message()
                         << sample_.path << " row " << i << " tag " << std::hex << row.tag);
            const Leaf& ours = leaves[leaf++];
            ASSERT_EQ(ours.tag, row.tag);
            ASSERT_EQ(ours.depth, row.depth);
            EXPECT_EQ(nameOf(ours), expectedVr(row));
            if (ours.kind == Leaf::element) compareValue(row, ours, i);
        }
        EXPECT_EQ(leaf, leaves.size()) << "more elements than the reference has";
        EXPECT_EQ(used_.size(), static_cast<std::size_t>(
                                    std::count_if(std::begin(kValueDifferences), std::end(kValueDifferences),
                                                  [&](const auto& d) { return d.path == sample_.path; })))
            << "differences listed and not met";
    }

  private:
    // Where the bytes of an element's value stand in the file.
    std::string_view rawValue(const ReferenceRow& row, std::size_t length) const {
        const bool implicit = xferSyn_ == kImplicit;
        static const std::set<std::string> longHeaders = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ",
                                                          "SV", "UC", "UN", "UR", "UT", "UV"};
        const std::size_t at = row.offset + (!implicit && longHeaders.contains(row.vr) ? 12 : 8);
        if (at + length > file_.size()) return "past the end of the file";
        return {reinterpret_cast<const char*>(file_.data()) + at, length};
    }

    std::string expectedVr(const ReferenceRow& row) const {
        if (row.vrFrom == "dict" && kLaterTags.contains(row.tag)) return "UN";
        return isNewVr(row.vr) ? "UN" : row.vr;
    }

    void compareValue(const ReferenceRow& row, const Leaf& ours, std::size_t& i) {
        if (row.undefined) {
            // Held as it stands in front of its delimiter: fragments, or the items of an UN sequence.
            EXPECT_EQ(ours.value, rawValue(row, ours.value.size()));
            const std::size_t end = row.offset + 12 + ours.value.size();
            std::size_t last = i;
            while (last + 1 < rows_.size() && rows_[last + 1].depth > row.depth) ++last;
            i = last;
            const std::size_t next = i + 1 < rows_.size() ? rows_[i + 1].offset : file_.size();
            EXPECT_TRUE(row.depth > 0 || end + 8 == next) << "the value ends somewhere else";
            return;
        }
        const std::string_view raw = rawValue(row, row.length);
        if (raw == ours.value) return;
        const auto* known = difference(row.tag);
        ASSERT_NE(known, nullptr) << "value differs: " << testing::PrintToString(std::string(raw))
                                  << " is now " << testing::PrintToString(ours.value);
        used_.insert(row.tag);
        // Where the text is long, only padding may be missing.
        const auto end = raw.find_last_not_of(std::string_view(" \0\r\n", 4));
        const std::string trimmed(raw.substr(0, end + 1));
        EXPECT_EQ(ours.value, known->ours != nullptr ? std::string(known->ours)
                                                     : trimmed + std::string(trimmed.size() % 2, ' '))
            << known->reason;
    }

    const ValueDifference* difference(unsigned int tag) const {
        const auto* found =
            std::find_if(std::begin(kValueDifferences), std::end(kValueDifferences),
                         [&](const auto& d) { return d.path == sample_.path && d.tag == tag; });
        return found != std::end(kValueDifferences) ? found : nullptr;
    }

    const Sample& sample_;
    DICT_UID xferSyn_;
    std::vector<unsigned char> file_;
    std::vector<ReferenceRow> rows_;
    std::set<unsigned int> used_;
};

bool isApart(const Sample& s) {
    return s.folder() == "deflated" || s.folder() == "nometa" || s.isMalformed();
}

}  // namespace

class Samples : public testing::Test {
  protected:
    void SetUp() override {
        if (samplesDirectory() == nullptr) GTEST_SKIP() << "no sample files (see ORVKIT_SAMPLES)";
    }
    CaptureLog log_;
};

TEST_F(Samples, AgreeWithTheirReferenceTables) {
    const ExceptionLevel acceptAll(0);  // some hold values that break the rules of their VR
    int compared = 0;
    for (const Sample& sample : allSamples()) {
        if (isApart(sample)) continue;
        SCOPED_TRACE(sample.path);
        const std::string path = samplePath(sample.path);
        DcDirMetaInfo meta;
        DcElemList dataset;
        const int result = dirReadFile(path.c_str(), meta, dataset);
        const DICT_UID xferSyn = meta.transferSyntax != UID_NONE ? meta.transferSyntax : kExplicit;
        const auto* partial = partialOf(sample);
        const bool whole = partial == nullptr;
        EXPECT_EQ(result, whole ? RESULT_OK : partial->result) << (whole ? MsgBuf : partial->reason);
        Comparison(sample, meta.transferSyntax)
            .run(leavesOf(dataset, xferSyn), whole ? 0xFFFFFFFF : partial->upTo);
        if (testing::Test::HasFatalFailure()) return;
        ++compared;
        EXPECT_TRUE(meta.transferSyntax == UID_NONE ||
                    sample.transferSyntax == orvkit::uidText(meta.transferSyntax));
        // With the checks of values on, which are the default, it is still read to its end.
        elemListSetValueExceptionLevel(-1);
        DcElemList again;
        EXPECT_EQ(dirReadFile(path.c_str(), meta, again), result);
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

TEST_F(Samples, DeflatedDataSetsAreRefusedByName) {
    for (const Sample& sample : allSamples()) {
        if (sample.folder() != "deflated") continue;
        const std::string path = samplePath(sample.path);
        log_.clear();
        DcDirMetaInfo meta;
        DcElemList dataset;
        EXPECT_EQ(dirReadFile(path.c_str(), meta, dataset), ELEM_XFER_SYNTAX);
        log_.expect(LOG_ERROR, "dirReadFile",
                    "File '" + path + "', the data set is deflated (1.2.840.10008.1.2.1.99)");
        EXPECT_EQ(meta.transferSyntax, UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT);
        EXPECT_EQ(dirReadNonPixelElem(path.c_str(), meta, dataset, nullptr, nullptr), ELEM_XFER_SYNTAX);
    }
}
