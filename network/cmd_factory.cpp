#include "network/cmd_factory.h"

#include "dataset/elemlist_access.h"
#include "network/cmd_table.h"
#include "network/pdu_access.h"

namespace orvkit {

ReceivedMsg makeReceived(DcPduDataTf& received) {
    unsigned short field = 0;
    (void)ElemListAccess::firstValue(received, T_0000_0100_commandField, field);
    const CmdRow* row = cmdRow(field);
    std::unique_ptr<DcMsg> message(row != nullptr ? row->make() : new DcMsg);
    // The received command field and group length take the place of the new command's.
    message->destroyAllNodes();
    (void)message->registerValueExceptionCB(ElemListAccess::exceptionContext(received),
                                            ElemListAccess::exceptionCB(received));
    (void)received.moveElem(message.get());
    DcPduInfoTf info;
    (void)received.getInfo(info);
    PduAccess::presCtxId(*message) = info.presCtxId;
    PduAccess::msgCtrl(*message) = info.msgCtrl;
    PduAccess::xferSyn(*message) = info.xferSyn;
    PduAccess::tfMaxPduLen(*message) = info.maxPduLen;
    const int result = message->parseType();
    return {std::move(message), result};
}

}  // namespace orvkit
