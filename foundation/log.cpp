#include "orvkit/log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "foundation/fail.h"
#include "orvkit/result.h"
#include "platform/clock.h"
#include "platform/file.h"

using namespace orvkit;

DcLog* Log = nullptr;
char MsgBuf[LOG_MSG_BUF_SIZE];

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

// One lock for everything in this file, recursive because logReport holds it while the log reports. It is
// never destroyed: static objects may still report while the process ends.
std::recursive_mutex& logMutex() {
    // Not allocated: the first line may be that memory has run out.
    alignas(std::recursive_mutex) static unsigned char place[sizeof(std::recursive_mutex)];
    static std::recursive_mutex& mutex = *new (place) std::recursive_mutex;
    return mutex;
}

// A text that grows as it is written. Where memory runs out it is cut.
class Line {
  public:
    Line() noexcept { local_[0] = '\0'; }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    void append(const char* fmt, std::va_list values) noexcept ORVKIT_PRINTF(2, 0) {
        std::va_list again;
        va_copy(again, values);
        const int length = std::vsnprintf(data_ + size_, capacity_ - size_, fmt, values);
        if (length > 0) {
            const std::size_t need = static_cast<std::size_t>(length);
            if (need < capacity_ - size_) {
                size_ += need;
            } else if (grow(size_ + need + 1)) {
                std::vsnprintf(data_ + size_, capacity_ - size_, fmt, again);
                size_ += need;
            } else {
                size_ = capacity_ - 1;
            }
        }
        va_end(again);
    }
    void append(const char* fmt, ...) noexcept ORVKIT_PRINTF(2, 3) {
        std::va_list values;
        va_start(values, fmt);
        append(fmt, values);
        va_end(values);
    }
    // Ends the line in the place of its terminating NUL and writes it in one piece.
    void write(std::FILE* stream) noexcept {
        data_[size_] = '\n';
        std::fwrite(data_, 1, size_ + 1, stream);
        data_[size_] = '\0';
    }

    const char* text() const noexcept { return data_; }

  private:
    bool grow(std::size_t capacity) noexcept {
        std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity]);
        if (!larger) return false;
        std::memcpy(larger.get(), data_, size_);
        heap_ = std::move(larger);
        data_ = heap_.get();
        capacity_ = capacity;
        return true;
    }

    char local_[1024];
    std::unique_ptr<char[]> heap_;
    char* data_ = local_;
    std::size_t size_ = 0;
    std::size_t capacity_ = sizeof local_;
};

void appendTime(Line& line) noexcept {
    static constexpr char months[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm now;
    if (!platform::localTime(now)) return;
    line.append("%s%02d %02d:%02d:%02d", months[now.tm_mon], now.tm_mday, now.tm_hour, now.tm_min,
                now.tm_sec);
}

thread_local char messageOfThread[1024];

// What logReport and fail share.
int reportTo(LOG_MSG level, const char* name, const char* fmt, std::va_list values) noexcept {
    const Lock lock(logMutex());
    if (Log == nullptr) return RESULT_LOG_ABSENT;
    std::va_list again;
    va_copy(again, values);
    const int length = std::vsnprintf(MsgBuf, sizeof MsgBuf, fmt, values);
    if (length < 0) MsgBuf[0] = '\0';
    const std::size_t kept = std::min(std::strlen(MsgBuf), sizeof messageOfThread - 1);
    std::memcpy(messageOfThread, MsgBuf, kept);
    messageOfThread[kept] = '\0';
    int result;
    // The formatted text goes on under "%s", so that a percent sign in it is written as it stands.
    if (length < LOG_MSG_BUF_SIZE) {
        result = Log->report(level, name, "%s", MsgBuf);
    } else {
        Line whole;
        whole.append(fmt, again);
        result = Log->report(level, name, "%s", whole.text());
    }
    va_end(again);
    return result;
}

}  // namespace

DcLog::DcLog() {
    std::fill_n(active_, levels, static_cast<int>(LOG_ON));
    std::fill_n(fileName_, levels, nullptr);
}

DcLog::~DcLog() {
    for (char* name : fileName_) delete[] name;
}

int DcLog::activate(LOG_MSG level, LOG_ACTIVE active) {
    if (static_cast<unsigned int>(level) >= levels) return RESULT_LOG_LEVEL;
    const Lock lock(logMutex());
    active_[level] = active;
    return RESULT_OK;
}

int DcLog::setFname(LOG_MSG level, const char* fileName) {
    if (static_cast<unsigned int>(level) >= levels) return RESULT_LOG_LEVEL;
    const Lock lock(logMutex());
    std::unique_ptr<char[]> previous(std::exchange(fileName_[level], nullptr));
    if (fileName == nullptr) return RESULT_OK;
    const std::size_t size = std::strlen(fileName) + 1;
    fileName_[level] = new (std::nothrow) char[size];
    if (fileName_[level] == nullptr) return ELEM_NO_MEMORY;
    std::memcpy(fileName_[level], fileName, size);
    return RESULT_OK;
}

int DcLog::report(LOG_MSG level, const char* name, const char* fmt, ...) {
    if (fmt == nullptr) return RESULT_LOG_NULL_FORMAT;
    if (static_cast<unsigned int>(level) >= levels) return RESULT_LOG_LEVEL;
    const Lock lock(logMutex());
    if (active_[level] == LOG_OFF) return RESULT_LOG_SUPPRESSED;
    // The file is opened for each line: several processes or levels may share one.
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(nullptr, &std::fclose);
    if (fileName_[level] != nullptr) {
        file.reset(platform::openStream(fileName_[level], "at"));
        if (!file) return RESULT_LOG_FILE;
    }

    Line line;
    appendTime(line);
    if (name != nullptr) {
        line.append(" <%s> ", name);
    } else {
        line.append(" ");
    }
    std::va_list values;
    va_start(values, fmt);
    line.append(fmt, values);
    va_end(values);
    line.write(file ? file.get() : stdout);
    return RESULT_OK;
}

int logReport(LOG_MSG level, const char* name, const char* fmt, ...) {
    if (fmt == nullptr) return RESULT_LOG_NULL_FORMAT;
    std::va_list values;
    va_start(values, fmt);
    const int result = reportTo(level, name, fmt, values);
    va_end(values);
    return result;
}

int logActivate(LOG_MSG level, LOG_ACTIVE active) {
    const Lock lock(logMutex());
    return Log == nullptr ? RESULT_LOG_ABSENT : Log->activate(level, active);
}

int logSetFileName(LOG_MSG level, const char* fileName) {
    const Lock lock(logMutex());
    return Log == nullptr ? RESULT_LOG_ABSENT : Log->setFname(level, fileName);
}

int orvkit::fail(int code, LOG_MSG level, const char* reporter, const char* format, ...) {
    std::va_list values;
    va_start(values, format);
    reportTo(level, reporter, format, values);
    va_end(values);
    return code;
}

int orvkit::failMemory(const char* reporter) noexcept {
    try {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "out of memory");
    } catch (...) {  // from a log of the application's own
        return ELEM_NO_MEMORY;
    }
}

const char* orvkit::lastMessage() noexcept {
    return messageOfThread;
}
