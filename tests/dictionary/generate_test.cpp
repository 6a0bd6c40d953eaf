// Generated UIDs, message IDs and presentation context IDs.

#include <ctime>

#include "fresh_dict.h"

namespace {

class Generate : public FreshDict {
  protected:
    static std::string uidFrom(std::string held) {
        held.resize(80);
        Dict.genUid(held.data());
        return held.c_str();
    }
};

TEST_F(Generate, WritesRootLocalTimeAndCounter) {
    const std::string uid = uidFrom("");
    std::tm time{};
    int counter = 0, length = 0;
    std::sscanf(uid.c_str(), "1.3.6.1.4.1.70707.%d.%d.%d.%d.%d.%d.%d%n", &time.tm_year, &time.tm_mon,
                &time.tm_mday, &time.tm_hour, &time.tm_min, &time.tm_sec, &counter, &length);
    EXPECT_EQ(static_cast<std::size_t>(length), uid.size()) << uid;
    EXPECT_EQ(counter, 1);
    time.tm_year -= 1900;
    time.tm_mon -= 1;
    time.tm_isdst = -1;
    EXPECT_NEAR(std::difftime(std::time(nullptr), std::mktime(&time)), 0, 30);
}

TEST_F(Generate, TakesABranchOfTheRootFromTheBuffer) {
    const std::string root = "1.3.6.1.4.1.70707";
    const struct {
        std::string held, root;
    } cases[] = {
        {root + ".12345", root + ".12345."},
        {root + ".12345.6", root + ".12345.6."},
        {root + ".12345.890123456789012345", root + ".12345.890123456789."},  // 36 characters
        {root + ".12345.12345678901.1", root + ".12345.12345678901."},        // of which the 36th is a dot
        {root + ".1234", root + ".20"},
        {root + ".12345.x", root + ".20"},
        {root + ".12345." + std::string(40, '1'), root + ".12345.111111111111."},  // 64 characters
        {root + ".12345." + std::string(41, '1'), root + ".20"},                   // longer than a UID
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
    for (int i = 0; i < 130; ++i) {
        Dict.genMsgId(message);
        EXPECT_EQ(message, (1 + 2 * i) % 256);
    }
    unsigned char context = 0;
    for (int i = 0; i < 130; ++i) {
        Dict.genPresCtxId(context);
        EXPECT_EQ(context, (1 + 2 * i) % 255);
    }
}

}  // namespace
