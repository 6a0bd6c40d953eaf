// A request that takes more responses than one, and that the peer may cancel meanwhile (PS3.7 9.3.2.3).
#ifndef ORVKIT_SERVICES_LONG_REQUEST_H
#define ORVKIT_SERVICES_LONG_REQUEST_H

#include <cstdint>
#include <memory>
#include <string>

#include "orvkit/elemlist.h"
#include "services/provider.h"

namespace services {

// Statuses (PS3.4 C.4.1.1.4, C.4.2.1.5, C.4.3.1.4, K.4.1.1.4).
inline constexpr unsigned short kSuccess = 0x0000;
inline constexpr unsigned short kPending = 0xFF00;
inline constexpr unsigned short kPendingWithout = 0xFF01;  // some optional keys are not supported
inline constexpr unsigned short kCancelled = 0xFE00;
inline constexpr unsigned short kOutOfResources = 0xA700;
inline constexpr unsigned short kDoesNotMatchClass = 0xA900;
inline constexpr unsigned short kUnableToProcess = 0xC001;
inline constexpr unsigned short kClassNotSupported = 0x0122;  // PS3.7 C.5.9

// From its identifier to its last response.
class LongRequest {
  public:
    LongRequest(Provider& provider, DcMsg& request);
    LongRequest(const LongRequest&) = delete;
    LongRequest& operator=(const LongRequest&) = delete;

    // The identifier. False: the association is over.
    [[nodiscard]] bool receive();
    DcElemList& keys() { return *keys_; }
    Provider& provider() const { return provider_; }
    DcMsg& request() const { return request_; }
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

    // Why it fails, for the peer and the log.
    void fail(const std::string& why) { why_ = why; }
    const std::string& why() const { return why_; }
    // The last response, and the event of so many results or objects, also where the association is over.
    // `told` is what there was, for the log.
    [[nodiscard]] bool end(DcMsg& response, unsigned short status, EventId id, std::uint64_t objects,
                           const std::string& told);

  private:
    Provider& provider_;
    DcMsg& request_;
    unsigned short messageId_ = 0;
    std::unique_ptr<DcElemList> keys_;
    bool cancelled_ = false;
    bool over_ = false;
    std::string why_;
};

// Has a server that offers such requests accept a SOP class of them, in the syntaxes that have no pixels.
void supportQueries(StoreServer& server, DICT_UID sopClass);

}  // namespace services

#endif
