// Constants of the wire that reading and writing share (PS3.8 9.3, annexes D and E; PS3.7 9.3 and E.1).
#ifndef ORVKIT_NETWORK_WIRE_H
#define ORVKIT_NETWORK_WIRE_H

namespace orvkit::wire {

// Every PDU: type, a reserved byte, and the length of what follows these.
inline constexpr unsigned int kPduHeader = 6;
inline constexpr unsigned int kSmallBody = 4;  // of A-ASSOCIATE-RJ, A-RELEASE-RQ and -RP, A-ABORT

// A-ASSOCIATE-RQ and -AC.
inline constexpr unsigned int kVersionBit = 1;      // one bit for each version that the peer knows
inline constexpr unsigned int kAssoFixedSize = 74;  // from the type to the first item
inline constexpr unsigned int kItemHeader = 4;      // type, reserved, length
inline constexpr unsigned int kPresCtxHeader = 8;   // item header, ID, reserved, result, reserved
inline constexpr unsigned int kAeTitleLength = 16;
inline constexpr unsigned int kUidLength = 64;
inline constexpr int kRoleScu = 2;  // role selection, as bits
inline constexpr int kRoleScp = 1;

// A-ASSOCIATE-RJ, result and source (PS3.8 9.3.4).
inline constexpr int kPermanent = 1;
inline constexpr int kByUser = 1;

// P-DATA-TF: one presentation data value, and its message control header.
inline constexpr unsigned int kPdvHeader = 6;  // item length, context, message control header
inline constexpr unsigned int kPdvPart = 2;    // of that header, what the item length counts too
inline constexpr unsigned char kCommand = 1;   // else a data set
inline constexpr unsigned char kLast = 2;      // fragment of its command or data set
inline constexpr unsigned char kControlBits = kCommand | kLast;
inline constexpr unsigned int kMargin = 32;  // fragments stay this much below the peer's maximum

// Command Data Set Type (0000,0800).
inline constexpr unsigned short kNoDataSet = 0x0101;
inline constexpr unsigned short kDataSetFollows = 0x0102;

}  // namespace orvkit::wire

#endif
