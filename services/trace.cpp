#include "services/trace.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "services/charset.h"

namespace services {

namespace {

namespace platform = orvkit::platform;

struct Code {
    const char* code;
    const char* name;
    char action;  // EventActionCode
};

// By their numbers; PS3.16 D, codes of DCM.
constexpr Code kIds[] = {
    {"110100", "Application Activity", 'E'},        {"110114", "User Authentication", 'E'},
    {"110104", "DICOM Instances Transferred", 'C'}, {"110113", "Security Alert", 'E'},
    {"110103", "DICOM Instances Accessed", 'R'},    {"110112", "Query", 'E'},
};
constexpr Code kTypes[] = {
    {"", "", ' '},
    {"110120", "Application Start", ' '},
    {"110121", "Application Stop", ' '},
    {"110122", "Login", ' '},
    {"110123", "Logout", ' '},
    {"110126", "Node Authentication", ' '},
    {"110129", "Security Configuration", ' '},
    {"110132", "Use of Restricted Function", ' '},
};

// In quotes. What is no UTF-8 becomes some.
std::string quoted(std::string_view text) {
    static const Charset utf8("ISO_IR 192");
    std::string line = "\"";
    for (const char c : utf8.toUtf8(text, VR_UT)) {
        char escape[8];
        if (c == '"' || c == '\\') line += '\\';
        if (static_cast<unsigned char>(c) >= ' ' && c != 127) {
            line += c;
        } else {
            (void)std::snprintf(escape, sizeof escape, "\\u%04x", unsigned{static_cast<unsigned char>(c)});
            line += escape;
        }
    }
    return line + '"';
}

class Line {
  public:
    void text(const char* name, std::string_view value) {
        if (!value.empty()) raw(name, quoted(value));
    }
    void number(const char* name, const std::optional<std::uint64_t>& value) {
        if (value) raw(name, std::to_string(*value));
    }
    void raw(const char* name, const std::string& value) {
        line_ += (line_.empty() ? "{\"" : ",\"") + std::string(name) + "\":" + value;
    }
    std::string end() const { return line_ + "}\n"; }

  private:
    std::string line_;
};

std::string timeText(std::int64_t when) {
    const auto seconds = static_cast<std::time_t>(when / 1'000'000);
    const std::chrono::sys_seconds point{std::chrono::seconds(seconds)};
    const auto day = std::chrono::floor<std::chrono::days>(point);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(point - day);
    char text[48];
    (void)std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%06dZ", int{date.year()},
                        unsigned{date.month()}, unsigned{date.day()}, static_cast<int>(time.hours().count()),
                        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                        static_cast<int>(when % 1'000'000));
    return text;
}

std::int64_t microseconds() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

}  // namespace

std::string traceLine(const Event& event, const std::string& source, std::int64_t when) {
    const Code& id = kIds[static_cast<std::size_t>(event.id)];
    const Code& type = kTypes[static_cast<std::size_t>(event.type)];
    Line line;
    line.text("EventDateTime", timeText(when));
    line.text("EventID", id.code);
    line.text("EventName", id.name);
    line.text("EventTypeCode", type.code);
    line.text("EventTypeName", type.name);
    line.text("EventActionCode", {&id.action, 1});
    line.raw("EventOutcomeIndicator", std::to_string(static_cast<int>(event.outcome)));
    line.text("AuditSourceID", source);
    if (event.association != 0) line.number("association", event.association);
    line.text("UserID", event.peer);
    line.text("UserName", event.user);
    line.text("certificate", event.certificate);
    line.text("NetworkAccessPointID", event.address);
    if (!event.address.empty()) line.raw("NetworkAccessPointTypeCode", "2");
    line.text("ParticipantObjectID", event.object);
    line.text("SOPClass", event.sopClass);
    line.number("objects", event.objects);
    line.number("bytes", event.bytes);
    line.number("milliseconds", event.milliseconds);
    line.text("result", event.result);
    return line.end();
}

bool Trace::open(const std::string& path, const std::string& source, std::string& fault) {
    path_ = path;
    source_ = source;
    return reopen(fault);
}

bool Trace::reopen(std::string& fault) {
    platform::FileHandle file = platform::openAppend(path_.c_str());
    if (!file) {
        fault = path_ + ": " + std::strerror(errno);
        return false;
    }
    const std::lock_guard lock(mutex_);
    file_ = std::move(file);
    broken_ = false;
    return true;
}

bool Trace::write(const Event& event) {
    if (path_.empty()) return true;
    std::string line = traceLine(event, source_, microseconds());
    const std::lock_guard lock(mutex_);
    if (broken_) line.insert(0, "\n");
    broken_ = !platform::writeAll(file_.get(), line.data(), line.size());
    return !broken_;
}

}  // namespace services
