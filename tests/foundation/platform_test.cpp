#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/clock.h"
#include "platform/file.h"
#include "tests/support/temp_dir.h"

using namespace orvkit::platform;

TEST(PlatformFile, ReadsAtPlacesAndStopsAtTheEnd) {
    TempDir dir;
    const std::string path = dir / "file";
    writeWhole(path, "0123456789");
    const FileHandle file = openRead(path.c_str());
    ASSERT_TRUE(file);
    char bytes[8] = "";
    EXPECT_EQ(readAt(file.get(), bytes, 4, 3), 4);
    EXPECT_STREQ(bytes, "3456");
    EXPECT_EQ(readAt(file.get(), bytes, 8, 7), 3);
    EXPECT_EQ(readAt(file.get(), bytes, 8, 100), 0);
    EXPECT_EQ(readAt(file.get(), bytes, 8, -1), -1);
    EXPECT_EQ(tell(file.get()), 0);

    // Duplicates share the position, and outlive each other.
    FileHandle second = duplicate(file.get());
    EXPECT_TRUE(seek(second.get(), 6));
    EXPECT_EQ(orvkit::platform::read(file.get(), bytes, 8), 4);
    EXPECT_EQ(tell(second.get()), 10);
    second = FileHandle(second.release());
    FileInfo info;
    EXPECT_TRUE(examine(second.get(), info));
    EXPECT_EQ(info.size, 10);
    EXPECT_EQ(info.kind, FileKind::regular);

    EXPECT_FALSE(openRead((dir / "missing").c_str()));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(duplicate(987654));
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(examine((dir / "missing").c_str(), info));
    EXPECT_TRUE(examine((dir / ".").c_str(), info));
    EXPECT_EQ(info.kind, FileKind::directory);
}

TEST(PlatformFile, WritesCopiesAndRenames) {
    TempDir dir;
    const std::string from = dir / "from", to = dir / "to", last = dir / "final";
    std::string content(300000, ' ');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    {
        const FileHandle file = createNew(from.c_str());
        ASSERT_TRUE(file);
        EXPECT_TRUE(writeAll(file.get(), content.data(), content.size()));
        EXPECT_FALSE(createNew(from.c_str()));
    }
    {
        writeWhole(to, "to be emptied");
        const FileHandle source = openRead(from.c_str()), target = createWrite(to.c_str());
        EXPECT_TRUE(writeAll(target.get(), "head", 4));
        EXPECT_EQ(copyRange(source.get(), 1000, target.get(), 200000), 200000);
        EXPECT_EQ(copyRange(source.get(), 299990, target.get(), 50), 10);
        EXPECT_EQ(copyRange(source.get(), 5, target.get(), 0), 0);
        EXPECT_EQ(copyRange(-1, 0, target.get(), 1), -1);
        EXPECT_TRUE(writeAll(target.get(), "tail", 4));
        EXPECT_EQ(tell(source.get()), 0);
        EXPECT_TRUE(sync(target.get()));
    }
    const std::string expected = "head" + content.substr(1000, 200000) + content.substr(299990) + "tail";
    EXPECT_TRUE(readWhole(to) == expected);
    {
        // A target that takes no copies inside the kernel.
        const FileHandle source = openRead(from.c_str()), target = openAppend(to.c_str());
        EXPECT_EQ(copyRange(source.get(), 299000, target.get(), 1000), 1000);
    }
    EXPECT_TRUE(readWhole(to) == expected + content.substr(299000));
    writeWhole(last, "replaced");
    EXPECT_TRUE(orvkit::platform::rename(to.c_str(), last.c_str()));
    EXPECT_TRUE(syncEntry(last.c_str()));
    EXPECT_EQ(readWhole(last).size(), expected.size() + 1000);
    EXPECT_TRUE(orvkit::platform::remove(last.c_str()));
    EXPECT_FALSE(orvkit::platform::remove(last.c_str()));
}

TEST(PlatformClock, TellsLocalTimes) {
    std::tm local = {};
    ASSERT_TRUE(localTime(86400 * 365, local));
    EXPECT_TRUE(local.tm_year == 71 || (local.tm_year == 70 && local.tm_mon == 11));
    EXPECT_TRUE(localTime(local));
}
