#include "platform/new_file.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/temp_dir.h"

using namespace orvkit::platform;

namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

Names namesIn(const TempDir& dir) {
    Names names;
    for (const auto& entry : fs::directory_iterator(dir / "")) names.insert(entry.path().filename().string());
    return names;
}

// Both ways to make a file: the one that the system has, and the one for systems without unnamed files.
FileHandle named(const std::string& path) {
    return createTemporary(path.c_str(), nullptr);
}

}  // namespace

TEST(NewFile, TheTargetIsWholeOrAsItWas) {
    const TempDir dir;
    const std::string target = dir / "target";
    for (const char* const before : {"", "before"}) {
        if (before[0] != '\0') writeWhole(target, before);
        const Names names = namesIn(dir);
        {
            NewFile dropped;
            ASSERT_TRUE(dropped.beginBeside(target) && writeAll(dropped.handle(), "12", 2));
            for (const std::string& name : namesIn(dir))
                EXPECT_TRUE(names.contains(name) || isUnfinished(name));
        }
        EXPECT_EQ(namesIn(dir), names);
        NewFile file;
        ASSERT_TRUE(file.beginBeside(target) && writeAll(file.handle(), "12", 2));
        // Written once more from its beginning, by somebody who has the path only.
        const FileHandle second = createWrite(file.path().c_str());
        EXPECT_TRUE(writeAll(second.get(), "whole", 5));
        EXPECT_EQ(removeUnfinished(dir / ""), 0) << "its maker is at work";
        // One that was killed in the moment of replacing left its name.
        if (before[0] != '\0' && file.name().empty()) {
            ASSERT_TRUE(giveName(file.handle(), (dir / ".orvkit-0-1.part").c_str()));
            ASSERT_TRUE(file.beginBeside(target) && writeAll(file.handle(), "whole", 5));
        }
        EXPECT_TRUE(file.commit(target, true));
        EXPECT_FALSE(file);
        EXPECT_EQ(readWhole(target), "whole");
        EXPECT_EQ(namesIn(dir), Names{"target"});
    }
    NewFile nowhere;
    EXPECT_FALSE(nowhere.beginBeside(dir / "none/target"));
    ASSERT_TRUE(nowhere.begin(dir / ""));
    fs::create_directory(dir / "folder");
    EXPECT_FALSE(nowhere.commit(dir / "folder", false));
    EXPECT_EQ(namesIn(dir), (Names{"folder", "target"}));
}

TEST(NewFile, FilesWithANameAreRemovedWhenNobodyIsAtWork) {
    const TempDir dir;
    const std::string mine = dir / ".orvkit-1-1.part", left = dir / ".orvkit-1-2.part";
    const std::string others = dir / "IM000001.part", target = dir / "target";
    FileHandle atWork = named(mine);
    ASSERT_TRUE(atWork);
    EXPECT_FALSE(named(mine)) << "the name is taken";
    named(left).reset();
    writeWhole(others, "somebody else's");
    EXPECT_EQ(removeUnfinished(dir / ""), 1);
    EXPECT_EQ(namesIn(dir), (Names{".orvkit-1-1.part", "IM000001.part"}));
    writeWhole(target, "before");
    EXPECT_TRUE(rename(std::move(atWork), mine.c_str(), target.c_str()));
    EXPECT_EQ(readWhole(target), "");
    EXPECT_EQ(removeUnfinished(dir / "none"), 0);
}

TEST(NewFile, RightsAreThoseOfTheFileThatIsReplaced) {
    const TempDir dir;
    const std::string target = dir / "target", other = dir / "other", fresh = dir / "fresh";
    writeWhole(target, "before");
    writeWhole(fresh, "");
    const auto rightsOf = [](const std::string& path) { return fs::status(path).permissions(); };
    const fs::perms usual = rightsOf(target);
    fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);
    const fs::perms own = rightsOf(target);
    NewFile file, second;
    ASSERT_TRUE(file.beginBeside(target) && file.commit(target, false));
    EXPECT_EQ(rightsOf(target), own);
    ASSERT_TRUE(second.beginBeside(other) && second.commit(other, false));
    EXPECT_EQ(rightsOf(other), usual);
    named(dir / "named").reset();
    EXPECT_EQ(rightsOf(dir / "named"), usual);
}
