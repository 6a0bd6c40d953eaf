// Catches what the library logs, so that a test can state level, reporter and text in one line:
//
//   CaptureLog log;
//   EXPECT_EQ(dict.add(nullptr), RESULT_DICT_NULL);
//   log.expect(LOG_VALIDATION, "DcDict::add", "Null argument passed");
//   EXPECT_TRUE(log.has(LOG_NOTICE, "DcDict::add", "..."));
//
// While it lives it stands in for the global `Log`, which may be null, and catches every level. Several may
// be nested. It is meant for one thread.
#ifndef ORVKIT_TESTS_SUPPORT_CAPTURE_LOG_H
#define ORVKIT_TESTS_SUPPORT_CAPTURE_LOG_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "orvkit/log.h"
#include "orvkit/result.h"

struct LogLine {
    LOG_MSG level = LOG_NOTICE;
    std::string reporter, text;

    friend bool operator==(const LogLine&, const LogLine&) = default;
    friend std::ostream& operator<<(std::ostream& out, const LogLine& line) {
        return out << static_cast<int>(line.level) << " <" << line.reporter << "> " << line.text;
    }
};

using LogLines = std::vector<LogLine>;

class CaptureLog : public DcLog {
  public:
    CaptureLog() : previous_(std::exchange(Log, this)) {}
    CaptureLog(const CaptureLog&) = delete;
    CaptureLog& operator=(const CaptureLog&) = delete;
    ~CaptureLog() override { Log = previous_; }

    int report(LOG_MSG level, const char* name, const char* fmt, ...) override {
        std::va_list values;
        va_start(values, fmt);
        std::va_list again;
        va_copy(again, values);
        std::string text(static_cast<std::size_t>(std::max(0, std::vsnprintf(nullptr, 0, fmt, values))),
                         '\0');
        std::vsnprintf(text.data(), text.size() + 1, fmt, again);
        va_end(again);
        va_end(values);
        lines_.push_back({level, name != nullptr ? name : "", std::move(text)});
        return RESULT_OK;
    }

    const LogLines& lines() const { return lines_; }
    void clear() { lines_.clear(); }
    // The lines so far, which are forgotten here.
    LogLines take() { return std::exchange(lines_, {}); }
    // Nothing but this one line was logged since the last take or clear.
    void expect(LOG_MSG level, const std::string& reporter, const std::string& text) {
        EXPECT_EQ(take(), (LogLines{{level, reporter, text}}));
    }
    bool has(LOG_MSG level, const std::string& reporter, const std::string& text) const {
        return std::find(lines_.begin(), lines_.end(), LogLine{level, reporter, text}) != lines_.end();
    }

  private:
    DcLog* previous_;
    LogLines lines_;
};

// Nothing is logged while it lives, by whatever thread: failures are looked for by their codes.
class QuietLog {
  public:
    QuietLog() {
        for (int level = 0; level < 3; ++level) logActivate(static_cast<LOG_MSG>(level), LOG_OFF);
    }
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;
    ~QuietLog() {
        for (int level = 0; level < 3; ++level) logActivate(static_cast<LOG_MSG>(level), LOG_ON);
    }
};

#endif
