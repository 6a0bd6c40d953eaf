// Generated UIDs, message IDs and presentation context IDs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "fresh_dict.h"
#include "orvkit/dict.h"

namespace {

class Generate : public FreshDict {
  protected:
    static std::string uidFrom(const std::string& held) {
        char uid[80] = {};
        std::memcpy(uid, held.data(), held.size());
        Dict.genUid(uid);
        return uid;
    }
};

TEST_F(Generate, WritesRootLocalTimeAndCounter) {
    const std::regex form(R"(1\.3\.6\.1\.4\.1\.70707\.(\d{4})\.(\d+)\.(\d+)\.(\d+)\.(\d+)\.(\d+)\.(\d+))");
    for (int number = 1; number <= 3; ++number) {
        const std::time_t before = std::time(nullptr);
        const std::string uid = uidFrom("");
        const std::time_t after = std::time(nullptr);
        std::smatch part;
        ASSERT_TRUE(std::regex_match(uid, part, form)) << uid;
        std::tm time{};
        time.tm_year = std::stoi(part[1]) - 1900;
        time.tm_mon = std::stoi(part[2]) - 1;
        time.tm_mday = std::stoi(part[3]);
        time.tm_hour = std::stoi(part[4]);
        time.tm_min = std::stoi(part[5]);
        time.tm_sec = std::stoi(part[6]);
        time.tm_isdst = -1;
        const std::time_t told = std::mktime(&time);
        EXPECT_GE(told, before);
        EXPECT_LE(told, after);
        EXPECT_EQ(std::stoi(part[7]), number);
    }
}

TEST_F(Generate, TakesABranchOfTheRootFromTheBuffer) {
    const std::string root = "1.3.6.1.4.1.70707";
    const struct {
        std::string held, root;
    } cases[] = {
        {root + ".12345", root + ".12345."},
        {root + ".12345.", root + ".12345."},
        {root + ".12345.6", root + ".12345.6."},
        {root + ".12345.890123456789012345", root + ".12345.890123456789."},  // 36 characters
        {root + ".12345.89012345678.", root + ".12345.89012345678."},         // the 36th is a point
        {root + ".12345.89012345678.1", root + ".12345.89012345678."},
        {root + ".1234", root + ".20"},
        {root + ".123456", root + ".20"},
        {root + "12345", root + ".20"},
        {root, root + ".20"},
        {root + ".1234x", root + ".20"},
        {root + ".12345.x", root + ".20"},
        {"1.2.840.12345", root + ".20"},
        {root + ".12345." + std::string(47, '1'), root + ".20"},  // longer than a UID
    };
    for (const auto& c : cases) {
        const std::string uid = uidFrom(c.held);
        EXPECT_EQ(uid.substr(0, c.root.size()), c.root) << c.held;
        EXPECT_EQ(std::count(uid.begin() + static_cast<std::ptrdiff_t>(c.root.size()), uid.end(), '.'), 6);
        EXPECT_LE(uid.size(), 64u);
    }
}

TEST_F(Generate, WrapsItsCounters) {
    char uid[65] = "";
    for (int i = 0; i < 65534; ++i) Dict.genUid(uid);
    for (const char* end : {".65535", ".0", ".1"}) EXPECT_TRUE(uidFrom("").ends_with(end));

    unsigned short message = 0;
    for (const int expected : {1, 3, 5}) {
        Dict.genMsgId(message);
        EXPECT_EQ(message, expected);
    }
    for (int i = 3; i < 127; ++i) Dict.genMsgId(message);
    for (const int expected : {255, 1, 3}) {
        Dict.genMsgId(message);
        EXPECT_EQ(message, expected);
    }

    unsigned char context = 0;
    for (int expected = 1; expected <= 253; expected += 2) {
        Dict.genPresCtxId(context);
        EXPECT_EQ(context, expected);
    }
    for (int expected = 0; expected <= 254; expected += 2) {
        Dict.genPresCtxId(context);
        EXPECT_EQ(context, expected);
    }
    Dict.genPresCtxId(context);
    EXPECT_EQ(context, 0);

    EXPECT_EQ(Dict.reset(), 0);
    EXPECT_TRUE(uidFrom("").ends_with(".1"));
    Dict.genMsgId(message);
    EXPECT_EQ(message, 1);
    Dict.genPresCtxId(context);
    EXPECT_EQ(context, 1);
}

TEST_F(Generate, RefusesANullBuffer) {
    Dict.genUid(nullptr);
    expectLog(LOG_VALIDATION, "DcDict::genUid", "Null argument passed");
    EXPECT_TRUE(uidFrom("").ends_with(".1"));
}

TEST_F(Generate, NeverGivesTwoThreadsTheSameUid) {
    constexpr int each = 1000;
    std::vector<std::vector<std::string>> made(4);
    std::vector<std::thread> threads;
    for (auto& mine : made) {
        threads.emplace_back([&mine] {
            for (int i = 0; i < each; ++i) mine.push_back(uidFrom(""));
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::set<std::string> all;
    for (const auto& mine : made) all.insert(mine.begin(), mine.end());
    EXPECT_EQ(all.size(), made.size() * each);
}

}  // namespace
