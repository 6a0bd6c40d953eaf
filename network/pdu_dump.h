// The files that PduDumpFlag asks for: each PDU as it went over the wire, but for what proves who a user is.
// Failures to write them are ignored.
#ifndef ORVKIT_NETWORK_PDU_DUMP_H
#define ORVKIT_NETWORK_PDU_DUMP_H

#include <cstddef>
#include <initializer_list>
#include <span>

#include "orvkit/pdu.h"

namespace orvkit {

inline bool dumpsReceived() noexcept {
    return (PduDumpFlag & 1) != 0;
}
inline bool dumpsSent() noexcept {
    return (PduDumpFlag & 2) != 0;
}

// One file with all parts.
void dumpSent(PDU_TYPE type, std::initializer_list<std::span<const unsigned char>> parts);

// The received PDU of the calling thread: closing the one before, its first bytes, and those that follow.
void dumpReceivedEnd();
void dumpReceivedBegin(PDU_TYPE type, std::span<const unsigned char> bytes);
void dumpReceived(std::span<const unsigned char> bytes);

}  // namespace orvkit

#endif
