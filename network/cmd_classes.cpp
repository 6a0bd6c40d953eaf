// The commands of the standard: what their classes do beyond the table.
#include "dataset/elemlist_access.h"
#include "foundation/fail.h"
#include "orvkit/cmd.h"

using namespace orvkit;

namespace {

constexpr unsigned short kPriorityMedium = 0;

bool lacks(const DcElemList& list, unsigned int tag) {
    return ElemListAccess::find(list, tag) == nullptr;
}

}  // namespace

int DcCmdCEchoRq::elemListVerify() {
    completeMessageId();
    if (lacks(*this, T_0000_0002_affectedSopClassUid)) {
        (void)add(new DcElem(T_0000_0002_affectedSopClassUid, UID_VERIFICATION));
    }
    return DcCmd::elemListVerify();
}

int DcCmdCStoreRq::elemListVerify() {
    constexpr const char* reporter = "DcCmdCStoreRq::elemListVerify";
    completeMessageId();
    if (lacks(*this, T_0000_0002_affectedSopClassUid)) {
        DICT_UID sopClass = UID_NONE;
        const int result = ElemListAccess::firstValue(*this, T_0008_0016_sopClassUid, sopClass);
        if (result != RESULT_OK) {
            return fail(result, LOG_ERROR, reporter, "SOP Class UID missing or invalid");
        }
        (void)add(new DcElem(T_0000_0002_affectedSopClassUid, sopClass));
    }
    if (lacks(*this, T_0000_0700_priority)) (void)add(new DcElem(T_0000_0700_priority, kPriorityMedium));
    if (lacks(*this, T_0000_1000_affectedSopInstanceUid)) {
        char uid[65] = "";
        if (ElemListAccess::firstValue(*this, T_0008_0018_sopInstanceUid, uid, 64) == RESULT_OK) {
            (void)add(new DcElem(T_0000_1000_affectedSopInstanceUid, uid));
        } else {
            logReport(LOG_ERROR, reporter, "SOP Instance UID missing or invalid");
        }
    }
    return DcCmd::elemListVerify();
}

#define ORVKIT_REQUEST(Request) Request::~Request() = default;
#define ORVKIT_RESPONSE(Response, Request)              \
    Response::Response(Request* request) : Response() { \
        orvkit::needMemory(fillFrom(request));          \
    }                                                   \
    Response::~Response() = default;                    \
    int Response::parseRequest(DcCmd* request) {        \
        return fillFrom(request);                       \
    }

ORVKIT_REQUEST(DcCmdCStoreRq)
ORVKIT_REQUEST(DcCmdCGetRq)
ORVKIT_REQUEST(DcCmdCFindRq)
ORVKIT_REQUEST(DcCmdCMoveRq)
ORVKIT_REQUEST(DcCmdCEchoRq)
ORVKIT_REQUEST(DcCmdCCancelRq)
ORVKIT_REQUEST(DcCmdNEventRq)
ORVKIT_REQUEST(DcCmdNGetRq)
ORVKIT_REQUEST(DcCmdNSetRq)
ORVKIT_REQUEST(DcCmdNActionRq)
ORVKIT_REQUEST(DcCmdNCreateRq)
ORVKIT_REQUEST(DcCmdNDeleteRq)

ORVKIT_RESPONSE(DcCmdCStoreRsp, DcCmdCStoreRq)
ORVKIT_RESPONSE(DcCmdCGetRsp, DcCmdCGetRq)
ORVKIT_RESPONSE(DcCmdCFindRsp, DcCmdCFindRq)
ORVKIT_RESPONSE(DcCmdCMoveRsp, DcCmdCMoveRq)
ORVKIT_RESPONSE(DcCmdCEchoRsp, DcCmdCEchoRq)
ORVKIT_RESPONSE(DcCmdNEventRsp, DcCmdNEventRq)
ORVKIT_RESPONSE(DcCmdNGetRsp, DcCmdNGetRq)
ORVKIT_RESPONSE(DcCmdNSetRsp, DcCmdNSetRq)
ORVKIT_RESPONSE(DcCmdNActionRsp, DcCmdNActionRq)
ORVKIT_RESPONSE(DcCmdNCreateRsp, DcCmdNCreateRq)
ORVKIT_RESPONSE(DcCmdNDeleteRsp, DcCmdNDeleteRq)
