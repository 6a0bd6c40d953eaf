#include <gtest/gtest.h>

#include <cerrno>

#include "platform/file.h"
#include "tests/support/temp_dir.h"

using namespace orvkit::platform;

TEST(PlatformFile, CopiesRangesBetweenFiles) {
    TempDir dir;
    const std::string from = dir / "from", to = dir / "to";
    std::string content(300000, ' ');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    writeWhole(from, content);
    const FileHandle source = openRead(from.c_str());
    EXPECT_EQ(copyRange(source.get(), 299990, createWrite(to.c_str()).get(), 50), 10);
    // A target that takes no copies inside the kernel.
    EXPECT_EQ(copyRange(source.get(), 99000, openAppend(to.c_str()).get(), 201000), 201000);
    EXPECT_TRUE(readWhole(to) == content.substr(299990) + content.substr(99000));
    EXPECT_EQ(orvkit::platform::tell(source.get()), 0);
    EXPECT_EQ(copyRange(-1, 0, source.get(), 1), -1);
}

TEST(PlatformFile, AFolderIsLockedByManyOrByOneAlone) {
    const TempDir dir;
    const std::string folder = dir / "";
    const auto lock = [&](FolderUse use) { return lockFolder(folder.c_str(), use); };
    {
        const FileHandle one = lock(FolderUse::shared), other = lock(FolderUse::shared);
        EXPECT_TRUE(one && other);
        EXPECT_FALSE(lock(FolderUse::alone));
        EXPECT_EQ(errno, EWOULDBLOCK);
    }
    const FileHandle alone = lock(FolderUse::alone);
    EXPECT_TRUE(alone);
    EXPECT_FALSE(lock(FolderUse::shared) || lock(FolderUse::alone));
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_FALSE(lockFolder((dir / "none").c_str(), FolderUse::shared));
    EXPECT_EQ(errno, ENOENT);
}
