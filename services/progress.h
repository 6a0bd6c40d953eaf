// How far long work has come: on standard error, when that is a terminal.
#ifndef ORVKIT_SERVICES_PROGRESS_H
#define ORVKIT_SERVICES_PROGRESS_H

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "platform/process.h"

namespace services {

class Progress {
  public:
    // A bar, or for a total of 0, which is not known, a number.
    Progress(const char* what, std::size_t total)
        : what_(what), total_(total), shown_(orvkit::platform::errorIsTerminal()), last_(Clock::now()) {}
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress() { clear(); }

    void step() { reach(done_ + 1); }
    void reach(std::size_t done) {
        done_ = done;
        if (!shown_ || Clock::now() - last_ < std::chrono::milliseconds(200)) return;
        last_ = Clock::now();
        visible_ = true;
        if (total_ == 0) {  // not known
            std::fprintf(stderr, "\r%s %zu", what_, done_);
            return;
        }
        constexpr std::size_t width = 30;
        static constexpr char bar[] = "##############################------------------------------";
        static_assert(sizeof bar == 2 * width + 1);
        const std::size_t full = std::min(done_, total_) * width / total_;
        std::fprintf(stderr, "\r%s [%.30s] %zu of %zu", what_, bar + width - full, done_, total_);
    }
    // In front of other messages.
    void clear() {
        if (visible_) std::fputs("\r\033[K", stderr);
        visible_ = false;
    }

  private:
    using Clock = std::chrono::steady_clock;
    const char* what_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool shown_;
    bool visible_ = false;
    Clock::time_point last_;
};

}  // namespace services

#endif
