// What is answered to an A-ASSOCIATE-RQ that cannot be read (PS3.8 9.3.4, 9.3.8).
#include "network/asso_pdu.h"
#include "network/pdu_access.h"
#include "network/wire.h"
#include "orvkit/tul.h"

using namespace orvkit;

namespace {

constexpr int kByAcse = 2;
constexpr int kByProvider = 2;  // of an abort

struct Answer {
    AssoFault fault;
    DcPduInfoRj reject;  // no result: an abort instead, for its reason
};
constexpr Answer answers[] = {
    {AssoFault::version, {wire::kPermanent, kByAcse, 2}},             // protocol version not supported
    {AssoFault::calledTitle, {wire::kPermanent, wire::kByUser, 7}},   // called AE title not recognized
    {AssoFault::callingTitle, {wire::kPermanent, wire::kByUser, 3}},  // calling AE title not recognized
    {AssoFault::unknownItem, {0, 0, 4}},                              // unrecognized PDU parameter
    {AssoFault::misplacedItem, {0, 0, 5}},                            // unexpected PDU parameter
    {AssoFault::badItem, {0, 0, 6}},                                  // invalid PDU parameter value
};

}  // namespace

int DcTul::setBrokenRequestAnswer(int flag) {
    answersBroken_ = flag != 0;
    return RESULT_OK;
}

void DcTul::answerBrokenRequest(const DcPduAssoRq& request) {
    for (const Answer& answer : answers) {
        if (answer.fault != PduAccess::fault(request)) continue;
        if (answer.reject.result != 0) {
            DcPduInfoRj info = answer.reject;
            DcPduAssoRj pdu;
            (void)pdu.setInfo(&info);
            (void)event07_writeAssoRjPdu(&pdu);
        } else {
            (void)writeAbort(kByProvider, answer.reject.reason);
        }
        // Closing over bytes that were not read would reset the connection, and the answer with it.
        discardArrived();
    }
}
