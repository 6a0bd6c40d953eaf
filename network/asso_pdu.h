// What an A-ASSOCIATE-RQ or -AC holds, and the constants that framing and parsing share (PS3.8 9.3.2).
#ifndef ORVKIT_NETWORK_ASSO_PDU_H
#define ORVKIT_NETWORK_ASSO_PDU_H

#include <memory>
#include <optional>

#include "orvkit/pdu.h"

namespace orvkit {

inline constexpr unsigned int kAssoFixedSize = 74;  // from the type to the first item
inline constexpr unsigned int kItemHeader = 4;      // type, reserved, length
inline constexpr unsigned int kPresCtxHeader = 8;   // item header, ID, reserved, result, reserved
inline constexpr unsigned int kAeTitleLength = 16;
inline constexpr unsigned int kUidLength = 64;

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
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX] = {};
    std::optional<DcPduInfoAcRq> info;
    std::unique_ptr<DcPduPresCtx> contexts[PDU_PRES_CTX_MAX];
};

#endif
