// Reading what is no Part 10 file by the letter.

#include "media/part10.h"
#include "media/sample_files.h"
#include "orvkit/tags.h"
#include "support/dataset.h"

namespace {

struct Any {
    int result = -1;
    DcDirMetaInfo meta;
    DcElemList dataset;
    DcDirFound found;

    explicit Any(std::vector<unsigned char> bytes) {
        bytes.reserve(1);
        result = dirReadAnyFile(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, dataset, found);
    }
    // As dirReadAroundPixels reads it, from disk.
    explicit Any(const std::string& path) {
        DcDirAround around;
        around.found = &found;
        result = dirReadAroundPixels(path.c_str(), meta, dataset, around);
    }
    std::string told() const {
        std::string all;
        for (const auto& [is, word] : {std::pair(found.preamble, "preamble "),
                                       {found.meta, "meta "},
                                       {found.metaImplicit, "implicit "},
                                       {found.groupLength, "length "},
                                       {found.guessed, "guessed "}}) {
            if (is) all += word;
        }
        return all + std::to_string(found.zerosBefore) + ' ' + std::to_string(found.zerosBehind);
    }
    std::vector<unsigned int> tags() {
        std::vector<unsigned int> all;
        for (DcElem* e = dataset.first(); e != nullptr; e = e->next())
            all.push_back(orvkit::ElemAccess::tag(*e));
        return all;
    }
};

Stream dataSet(DICT_UID syntax) {
    Stream s(syntax);
    s.ui(0x00080016, uidOf(UID_CT_IMAGE_STORAGE)).ui(0x00080018, "1.2.840.77");
    s.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined).ui(0x00081155, "1.2.3");
    return s.endItem().endSequence().elem(0x00100010, "PN", "Doe^Jane");
}

// Group 0002 in implicit VR, with a length that is wrong.
Stream implicitMeta(DICT_UID syntax) {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    s.header(0x00020000, "UL", 4).u32(7).elem(0x00020001, "OB", std::string("\0\1", 2));
    return s.ui(0x00020002, uidOf(UID_CT_IMAGE_STORAGE))
        .ui(0x00020003, "1.2.840.77")
        .ui(0x00020010, uidOf(syntax));
}

std::vector<unsigned char> joined(const std::vector<std::string>& parts) {
    std::vector<unsigned char> bytes;
    for (const std::string& part : parts) bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

}  // namespace

TEST(AnyFile, IsFoundWhereverItIsAndToldHow) {
    const std::string preamble = std::string(128, '\0') + "DICM";
    const std::string zeros(512, '\0');
    for (const DICT_UID syntax :
         {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        const std::string data = dataSet(syntax).text();
        const std::string group = metaGroup(Dict.findUid(syntax)->uid).text();
        const auto withLength = [&group](std::size_t length) {
            return Stream().ul(0x00020000, static_cast<std::uint32_t>(length)).text() + group;
        };
        const std::string meta = withLength(group.size());
        const std::string implicit = implicitMeta(syntax).text();
        const DICT_UID other =
            syntax == UID_LITTLE_ENDIAN_IMPLICIT ? UID_LITTLE_ENDIAN_EXPLICIT : UID_LITTLE_ENDIAN_IMPLICIT;
        const std::string wrongMeta = metaGroup(Dict.findUid(other)->uid).text();
        const struct {
            const char* name;
            std::vector<std::string> parts;
            std::string found;
        } rows[] = {
            {"by the letter", {preamble, meta, data}, "preamble meta length 0 0"},
            {"bare", {data}, "guessed 0 0"},
            {"bare behind a preamble", {preamble, data}, "preamble guessed 0 0"},
            {"no preamble", {meta, data}, "meta length 0 0"},
            {"DICM alone", {"DICM", meta, data}, "meta length 0 0"},
            {"another group length", {preamble, withLength(7), data}, "preamble meta 0 0"},
            {"no group length", {preamble, group, data}, "preamble meta 0 0"},
            {"implicit meta information", {preamble, implicit, data}, "preamble meta implicit 0 0"},
            {"zeros around", {zeros, data, zeros}, "guessed 512 512"},
            {"zeros behind", {preamble, meta, data, zeros}, "preamble meta length 0 512"},
            {"three zeros behind", {preamble, meta, data, std::string(3, '\0')}, "preamble meta length 0 3"},
            {"a syntax that is not", {preamble, wrongMeta, data}, "preamble meta guessed 0 0"}};
        const TempDir temp;
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::Message() << row.name << ' ' << syntax);
            const std::vector<unsigned char> bytes = joined(row.parts);
            for (Any* const any : {new Any(bytes), new Any(makeFile(temp, "file", bytes))}) {
                const std::unique_ptr<Any> owned(any);
                EXPECT_EQ(any->result, RESULT_OK);
                EXPECT_EQ(text(any->dataset, T_0010_0010_patientsName), "Doe^Jane");
                EXPECT_EQ(any->dataset.count(), 4);
                EXPECT_STREQ(any->meta.sopInstanceUid, "1.2.840.77");
                EXPECT_TRUE(any->meta.transferSyntax == syntax && any->found.xferSyn == syntax);
                EXPECT_EQ(any->told(), row.found);
            }
        }
    }
}

