#include "orvkit/log.h"

#include <gtest/gtest.h>

#include <regex>
#include <thread>
#include <utility>

#include "foundation/fail.h"
#include "tests/support/temp_dir.h"

namespace {

// A log of the test's own in the place of `Log`, writing every level to one file.
class LogFile : public ::testing::Test {
  protected:
    LogFile() : previous_(std::exchange(Log, &log_)) {
        for (LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR, LOG_APPLICATION})
            logSetFileName(level, path_.c_str());
    }
    ~LogFile() override { Log = previous_; }

    // The lines, each with a "|" for its time stamp.
    std::string text() const {
        static const std::regex stamp("(^|\n)[JFMASOND][a-z]{2}\\d\\d \\d\\d:\\d\\d:\\d\\d (?=[^\n])");
        return std::regex_replace(readText(path_), stamp, "$1|");
    }

    TempDir dir_;
    std::string path_ = dir_ / "log";
    DcLog log_;
    DcLog* previous_;
};

}  // namespace

TEST_F(LogFile, WritesTimeReporterAndMessage) {
    EXPECT_EQ(logReport(LOG_NOTICE, "DcDict::add", "Tag (%04x,%04x) not added", 0x10, 0x20), 0);
    EXPECT_EQ(logReport(LOG_ERROR, nullptr, "%d%% of '%s'", 50, "%s%n"), 0);
    EXPECT_EQ(orvkit::fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, "DcElem::add", "Null argument passed"),
              ELEM_NULL_ARGUMENT);
    EXPECT_EQ(text(),
              "|<DcDict::add> Tag (0010,0020) not added\n|50% of '%s%n'\n"
              "|<DcElem::add> Null argument passed\n");
    EXPECT_STREQ(MsgBuf, "Null argument passed");
}

TEST_F(LogFile, RefusesInOrder) {
    const char* none = nullptr;
    const LOG_MSG above = static_cast<LOG_MSG>(4), below = static_cast<LOG_MSG>(-1);
    EXPECT_EQ(logReport(above, "x", none, 0), RESULT_LOG_NULL_FORMAT);
    for (LOG_MSG level : {above, below}) {
        EXPECT_EQ(log_.setFname(level, "x"), RESULT_LOG_LEVEL);
        EXPECT_EQ(logReport(level, "x", "y"), RESULT_LOG_LEVEL);
    }
    Log = nullptr;
    EXPECT_EQ(logReport(LOG_NOTICE, "x", none, 0), RESULT_LOG_NULL_FORMAT);
    EXPECT_EQ(logReport(above, "x", "y"), RESULT_LOG_ABSENT);
    EXPECT_EQ(readText(path_), "");
}

TEST_F(LogFile, SwitchesAndDirectsLevelsOnTheirOwn) {
    EXPECT_EQ(logActivate(LOG_NOTICE, LOG_OFF), 0);
    EXPECT_EQ(logReport(LOG_NOTICE, "x", "off %d", 1), RESULT_LOG_SUPPRESSED);
    EXPECT_EQ(logActivate(LOG_NOTICE, static_cast<LOG_ACTIVE>(-7)), 0);
    EXPECT_EQ(logReport(LOG_NOTICE, "x", "on again"), 0);

    const std::string missing = dir_ / "missing/log";
    EXPECT_EQ(logSetFileName(LOG_NOTICE, missing.c_str()), 0);
    EXPECT_EQ(logReport(LOG_NOTICE, "x", "lost"), RESULT_LOG_FILE);
    EXPECT_EQ(logSetFileName(LOG_NOTICE, nullptr), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(logReport(LOG_NOTICE, "x", "to standard output"), 0);
    EXPECT_TRUE(testing::internal::GetCapturedStdout().ends_with(" <x> to standard output\n"));
    EXPECT_EQ(text(), "|<x> on again\n");
}

TEST_F(LogFile, WritesLongLinesWholeFromSeveralThreads) {
    for (std::size_t size : {1024u, 100000u}) {
        const std::string message(size, 'm');
        EXPECT_EQ(logReport(LOG_ERROR, "x", "%s", message.c_str()), 0);
        EXPECT_TRUE(readText(path_).ends_with(" <x> " + message + "\n")) << size;
    }
    std::filesystem::remove(path_);
    const auto work = [](char c) {
        for (int i = 0; i < 100; ++i) logReport(LOG_ERROR, nullptr, "%s", std::string(300, c).c_str());
    };
    std::thread other(work, 'a');
    work('b');
    other.join();
    const std::string all = text();
    EXPECT_EQ(all.size(), 200u * 302);
    for (std::size_t at = 0; at < all.size(); at += 302)
        EXPECT_EQ(all.find_first_not_of(all[at + 1], at + 1), at + 301);
}
