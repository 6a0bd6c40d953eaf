#include "network/identity_mask.h"

#include <limits>

#include "network/wire.h"
#include "orvkit/negotiation.h"

namespace orvkit {

namespace {

constexpr unsigned char kMask = '*';
constexpr std::size_t kFieldLength = 2;     // in front of each field
constexpr std::size_t kIdentityHeader = 4;  // type, whether an answer is wanted, length of the primary field
constexpr std::size_t kToTheEnd = std::numeric_limits<std::size_t>::max();

}  // namespace

void IdentityMask::begin(PDU_TYPE type) noexcept {
    follows_ = type == PDU_TYPE_ASSO_RQ || type == PDU_TYPE_ASSO_AC;
    more_ = 0;
    enter(Part::rest, wire::kAssoFixedSize);
}

void IdentityMask::apply(std::span<unsigned char> bytes) noexcept {
    if (!follows_) return;
    for (unsigned char& byte : bytes) {
        if (headEnd_ < head_.size()) head_[headEnd_++] = byte;
        if (masks_) byte = kMask;
        if (--left_ == 0) leave();
    }
}

void IdentityMask::enter(Part part, std::size_t length, bool masks) noexcept {
    part_ = part;
    left_ = length;
    masks_ = masks;
    headEnd_ = 0;
    if (length == 0) leave();
}

// The part is at its end.
void IdentityMask::leave() noexcept {
    switch (part_) {
        case Part::item:
            return openItem();
        case Part::identity:
            return openIdentity();
        case Part::primary:
            return enter(Part::length, kFieldLength);
        case Part::length:
            return numberAt(0) == more_ ? enter(Part::rest, more_, true) : enter(Part::rest, kToTheEnd, true);
        case Part::rest:
            return enter(Part::item, wire::kItemHeader);
    }
}

void IdentityMask::openItem() noexcept {
    more_ = numberAt(2);
    switch (head_[0]) {
        case PDU_ASSO_ITEM_USER_INFO:
            return enter(Part::item, wire::kItemHeader);
        case PDU_ASSO_ITEM_PRES_RQ:
        case PDU_ASSO_ITEM_PRES_AC:
            return enter(Part::rest, wire::kPresCtxHeader - wire::kItemHeader);
        case PDU_ASSO_ITEM_IDENTITY:
            return enter(Part::identity, kIdentityHeader);
        case PDU_ASSO_ITEM_IDENTITY_RESPONSE:
            more_ -= kFieldLength;  // never that many where there are none
            return enter(Part::length, kFieldLength);
        default:
            return enter(Part::rest, more_);
    }
}

// A primary field that is no name is a secret, as is what stands behind it; in an item that is not as it
// should be, everything is.
void IdentityMask::openIdentity() noexcept {
    const std::size_t length = numberAt(2);
    const bool fits = kIdentityHeader + length + kFieldLength <= more_;
    if (!fits) return enter(Part::rest, kToTheEnd, true);
    const bool named = head_[0] == PDU_IDENTITY_NAME || head_[0] == PDU_IDENTITY_PASSCODE;
    more_ -= kIdentityHeader + length + kFieldLength;
    enter(Part::primary, length, !named);
}

}  // namespace orvkit