// Groups 0002 and 0004 are explicit in any stream, unless the directory is to be read as it lies. Of a set of
// files that is seen in its table.
TEST(AnyFile, ADirectoryInImplicitVrIsReadOnlyWhenToldTo) {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    s.elem(0x00041130, "CS", "SET ").header(0x00041220, "SQ", Stream::undefined).item(Stream::undefined);
    s.elem(0x00041430, "CS", "PATIENT ").elem(0x00100010, "PN", "Doe^Jane").endItem().endSequence();
    const std::string meta = metaGroup(Dict.findUid(UID_LITTLE_ENDIAN_IMPLICIT)->uid).text();
    const std::vector<unsigned char> file = joined({std::string(128, '\0') + "DICM", meta, s.text()});
    const TempDir temp;
    for (const bool on : {false, true, false}) {
        const CaptureLog log;
        ASSERT_EQ(dirSetImplicitDirectory(on), RESULT_OK);
        Any memory(file), disk(makeFile(temp, "file", file));
        (void)dirSetImplicitDirectory(0);
        for (Any* const any : {&memory, &disk}) {
            EXPECT_EQ(any->result == RESULT_OK, on);
            EXPECT_EQ(any->found.directoryImplicit, on);
            DcElemSq* const records = sequenceAt(any->dataset, 0x00041220);
            DcElemSqItem* const first = records != nullptr ? records->first() : nullptr;
            EXPECT_EQ(first != nullptr ? text(first->getElemList(), T_0010_0010_patientsName) : "",
                      on ? "Doe^Jane" : "");
        }
    }
}

TEST(AnyFile, WhatIsNoDicomIsRefused) {
    const CaptureLog log;
    std::string random;
    for (unsigned int i = 0, seed = 7; i < 4096; ++i)
        random += static_cast<char>((seed = seed * 1664525 + 1013904223) >> 24);
    for (const std::string& content :
         {std::string(), std::string("\x08"), std::string(4096, '\0'),
          std::string("#!/bin/sh\necho this is a script\n"), std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16),
          std::string(4096, '\xFF'), random, std::string(128, '\0') + "DICM"}) {
        const Any any(joined({content}));
        EXPECT_EQ(any.result, DIR_NOT_PART10) << content.size();
        EXPECT_FALSE(any.found.meta);
    }
}

// Every length of ten bare data sets, and of the beginnings of all samples without a header: no end without a
// code, and what stands in front of it is there.
TEST(AnyFile, TruncatedFilesKeepWhatIsWhole) {
    if (samplesDirectory() == nullptr) GTEST_SKIP() << "no samples";
    const CaptureLog log;
    const TempDir temp;
    int files = 0;
    for (const Sample& sample : allSamples()) {
        const bool bare = sample.folder() == "charset";
        if (!bare && sample.folder() != "nometa") continue;
        std::ifstream in(samplePath(sample.path), std::ios::binary);
        std::string whole{std::istreambuf_iterator<char>(in), {}};
        DcDirMetaInfo meta;
        unsigned int begin = 0;
        const int proper = dirReadFileMetaInfo(reinterpret_cast<unsigned char*>(whole.data()),
                                               static_cast<unsigned int>(whole.size()), meta, begin);
        if (bare) {
            ASSERT_EQ(proper, RESULT_OK) << sample.path;
            whole.erase(0, begin);
        }
        Any all(joined({whole}));
        EXPECT_EQ(all.result, RESULT_OK) << sample.path;
        const std::vector<unsigned int> expected = all.tags();
        EXPECT_GE(expected.size(), 2u) << sample.path;
        ++files;
        std::size_t kept = 0;
        for (std::size_t length = 0; length < std::min<std::size_t>(whole.size(), bare ? 10000 : 1500);
             ++length) {
            Any cut(joined({whole.substr(0, length)}));
            if (cut.result == DIR_NOT_PART10 || cut.found.xferSyn != all.found.xferSyn) continue;
            const std::vector<unsigned int> tags = cut.tags();
            EXPECT_TRUE(tags.size() <= expected.size() &&
                        std::equal(tags.begin(), tags.end(), expected.begin()))
                << sample.path << length;
            EXPECT_GE(tags.size() + 1, kept) << sample.path << length;
            kept = tags.size();
            if (length % 64 != 0) continue;  // as the command reads
            Any around(makeFile(temp, "cut", joined({whole.substr(0, length)})));
            EXPECT_EQ(around.result, cut.result) << sample.path << length;
            std::vector<unsigned int> others = around.tags();  // with what is left of the pixels
            if (others.size() > tags.size() && others.back() == T_7fe0_0010_pixelData) others.pop_back();
            EXPECT_EQ(others, tags) << sample.path << length;
        }
        EXPECT_GE(kept, 1u) << sample.path;
    }
    EXPECT_GE(files, 17);
}
