// What find, move and get have in common: opening, the request, and the account of sub-operations.
#ifndef ORVKIT_TOOLS_RETRIEVE_H
#define ORVKIT_TOOLS_RETRIEVE_H

#include <functional>
#include <string>
#include <vector>

#include "tools/net_association.h"
#include "tools/query_keys.h"

namespace tools {

// Prepares the process, takes the peer from the command line, and runs. The exit status.
int runRetrieve(PeerOptions& options, bool wantsMore, const std::function<int()>& run);

// Opens an association with a context for the model, and others behind it; complains when the peer does not
// take the model.
bool openFor(Association& association, const PeerOptions& options, DICT_UID model,
             std::vector<DcMsmSopXferSyn> others);
// SOP class, priority and identifier.
void fillRequest(DcCmd& request, DICT_UID model, const QueryKeys& keys);

// The account that the responses to C-MOVE and C-GET give of their sub-operations (PS3.4 C.4.2.1.6).
class Retrieval {
  public:
    explicit Retrieval(const QueryOptions& options) : options_(options) {}

    void response(DcMsg& response);
    bool ended() const { return ended_; }
    // Prints the account. `fault` tells why no final response came, "" when one came.
    int finish(const std::string& fault);

  private:
    const QueryOptions& options_;
    bool ended_ = false;
    unsigned int status_ = 0;
    std::string statusText_;
    int completed_ = 0;
    int failed_ = 0;
    int warned_ = 0;
    int remaining_ = 0;
};

}  // namespace tools

#endif
