// The commands of the standard as a table (PS3.7 9.3, 10.3, E.1): one row a command.
#ifndef ORVKIT_NETWORK_CMD_TABLE_H
#define ORVKIT_NETWORK_CMD_TABLE_H

#include <array>
#include <cstddef>
#include <span>

#include "orvkit/cmd.h"

namespace orvkit {

inline constexpr std::size_t kMostParms = 13;  // of a command, with the end of the list

// A field of a request that its response takes over.
struct RspCopy {
    unsigned int from;
    unsigned int to;
    const char* name;  // what the message calls a missing one; null: it may be missing
};

struct RspCodes {
    int missing;  // a field that the response needs
    int null;
    int wrong;  // the request of another command
};

struct CmdRow {
    CMD_TYPE type;
    CMD_DATASET dataset;
    std::array<DcCmdParm, kMostParms> parms;  // TAG_LIST_END closes them
    DcCmd* (*make)();
    // Of responses.
    const char* reporter;
    CMD_TYPE request;
    std::span<const RspCopy> copies;  // in the order in which missing ones are told
    RspCodes codes;
};

std::span<const CmdRow> cmdTable();
// Null when the standard knows no such command.
const CmdRow* cmdRow(int type);

}  // namespace orvkit

#endif
