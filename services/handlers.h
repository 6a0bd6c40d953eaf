// What a provider does with a message: one row a command, each with a file of its own, and with the right
// that a peer must have for it.
#ifndef ORVKIT_SERVICES_HANDLERS_H
#define ORVKIT_SERVICES_HANDLERS_H

#include <memory>
#include <span>
#include <vector>

#include "orvkit/cmd.h"
#include "services/known_peers.h"

namespace services {

class Provider;

// Answers a request of a peer that has the right to it, which came in a context of that SOP class, with its
// data set if it has one; false: the association is over.
using Handler = bool(Provider& provider, DICT_UID sopClass, DcMsg& request);

// Command Data Set Type (PS3.7 9.3.1.1)
inline constexpr unsigned short kNoDataSet = 0x0101;

// The response of a message, to those who may not ask.
template <typename Response, typename Request>
std::unique_ptr<DcCmd> responseTo(DcMsg& request) {
    return std::make_unique<Response>(static_cast<Request*>(&request));
}

// The presentation context that a message came in.
inline unsigned char contextOf(DcMsg& message) {
    DcPduInfoTf info;
    (void)message.getInfo(info);
    return info.presCtxId;
}

struct Service {
    MSG_TYPE message;
    Right right;
    Handler* answer;
    std::unique_ptr<DcCmd> (*response)(DcMsg& request);  // to those who may not ask; null: all may
    DICT_UID sopClass = UID_NONE;                        // that it is for; none: any
};

// In the rows that all servers have, and in those that one has beside them: a row for the class goes before
// one for any. Null for a message that has no place here.
const Service* serviceOf(MSG_TYPE message, DICT_UID sopClass,
                         const std::vector<std::span<const Service>>& others);

}  // namespace services

#endif
