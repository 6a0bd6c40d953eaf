// Writers that cannot go on, as only this system lets a test arrange it.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "media/dir_tree.h"
#include "media/part10.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "support/capture_log.h"

namespace {

TEST(WriteFile, AFullDiskIsTold) {
    CaptureLog log;
    DcElemList dataset;
    DcDirMetaInfo meta = metaFor(kExplicit);
    (void)dataset.add(new DcElem(T_0010_0010_patientsName, "A"));
    EXPECT_EQ(dirWriteFile("/dev/full", meta, dataset), DIR_READ_WRITE);
    log.expect(LOG_ERROR, "dirWriteFile", "Write error, disk may be full");
}

// By a limit on the size of files, whose signal comes within the write.
TEST(DicomDir, AKilledWriterLeavesTheOldFile) {
    const TempDir root;
    DcDirDicomDir set;
    addImagePath(set);
    ASSERT_EQ(set.write((root / "").c_str()), RESULT_OK);
    const std::string old = readWhole(root / "DICOMDIR");
    for (int i = 0; i < 100; ++i) addImagePath(set);
    const auto write = [&] {
        const rlimit limit{1024, 1024};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        (void)set.write((root / "").c_str());
    };
    EXPECT_EXIT(write(), testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(readWhole(root / "DICOMDIR"), old);
}

}  // namespace
