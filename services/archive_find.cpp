// C-FIND (PS3.4 C.4.1).
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/archive_inquiry.h"
#include "services/elements.h"
#include "services/handlers.h"

namespace services {
namespace {

// A search that no index narrows is looked at as long.
constexpr unsigned int kLongestSearch = 120'000;  // milliseconds

// The answers to one query, on their way to the peer.
class Find {
  public:
    Find(Inquiry& inquiry, DcCmdCFindRq& request) : inquiry_(inquiry), request_(request) {}

    unsigned short run() {
        DcIndexQuery how;
        how.root = inquiry_.root();
        how.how = inquiry_.how();
        how.maxResults = inquiry_.archive().maxResults();
        how.maxMilliseconds = kLongestSearch;
        how.stopContext = &inquiry_;
        how.stop = [](void* inquiry) { return static_cast<Inquiry*>(inquiry)->goesOn() ? 0 : 1; };
        const int result = inquiry_.archive().index().query(how, inquiry_.keys(), this, &Find::take, found_);
        return inquiry_.statusOf(result);
    }
    unsigned long long answers() const { return answers_; }

  private:
    static int take(void* self, DcElemList& answer) {
        auto& find = *static_cast<Find*>(self);
        return find.inquiry_.goesOn() && find.inquiry_.note(find.send(answer)) ? 0 : 1;
    }

    bool send(DcElemList& answer) {
        auto identifier = std::make_unique<DcElemList>();
        while (DcElem* const element = answer.last()) {
            (void)answer.subtract(element);
            (void)identifier->add(element);
        }
        put(*identifier, T_0008_0054_retrieveAeTitle, inquiry_.provider().server().aet);
        put(*identifier, T_0008_0056_instanceAvailability, "ONLINE");
        DcCmdCFindRsp response(&request_);
        (void)response.add(identifier.release());
        ++answers_;
        return inquiry_.provider().respond(request_, response,
                                           found_.unsupportedCount == 0 ? kPending : kPendingWithout);
    }

    Inquiry& inquiry_;
    DcCmdCFindRq& request_;
    DcIndexFound found_;
    unsigned long long answers_ = 0;
};

}  // namespace

bool answerFind(Provider& provider, DICT_UID sopClass, DcMsg& message) {
    auto& request = static_cast<DcCmdCFindRq&>(message);
    Inquiry inquiry(provider, sopClass, request);
    if (!inquiry.receive()) return false;
    Find find(inquiry, request);
    const unsigned short status = inquiry.isOf(DICT_MSG_C_FIND_RQ) ? find.run() : kClassNotSupported;
    DcCmdCFindRsp response(&request);
    return inquiry.end(response, status, EventId::query, find.answers(),
                       "query answered, " + std::to_string(find.answers()) + " results");
}

}  // namespace services
