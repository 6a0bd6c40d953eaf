#include <gtest/gtest.h>

#include <string>

#include "platform/file.h"
#include "tests/support/temp_dir.h"

using namespace orvkit::platform;

TEST(PlatformFile, WritesAndCopies) {
    TempDir dir;
    const std::string from = dir / "from", to = dir / "to";
    std::string content(300000, ' ');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i % 251);
    EXPECT_TRUE(writeAll(createNew(from.c_str()).get(), content.data(), content.size()));
    EXPECT_FALSE(createNew(from.c_str()));
    const FileHandle source = openRead(from.c_str());

    writeWhole(to, "to be emptied");
    FileHandle target = createWrite(to.c_str());
    EXPECT_TRUE(writeAll(target.get(), "head", 4));
    EXPECT_EQ(copyRange(source.get(), 1000, target.get(), 200000), 200000);
    EXPECT_EQ(copyRange(source.get(), 299990, target.get(), 50), 10);
    EXPECT_EQ(copyRange(-1, 0, target.get(), 1), -1);
    EXPECT_TRUE(writeAll(target.get(), "tail", 4));
    EXPECT_EQ(tell(source.get()), 0);
    // A target that takes no copies inside the kernel.
    EXPECT_EQ(copyRange(source.get(), 99000, openAppend(to.c_str()).get(), 201000), 201000);
    EXPECT_TRUE(readWhole(to) == "head" + content.substr(1000, 200000) + content.substr(299990) + "tail" +
                                     content.substr(99000));
    EXPECT_TRUE(target.close());
    EXPECT_FALSE(target);
    EXPECT_FALSE(FileHandle(98765).close());
}
