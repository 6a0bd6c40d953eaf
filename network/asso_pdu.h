// What an A-ASSOCIATE-RQ or -AC holds (PS3.8 9.3.2).
#ifndef ORVKIT_NETWORK_ASSO_PDU_H
#define ORVKIT_NETWORK_ASSO_PDU_H

#include <memory>
#include <optional>
#include <span>

#include "foundation/bytes.h"
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

// Opens an item and closes it with the length of what was written meanwhile.
class ItemWriter {
  public:
    ItemWriter(ByteWriter& out, int type) : out_(out) {
        out_.u8(static_cast<std::uint8_t>(type));
        out_.u8(0);
        out_.u16(0);
        begin_ = out_.offset();
    }
    ItemWriter(const ItemWriter&) = delete;
    ItemWriter& operator=(const ItemWriter&) = delete;
    ~ItemWriter() { out_.patchU16(begin_ - 2, static_cast<std::uint16_t>(length())); }
    std::size_t length() const { return out_.offset() - begin_; }

  private:
    ByteWriter& out_;
    std::size_t begin_;
};

// Takes the sub-item of type 56H to 59H at the front, unless it belongs into PDUs of the other type.
AssoFault readNegotiation(PDU_TYPE pdu, std::span<const unsigned char> item, DcPduNegotiation& negotiation);
// The sub-items that belong into PDUs of the type.
void writeNegotiation(PDU_TYPE pdu, const DcPduNegotiation& negotiation, ByteWriter& out);

}  // namespace orvkit

struct DcPduAssoAcRq::Body {
    orvkit::AssoFault fault = orvkit::AssoFault::none;
    bool oneVersionAmongOthers = false;  // enough when reading
    bool learnsClasses = false;          // abstract syntaxes that nobody knows get numbers when reading
    bool tolerant = false;
    DcPduNegotiation negotiation;
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX] = {};
    std::optional<DcPduInfoAcRq> info;
    std::unique_ptr<DcPduPresCtx> contexts[PDU_PRES_CTX_MAX];
};

#endif
