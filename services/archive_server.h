// The archive behind `orvkit serve --archive`: what is received gets its place, then its rows in the index;
// and what the handlers of queries and retrievals ask (archive_find.cpp and so on).
#ifndef ORVKIT_SERVICES_ARCHIVE_SERVER_H
#define ORVKIT_SERVICES_ARCHIVE_SERVER_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "orvkit/index.h"
#include "platform/file.h"
#include "services/archive_arrivals.h"
#include "services/archive_duplicates.h"
#include "services/archive_files.h"
#include "services/archive_layout.h"
#include "services/peer.h"
#include "services/provider.h"

namespace services {

struct ArchiveSettings {
    std::string index;            // its place, or "": in the directory
    unsigned int maxResults = 0;  // of one query; 0: no bound
    // Where one listens, by its AE title; nothing: nobody knows it. From any thread.
    std::function<std::optional<PeerOptions>(std::string_view title)> destination;
    OnDuplicate onDuplicate = OnDuplicate::keep;
    ArchiveLayout layout;
};

class Archive {
  public:
    explicit Archive(ArchiveSettings settings) : settings_(std::move(settings)) {}
    Archive(const Archive&) = delete;
    Archive& operator=(const Archive&) = delete;

    // Opens the index, made if absent, of the server's directory, brings to its end what servers and
    // deletions had begun when they were killed, and has the server store here, offer queries and answer
    // them. It outlives the server's associations. Other servers may share the directory. False, with a
    // complaint.
    [[nodiscard]] bool serve(StoreServer& server);

    DcIndex& index() { return index_; }
    unsigned int maxResults() const { return settings_.maxResults; }
    std::optional<PeerOptions> destination(std::string_view title) const;

  private:
    // Who stores an instance is alone with its UID.
    class Claim;

    bool finishOthers(const StoreServer& server);
    unsigned short place(StoreServer& server, StoreFile& file, std::string& told);
    // What is known of an object on its way in.
    struct Coming {
        ArchiveFile object;
        KnownPaths known;  // of its instance
        std::string path;
        INDEX_DUPLICATE duplicate = INDEX_KEEP;
        std::string replaced;  // the path of the file whose place it takes
        std::string note;      // what it differs in from the one that is there
    };
    bool moveInto(StoreFile& file, const std::string& path, bool sync);
    bool isKnown(const std::string& folder);
    bool settleDuplicate(const StoreFile& file, Coming& coming, std::string& told, unsigned short& status);
    // What becomes of an object's file. Unknown: its rows may be there.
    enum class Fate { kept, unwanted, unknown };
    unsigned short store(Coming& coming, std::string& told, Fate& fate);
    std::string choosePath(const Coming& coming, const std::string& instance, Arrival& arrival);

    ArchiveSettings settings_;
    std::string directory_;
    std::optional<Arrivals> arrivals_;
    orvkit::platform::FileHandle use_;
    DcIndex index_;
    std::mutex mutex_;
    std::condition_variable left_;
    std::set<std::string> claimed_;
    std::set<std::string> folders_;  // that are on the disk
};

}  // namespace services

#endif
