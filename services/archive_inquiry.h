// What the requests of the query and retrieve service have in common (PS3.4 C): they take more responses than
// one, and the peer may cancel them meanwhile.
#ifndef ORVKIT_SERVICES_ARCHIVE_INQUIRY_H
#define ORVKIT_SERVICES_ARCHIVE_INQUIRY_H

#include "orvkit/index.h"
#include "services/archive_server.h"
#include "services/long_request.h"

namespace services {

// Has the server accept the SOP classes of the service, and answer them.
void offerInquiries(StoreServer& server);

class Inquiry : public LongRequest {
  public:
    Inquiry(Provider& provider, DICT_UID sopClass, DcMsg& request);

    // Whether the request is of that command, and of the class of its context.
    bool isOf(MSG_TYPE command) const;
    INDEX_ROOT root() const { return root_; }
    // Whether pixels and the like stay here (PS3.4 Z.1).
    bool withoutBulkData() const;
    // What was agreed on, in the index's bits.
    unsigned int how() const;
    Archive& archive() { return *provider().server().archive; }
    // The status for what the index has come to, and why, for the peer and the log.
    unsigned short statusOf(int result);

  private:
    DICT_UID sopClass_;
    INDEX_ROOT root_ = INDEX_ROOT_STUDY;
};

}  // namespace services

#endif
