// From what was received to an object of the right class.
#ifndef ORVKIT_NETWORK_CMD_FACTORY_H
#define ORVKIT_NETWORK_CMD_FACTORY_H

#include <memory>

#include "orvkit/cmd.h"

namespace orvkit {

struct ReceivedMsg {
    std::unique_ptr<DcMsg> message;
    int result;  // of DcMsg::parseType
};

// Moves the elements of a parsed command or data set into a message of the class that its command field asks
// for, with the context, control and syntax it came with. A command that the standard does not know, with
// MSG_COMMAND_TYPE, and a data set (MSG_TYPE_DATASET) are a plain DcMsg.
ReceivedMsg makeReceived(DcPduDataTf& received);

}  // namespace orvkit

#endif
