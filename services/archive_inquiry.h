// What the requests of the query and retrieve service have in common (PS3.4 C): they take more responses than
// one, and the peer may cancel them meanwhile.
#ifndef ORVKIT_SERVICES_ARCHIVE_INQUIRY_H
#define ORVKIT_SERVICES_ARCHIVE_INQUIRY_H

#include <memory>
#include <string>

#include "orvkit/index.h"
#include "services/archive_server.h"
#include "services/provider.h"

namespace services {

// Statuses (PS3.4 C.4.1.1.4, C.4.2.1.5, C.4.3.1.4).
inline constexpr unsigned short kSuccess = 0x0000;
inline constexpr unsigned short kPending = 0xFF00;
inline constexpr unsigned short kPendingWithout = 0xFF01;  // some optional keys are not supported
inline constexpr unsigned short kCancelled = 0xFE00;
inline constexpr unsigned short kOutOfResources = 0xA700;
inline constexpr unsigned short kDoesNotMatchClass = 0xA900;
inline constexpr unsigned short kUnableToProcess = 0xC001;
inline constexpr unsigned short kClassNotSupported = 0x0122;  // PS3.7 C.5.9

// Has the server accept the SOP classes of the service, and answer them.
void offerInquiries(StoreServer& server);

// One request, from its identifier to its last response.
class Inquiry {
  public:
    Inquiry(Provider& provider, DICT_UID sopClass, DcMsg& request);
    Inquiry(const Inquiry&) = delete;
    Inquiry& operator=(const Inquiry&) = delete;

    // The identifier. False: the association is over.
    [[nodiscard]] bool receive();
    DcElemList& keys() { return *keys_; }
    // Whether the request is of that command, and of the class of its context.
    bool isOf(MSG_TYPE command) const;
    INDEX_ROOT root() const { return root_; }
    // What was agreed on, in the index's bits.
    unsigned int how() const;

    Provider& provider() { return provider_; }
    Archive& archive() { return *provider_.server().archive; }
    DcMsg& request() { return request_; }
    unsigned short messageId() const { return messageId_; }

    // Looks at what has come meanwhile; whether to go on. It does not when the peer has cancelled the request
    // or the association is over.
    bool goesOn();
    // The same of a message that has been received: a C-CANCEL of this request; all else ends the
    // association.
    bool take(DcMsg& message);
    bool isCancelled() const { return cancelled_; }
    bool isOver() const { return over_; }
    // The association is over when that is false.
    bool note(bool done);

    // The status for what the index has come to, and why, for the peer and the log.
    unsigned short statusOf(int result);
    void fail(const std::string& why) { why_ = why; }
    const std::string& why() const { return why_; }
    // The last response. `told` is what there was, for the log.
    [[nodiscard]] bool end(DcMsg& response, unsigned short status, const std::string& told);

  private:
    Provider& provider_;
    DICT_UID sopClass_;
    DcMsg& request_;
    unsigned short messageId_ = 0;
    INDEX_ROOT root_ = INDEX_ROOT_STUDY;
    std::unique_ptr<DcElemList> keys_;
    bool cancelled_ = false;
    bool over_ = false;
    std::string why_;
};

}  // namespace services

#endif
