// What an A-ASSOCIATE-RQ or -AC holds (PS3.8 9.3.2).
#ifndef ORVKIT_NETWORK_ASSO_PDU_H
#define ORVKIT_NETWORK_ASSO_PDU_H

#include <memory>
#include <optional>

#include "network/wire.h"
#include "orvkit/pdu.h"

namespace orvkit {

// What is wrong with a PDU that was read.
enum class AssoFault : unsigned char {
    none,
    unread,  // not all of it came
    version,
    calledTitle,
    callingTitle,
    unknownItem,
    misplacedItem,
    badItem,
};

}  // namespace orvkit

struct DcPduAssoAcRq::Body {
    orvkit::AssoFault fault = orvkit::AssoFault::none;
    bool oneVersionAmongOthers = false;  // enough when reading
    bool learnsClasses = false;          // abstract syntaxes that nobody knows get numbers when reading
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX] = {};
    std::optional<DcPduInfoAcRq> info;
    std::unique_ptr<DcPduPresCtx> contexts[PDU_PRES_CTX_MAX];
};

#endif
