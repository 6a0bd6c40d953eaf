#include <gtest/gtest.h>

#include <string>

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
    EXPECT_EQ(tell(source.get()), 0);
    EXPECT_EQ(copyRange(-1, 0, source.get(), 1), -1);
}
