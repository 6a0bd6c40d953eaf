// What find, move and get ask for: the information model, the level, and the keys (PS3.4 annex C).
#ifndef ORVKIT_SERVICES_QUERY_KEYS_H
#define ORVKIT_SERVICES_QUERY_KEYS_H

#include <memory>
#include <string>
#include <vector>

#include "orvkit/elemlist.h"
#include "services/peer.h"

namespace services {

struct QueryOptions : PeerOptions {
    std::vector<std::string> keys;  // "Tag=value"
    std::string root = "study";     // or "patient"; to retrieve also "instance"
    std::string level;              // "": see QueryKeys::parse
    bool json = false;
    int maxTime = -1;              // seconds; 0: no bound; negative: as Answers has it
    int maxResults = 100000;       // of find
    bool withoutBulkData = false;  // of get, from the root "instance"
    // Of find: what the peer is asked to do beyond the baseline (PS3.4 C.5.1.1).
    bool relational = false;
    bool dateTime = false;
    bool fuzzyNames = false;
    bool timezone = false;
    bool emptyValues = false;

    bool patientRoot() const { return root == "patient"; }
    bool instanceRoot() const { return root == "instance"; }
};

class QueryKeys {
  public:
    // False, with a complaint, when a key cannot be used. Without a level in the options it is the level of
    // the lowest unique key: that of images for a SOP Instance UID, and so on; or else that of studies.
    [[nodiscard]] bool parse(const QueryOptions& options);
    // For a query: asks for the usual elements of the level, too.
    void askForUsual();

    // The tags asked for, in the order of the command line, without the level.
    const std::vector<unsigned int>& tags() const { return tags_; }
    const std::string& level() const { return level_; }
    // The identifier of a request; a new one each time.
    std::unique_ptr<DcElemList> identifier() const;

  private:
    // What is wrong with a key; null when nothing is.
    [[nodiscard]] const char* add(unsigned int tag, const std::string& value);

    std::string level_;
    std::vector<unsigned int> tags_;
    std::vector<std::string> values_;
};

}  // namespace services

#endif
