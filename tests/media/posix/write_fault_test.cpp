// Writers that cannot go on, as only this system lets a test arrange it.
#include <sys/resource.h>

#include <csignal>

#include "media/dir_tree.h"
#include "orvkit/mediamgr.h"
#include "orvkit/tags.h"

namespace {

TEST(WriteFile, AFullDiskIsTold) {
    CaptureLog log;
    DcElemList dataset;
    DcDirMetaInfo meta = metaFor(kExplicit);
    (void)dataset.add(new DcElem(T_0010_0010_patientsName, "A"));
    EXPECT_EQ(dirWriteFile("/dev/full", meta, dataset), DIR_READ_WRITE);
    log.expect(LOG_ERROR, "dirWriteFile", "Write error, disk may be full");
}

// By a limit on the size of files, whose signal comes within the write or, where it is ignored, as an error.
TEST(WriteFault, WhatIsReplacedStaysUntilTheNewFileIsWhole) {
    const TempDir root;
    DcMediaMgr manager(MEDIA_ROLE_UPDATER, nullptr);
    DcDirRec* const image = addImagePath(manager);
    DcDirMetaInfo meta = metaFor(kExplicit);
    DcElemList dataset;
    ASSERT_EQ(manager.write((root / "").c_str()), RESULT_OK);
    ASSERT_EQ(manager.mWrite(image, "A", meta, dataset), RESULT_OK);
    const std::string oldSet = readWhole(root / "DICOMDIR"), oldFile = readWhole(root / "A");
    for (int i = 0; i < 100; ++i) addImagePath(manager);
    std::vector<unsigned short> pixels(10000);
    dataset.add(new DcElem(0x7FE00010u, pixels.data(), 20000, kExplicit, VR_OW, 0));
    const auto limited = [](auto write) {
        const rlimit limit{1024, RLIM_INFINITY};
        const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const int result = write();
        ::setrlimit(RLIMIT_FSIZE, &none);
        return result;
    };
    const auto writeSet = [&] { return manager.write(nullptr); };
    const auto writeFile = [&] { return manager.mWrite(image, "A", meta, dataset); };
    EXPECT_EXIT((void)limited(writeSet), testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EXIT((void)limited(writeFile), testing::KilledBySignal(SIGXFSZ), "");
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    EXPECT_EQ(limited(writeSet), DIR_READ_WRITE);
    EXPECT_EQ(limited(writeFile), DIR_READ_WRITE);
    (void)std::signal(SIGXFSZ, before);
    EXPECT_TRUE(readWhole(root / "DICOMDIR") == oldSet);
    EXPECT_TRUE(readWhole(root / "A") == oldFile);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(root / ""), {}), 2) << "leftovers";
    EXPECT_EQ(writeFile(), RESULT_OK);
    EXPECT_GT(readWhole(root / "A").size(), 20000u);
}

}  // namespace
