// Objects on their way into an archive. Each is noted before its file gets its name, until its rows are in
// the index: what a server had under way when it was killed is found by the next one. The note claims the
// path, too: several servers may store into one directory.
#ifndef ORVKIT_SERVICES_ARCHIVE_ARRIVALS_H
#define ORVKIT_SERVICES_ARCHIVE_ARRIVALS_H

#include <mutex>
#include <string>
#include <vector>

#include "orvkit/index.h"
#include "platform/new_file.h"

namespace services {

struct FinishedArrivals {
    unsigned int finished = 0;  // in the index now
    unsigned int removed = 0;   // files that another one stands for, or that are no objects
};

// A note is a name in a hidden folder of the archive, made of the path, of a file that its maker keeps open:
// to give it costs no wait for the disk, and on file systems that keep the order of names it is there
// whenever the object's is. The files are used again and again: making and removing one for each object is
// what file systems are slow at (ext4 passes over every inode that was given back in the last minute).
class Arrivals {
  public:
    explicit Arrivals(std::string directory) : directory_(std::move(directory)) {}
    const std::string& directory() const { return directory_; }

    // False, with a complaint.
    [[nodiscard]] bool prepare() const;
    // Of those whose server has ended, whole objects get their rows, except where the instance is there by
    // now: then they go. Nobody was told that they are stored. What cannot be looked at stays for the next
    // time, with a complaint. False, with a complaint: it is not known what there is.
    [[nodiscard]] bool finish(DcIndex& index, FinishedArrivals& done);

  private:
    friend class Arrival;

    bool lookAt(DcIndex& index, const std::string& path, FinishedArrivals& done) const;

    std::string directory_;
    std::mutex mutex_;
    std::vector<orvkit::platform::NewFile> spare_;  // without a note
};

class Arrival {
  public:
    explicit Arrival(Arrivals& all) : all_(all) {}
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;
    ~Arrival();

    // False: errno tells why; EEXIST: another object is on its way there.
    [[nodiscard]] bool begin(const std::string& path);
    void end() noexcept;
    // The next server is to look at it once more.
    void leave() noexcept;

  private:
    bool note(const std::string& name);

    Arrivals& all_;
    std::string note_;
    orvkit::platform::NewFile mark_;       // whose other name the note is
    orvkit::platform::FileHandle single_;  // or it is a file of its own, where files have one name
};

bool isArriving(const std::string& directory, const std::string& path);

}  // namespace services

#endif
