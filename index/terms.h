// UIDs that many instances have, by small numbers.
#ifndef ORVKIT_INDEX_TERMS_H
#define ORVKIT_INDEX_TERMS_H

#include <cstdint>
#include <map>
#include <string>

#include "index/session.h"

namespace orvkit::index {

// Of one session.
class Terms {
  public:
    explicit Terms(Session& session) : session_(session) {}
    // Made if absent, in a transaction that writes.
    std::int64_t number(const std::string& uid);
    // "" for none.
    const std::string& uid(std::int64_t number);
    // A transaction did not come to be.
    void forget() {
        numbers_.clear();
        uids_.clear();
    }

  private:
    Session& session_;
    std::map<std::string, std::int64_t> numbers_;
    std::map<std::int64_t, std::string> uids_;
};

}  // namespace orvkit::index

#endif
