// Takes what proves who a user is out of association PDUs that are dumped.
#ifndef ORVKIT_NETWORK_IDENTITY_MASK_H
#define ORVKIT_NETWORK_IDENTITY_MASK_H

#include <array>
#include <cstddef>
#include <span>

#include "orvkit/pdu.h"

namespace orvkit {

// Passcodes, tickets, assertions and tokens of user identity items, and what an answer confirms (PS3.7
// D.3.3.7), become asterisks; lengths and the names of users stay. It follows the items as a reader of the
// PDU does, over as many pieces as the PDU comes in.
class IdentityMask {
  public:
    // From the first byte of a PDU on.
    void begin(PDU_TYPE type) noexcept;
    bool isNeeded() const noexcept { return follows_; }
    void apply(std::span<unsigned char> bytes) noexcept;

  private:
    enum class Part : unsigned char { item, identity, primary, length, rest };

    void enter(Part part, std::size_t length, bool masks = false) noexcept;
    void leave() noexcept;
    void openItem() noexcept;
    void openIdentity() noexcept;
    std::size_t numberAt(std::size_t at) const noexcept {
        return head_[at] * std::size_t{256} + head_[at + 1];
    }

    bool follows_ = false;  // there are items in the PDU
    bool masks_ = false;
    Part part_ = Part::rest;
    std::size_t left_ = 0;  // bytes of the part
    std::size_t more_ = 0;  // those of the item behind it
    std::size_t headEnd_ = 0;
    std::array<unsigned char, 4> head_{};  // the first bytes of the part
};

}  // namespace orvkit

#endif
