// Every sample file written again, in each syntax that can hold it, and read back.
#include <gtest/gtest.h>

#include <cstring>

#include "media/leaves.h"
#include "media/sample_files.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/elem_values.h"
#include "support/temp_dir.h"

namespace {

constexpr unsigned int kPixelData = 0x7FE00010;

bool isNative(DICT_UID xferSyn) {
    return std::find(std::begin(kSyntaxes), std::end(kSyntaxes), xferSyn) != std::end(kSyntaxes);
}

// The syntax in which what went through `xferSyn` can be compared: VRs do not survive the implicit one.
DICT_UID comparable(DICT_UID xferSyn) {
    return xferSyn == kBig ? kExplicit : xferSyn;
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

TEST_F(SamplesWritten, HoldTheSameInEverySyntaxWithPixelsInMemoryAndOnDisk) {
    int written = 0;
    int fromDisk = 0;
    for (const Sample& sample : samples_) {
        const std::string source = samplePath(sample.path);
        DcDirMetaInfo meta;
        DcElemList dataset;
        ASSERT_EQ(dirReadFile(source.c_str(), meta, dataset), RESULT_OK) << sample.path;
        complete(meta);
        const DICT_UID own = meta.transferSyntax;
        if (own == UID_NONE) continue;
        int offset = 0;
        int length = 0;
        DcElemList header;
        ASSERT_EQ(dirReadNonPixelElem(source.c_str(), meta, header, &offset, &length), RESULT_OK);
        complete(meta);
        // The value of that one ends at a delimiter inside of a fragment when it is searched, and behind it
        // when it is walked.
        const bool onDisk = offset >= 0 && sample.path != "encapsulated/j2k_embedded_delimiter.dcm";
        for (const DICT_UID target : kSyntaxes) {
            if (!isNative(own) && target != kImplicit) continue;
            meta.transferSyntax = isNative(own) ? target : own;
            SCOPED_TRACE(sample.path + " as " + std::to_string(meta.transferSyntax));
            const std::string path = temp_ / "written.dcm";
            ASSERT_EQ(dirWriteFile(path.c_str(), meta, dataset), RESULT_OK) << MsgBuf;
            DcDirMetaInfo again;
            DcElemList reread;
            ASSERT_EQ(dirReadFile(path.c_str(), again, reread), RESULT_OK) << MsgBuf;
            EXPECT_EQ(again.transferSyntax, meta.transferSyntax);
            EXPECT_STREQ(again.sopInstanceUid, meta.sopInstanceUid);
            EXPECT_EQ(std::memcmp(again.preamble, meta.preamble, sizeof meta.preamble), 0);
            const DICT_UID same = comparable(meta.transferSyntax);
            EXPECT_TRUE(frame(dataset, same) == frame(reread, same));
            ++written;
            if (!onDisk) continue;
            // The pixels in the sample instead: the same file, byte for byte.
            DcElem* const inMemory = elemAt(dataset, kPixelData);
            auto* const pixels = new DcElem(kPixelData, nullptr, 0, UID_NONE, inMemory->getVr(), 0);
            ASSERT_EQ(pixels->addValue(source.c_str(), offset, static_cast<unsigned int>(length), own),
                      RESULT_OK);
            dataset.subtract(inMemory);
            dataset.add(pixels);
            const std::string copied = temp_ / "copied.dcm";
            EXPECT_EQ(dirWriteFile(copied.c_str(), meta, dataset), RESULT_OK) << MsgBuf;
            EXPECT_TRUE(readWhole(copied) == readWhole(path));
            dataset.subtract(pixels);
            delete pixels;
            dataset.add(inMemory);
            ++fromDisk;
        }
    }
    EXPECT_GE(written, 400);
    EXPECT_GE(fromDisk, 200);
}
