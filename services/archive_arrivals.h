// Objects on their way into an archive. Each is noted before its file gets its name, until its rows are in
// the index: what a server had under way when it was killed is found by the next one. The note claims the
// path, too: several servers may store into one directory.
#ifndef ORVKIT_SERVICES_ARCHIVE_ARRIVALS_H
#define ORVKIT_SERVICES_ARCHIVE_ARRIVALS_H

#include <functional>
#include <string>

#include "orvkit/index.h"
#include "platform/file.h"

namespace services {

// A file in a hidden folder of the archive, whose name is the path: to make it costs no wait for the disk,
// and on file systems that keep the order of names it is there whenever the object's is.
class Arrival {
  public:
    Arrival() = default;
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;
    ~Arrival() { end(); }

    // False: errno tells why; EEXIST: another object is on its way there.
    [[nodiscard]] bool begin(const std::string& directory, const std::string& path);
    void end() noexcept;
    // The next server is to look at it once more.
    void leave() noexcept { note_.clear(); }

  private:
    std::string note_;
    orvkit::platform::FileHandle file_;  // tells others that its maker is at work
};

// False, with a complaint.
[[nodiscard]] bool prepareArrivals(const std::string& directory);
bool isArriving(const std::string& directory, const std::string& path);

struct FinishedArrivals {
    unsigned int finished = 0;  // in the index now
    unsigned int removed = 0;   // files that another one stands for, or that are no objects
};
// Of those whose server has ended, whole objects get their rows, except where the instance is there by now:
// then they go. Nobody was told that they are stored. What cannot be looked at stays for the next time, with
// a complaint. False, with a complaint: it is not known what there is.
[[nodiscard]] bool finishArrivals(DcIndex& index, const std::string& directory, FinishedArrivals& done);

}  // namespace services

#endif
