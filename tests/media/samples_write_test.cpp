// Every sample file written again, in each syntax that can hold it, and read back.
#include <gtest/gtest.h>

#include <cstring>

#include "media/leaves.h"
#include "media/sample_files.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"
#include "support/temp_dir.h"

namespace {

constexpr DICT_UID kNative[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                UID_BIG_ENDIAN_EXPLICIT};
constexpr unsigned int kPixelData = 0x7FE00010;

bool isNative(DICT_UID xferSyn) {
    return std::find(std::begin(kNative), std::end(kNative), xferSyn) != std::end(kNative);
}

std::string framed(DcElemList& dataset, DICT_UID xferSyn) {
    unsigned int size = 0;
    EXPECT_EQ(dataset.getBufSize(size, TAG_LIST_END), RESULT_OK);
    std::string bytes(size, '\0');
    unsigned int used = 0;
    EXPECT_EQ(dataset.frame(reinterpret_cast<unsigned char*>(bytes.data()), used, xferSyn), RESULT_OK);
    bytes.resize(used);
    return bytes;
}

// The syntax in which what went through `xferSyn` can be compared: VRs do not survive the implicit one.
DICT_UID comparable(DICT_UID xferSyn) {
    return xferSyn == UID_BIG_ENDIAN_EXPLICIT ? UID_LITTLE_ENDIAN_EXPLICIT : xferSyn;
}

// What a record needs to be written and a sample does not have, or has with a UID that is not registered.
void complete(DcDirMetaInfo& meta) {
    meta.version = 1;
    if (meta.sopClassUid == UID_NONE) meta.sopClassUid = UID_SC_IMAGE_STORAGE;
    if (meta.sopInstanceUid[0] == '\0') std::strcpy(meta.sopInstanceUid, "1.2.3");
}

}  // namespace

class SamplesWritten : public testing::Test {
  protected:
    void SetUp() override {
        if (samplesDirectory() == nullptr) GTEST_SKIP() << "no sample files (see ORVKIT_SAMPLES)";
        for (const Sample& s : allSamples()) {
            // This one cannot be read: its directory group has a syntax that it may not have.
            const bool refused = s.path == "dicomdir/variants/dicomdir_implicit";
            if (s.isMalformed() || s.folder() == "deflated" || s.folder() == "nometa" || refused) continue;
            // Read with delimitations as elements of their own, which have no explicit form.
            if (s.path == "sequences/nested_private_sq_implicit.dcm") continue;
            if (s.path == "newvr/all_new_vrs.dcm") continue;  // cannot be read to its end
            samples_.push_back(s);
        }
    }

    ExceptionLevel acceptAll_{0};
    CaptureLog log_;
    TempDir temp_;
    std::vector<Sample> samples_;
};

TEST_F(SamplesWritten, HoldTheSameInEverySyntax) {
    int written = 0;
    for (const Sample& sample : samples_) {
        DcDirMetaInfo meta;
        DcElemList dataset;
        ASSERT_EQ(dirReadFile(samplePath(sample.path).c_str(), meta, dataset), RESULT_OK) << sample.path;
        complete(meta);
        const DICT_UID own = meta.transferSyntax;
        std::vector<DICT_UID> targets;
        if (isNative(own)) {
            targets.assign(std::begin(kNative), std::end(kNative));
        } else if (own != UID_NONE) {
            targets.push_back(own);
        }
        for (const DICT_UID target : targets) {
            SCOPED_TRACE(sample.path + " as " + std::to_string(target));
            meta.transferSyntax = target;
            const std::string path = temp_ / "written.dcm";
            ASSERT_EQ(dirWriteFile(path.c_str(), meta, dataset), RESULT_OK) << MsgBuf;
            DcDirMetaInfo again;
            DcElemList reread;
            ASSERT_EQ(dirReadFile(path.c_str(), again, reread), RESULT_OK) << MsgBuf;
            EXPECT_EQ(again.transferSyntax, target);
            EXPECT_STREQ(again.sopInstanceUid, meta.sopInstanceUid);
            EXPECT_EQ(std::memcmp(again.preamble, meta.preamble, sizeof meta.preamble), 0);
            EXPECT_TRUE(framed(dataset, comparable(target)) == framed(reread, comparable(target)));
            ++written;
        }
    }
    EXPECT_GE(written, 400);
}

// Pixel Data left in the sample file: what is written is the same, byte for byte, as from memory.
TEST_F(SamplesWritten, PixelsCopiedFromDiskAreThoseFromMemory) {
    int written = 0;
    for (const Sample& sample : samples_) {
        const std::string source = samplePath(sample.path);
        DcDirMetaInfo meta;
        DcElemList header;
        DcElemList whole;
        int offset = 0;
        int length = 0;
        ASSERT_EQ(dirReadNonPixelElem(source.c_str(), meta, header, &offset, &length), RESULT_OK);
        if (offset < 0 || meta.transferSyntax == UID_NONE) continue;
        // Its value ends at a delimiter inside of a fragment when it is searched, and behind it when it is
        // walked.
        if (sample.path == "encapsulated/j2k_embedded_delimiter.dcm") continue;
        ASSERT_EQ(dirReadFile(source.c_str(), meta, whole), RESULT_OK);
        DcElem* inMemory = nullptr;
        ASSERT_EQ(whole.getElem(kPixelData, &inMemory), RESULT_OK);
        const DICT_UID own = meta.transferSyntax;
        auto* pixels = new DcElem(kPixelData, nullptr, 0, UID_NONE, inMemory->getVr(), 0);
        ASSERT_EQ(pixels->addValue(source.c_str(), offset, static_cast<unsigned int>(length), own),
                  RESULT_OK);
        header.add(pixels);
        // What stands behind the pixels.
        while (DcElem* behind = inMemory->next()) {
            whole.subtract(behind);
            header.add(behind);
        }
        const std::string rest = framed(header, UID_LITTLE_ENDIAN_IMPLICIT);
        complete(meta);
        for (const DICT_UID target : kNative) {
            if (!isNative(own) && target != UID_LITTLE_ENDIAN_IMPLICIT) continue;
            meta.transferSyntax = isNative(own) ? target : own;
            SCOPED_TRACE(sample.path + " as " + std::to_string(meta.transferSyntax));
            const std::string fromDisk = temp_ / "disk.dcm";
            ASSERT_EQ(dirWriteFile(fromDisk.c_str(), meta, header), RESULT_OK) << MsgBuf;
            while (DcElem* behind = pixels->next()) {
                header.subtract(behind);
                whole.add(behind);
            }
            const std::string fromMemory = temp_ / "memory.dcm";
            ASSERT_EQ(dirWriteFile(fromMemory.c_str(), meta, whole), RESULT_OK) << MsgBuf;
            while (DcElem* behind = inMemory->next()) {
                whole.subtract(behind);
                header.add(behind);
            }
            EXPECT_TRUE(readWhole(fromDisk) == readWhole(fromMemory));
            ++written;
        }
        EXPECT_TRUE(framed(header, UID_LITTLE_ENDIAN_IMPLICIT) == rest);
    }
    EXPECT_GE(written, 200);
}
