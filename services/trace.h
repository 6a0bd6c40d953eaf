// What happened on a server, one line of JSON an event, with the fields of PS3.15 A.5. From any thread.
#ifndef ORVKIT_SERVICES_TRACE_H
#define ORVKIT_SERVICES_TRACE_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "platform/file.h"

namespace services {

// Events and their types (PS3.16 CID 400, CID 401).
enum class EventId : unsigned char { application, login, transfer, alert, access, query };
enum class EventType : unsigned char {
    none,
    start,
    stop,
    login,
    logout,
    nodeAuthentication,
    securityConfiguration,
    useOfRestrictedFunction
};
// EventOutcomeIndicator.
enum class EventOutcome : int { success = 0, minorFailure = 4, seriousFailure = 8 };

// Empty texts and numbers that are not set are left out.
struct Event {
    explicit Event(EventId what, EventType which = EventType::none, EventOutcome how = EventOutcome::success)
        : id(what), type(which), outcome(how) {}

    EventId id;
    EventType type;
    EventOutcome outcome;
    std::uint64_t association = 0;
    std::string peer;  // AE title
    std::string address;
    std::string user;
    std::string certificate;  // its subject
    std::string object;       // SOP Instance UID
    std::string sopClass;
    std::optional<std::uint64_t> objects;
    std::optional<std::uint64_t> bytes;
    std::optional<std::uint64_t> milliseconds;
    std::string result;
};

class Trace {
  public:
    // Goes on behind what the file holds. `source` is who tells. False: `fault` tells why.
    [[nodiscard]] bool open(const std::string& path, const std::string& source, std::string& fault);
    // The file by that name once more, when it was moved away.
    [[nodiscard]] bool reopen(std::string& fault);
    // The line is with the system when this comes back. False: it is not there, and what it tells of must not
    // be confirmed. Without a file there is nothing to do.
    [[nodiscard]] bool write(const Event& event);

  private:
    std::string path_;
    std::string source_;
    std::mutex mutex_;
    orvkit::platform::FileHandle file_;
    bool broken_ = false;  // a line was cut
};

// The line of an event at a point in time, in microseconds since 1970.
std::string traceLine(const Event& event, const std::string& source, std::int64_t when);

}  // namespace services

#endif
