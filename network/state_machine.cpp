// The state machine of the transport: its actions, and the step that runs one (PS3.8 9.2).
#include <algorithm>
#include <iterator>

#include "foundation/fail.h"
#include "network/pdu_access.h"
#include "network/state_table.h"
#include "orvkit/datatf.h"
#include "orvkit/tsm.h"

using namespace orvkit;

// clang-format off
constexpr DcTsm::ActionRow DcTsm::actions_[29] = {
    {"AA-1",  &DcTsm::AA_1_writeAbortPduScu,      Needs::connection},
    {"AA-2",  &DcTsm::AA_2_closeTransport,        Needs::connection},
    {"AA-3",  &DcTsm::AA_3_abortScpScuIndication, Needs::connection},
    {"AA-4",  &DcTsm::AA_4_abortScpIndication,    Needs::connection},
    {"AA-5",  &DcTsm::AA_5_artimStop,             Needs::connection},
    {"AA-6",  &DcTsm::AA_6_ignorePdu,             Needs::connection},
    {"AA-7",  &DcTsm::AA_7_writeAbortPdu,         Needs::connection},
    {"AA-8",  &DcTsm::AA_8_writeAbortPduScp,      Needs::connection},
    {"AE-1",  &DcTsm::AE_1_connectScu,            Needs::nothing},
    {"AE-2",  &DcTsm::AE_2_writeAssoRqPdu,        Needs::pdu},
    {"AE-3",  &DcTsm::AE_3_readAssoAcPdu,         Needs::pdu},
    {"AE-4",  &DcTsm::AE_4_readAssoRjPdu,         Needs::pdu},
    {"AE-5",  &DcTsm::AE_5_connectScp,            Needs::nothing},
    {"AE-6",  &DcTsm::AE_6_readAssoRqPdu,         Needs::pdu},
    {"AE-7",  &DcTsm::AE_7_writeAssoAcPdu,        Needs::pdu},
    {"AE-8",  &DcTsm::AE_8_writeAssoRjPdu,        Needs::pdu},
    {"AR-1",  &DcTsm::AR_1_writeRelRqPdu,         Needs::connection},
    {"AR-2",  &DcTsm::AR_2_relIndication,         Needs::connection},
    {"AR-3",  &DcTsm::AR_3_relConfirmation,       Needs::connection},
    {"AR-4",  &DcTsm::AR_4_writeRelRpPdu,         Needs::connection},
    {"AR-5",  &DcTsm::AR_5_artimStop,             Needs::connection},
    {"AR-6",  &DcTsm::AR_6_dataIndication,        Needs::connection},
    {"AR-7",  &DcTsm::AR_7_writeDataTfPdu,        Needs::pdu},
    {"AR-8",  &DcTsm::AR_8_relIndication,         Needs::connection},
    {"AR-9",  &DcTsm::AR_9_writeRelRpPdu,         Needs::connection},
    {"AR-10", &DcTsm::AR_10_relConfirmation,      Needs::connection},
    {"DT-1",  &DcTsm::DT_1_writeDataTfPdu,        Needs::pdu},
    {"DT-2",  &DcTsm::DT_2_readDataTfPdu,         Needs::pdu},
    {"none",  &DcTsm::AE_0_none,                  Needs::nothing},
};
// clang-format on

// ---- one step ---------------------------------------------------------------------------------------

int DcTsm::stateMachine(TSM_EVENT event, void* arg) {
    static_assert(std::equal(std::begin(actions_), std::end(actions_), std::begin(kTsmActions),
                             std::end(kTsmActions),
                             [](const ActionRow& row, std::string_view name) { return row.name == name; }));
    if (event < 0 || event >= static_cast<int>(kTsmEvents)) {
        return fail(TSM_EVENT_RANGE, LOG_ERROR, "DcTsm::stateMachine", "Event number %d out of range",
                    static_cast<int>(event));
    }
    // setState takes any number.
    if (state_ < 1 || state_ > static_cast<int>(kTsmStates)) return RESULT_OK;
    const auto column = static_cast<std::size_t>(state_ - 1);
    const TsmCell& cell = kTsmTable[static_cast<std::size_t>(event)][column];
    if (cell.next != 0) state_ = static_cast<TSM_STATE>(cell.next);
    const ActionRow& action = actions_[cell.action];
    if (action.needs != Needs::nothing && !isConnected()) return TSM_NO_CONNECTION;
    if (action.needs == Needs::pdu && arg == nullptr) return TSM_NULL_ARGUMENT;
    return (this->*action.member)(arg);
}

// ---- actions ----------------------------------------------------------------------------------------

// All PDUs of a connection have its write time-out, whoever made them.
int DcTsm::writePdu(void* arg) {
    auto* pdu = static_cast<DcPdu*>(arg);
    (void)pdu->attach(sockConv_);
    orvkit::PduAccess::setWriteTimeout(*pdu, static_cast<unsigned int>(timeouts_.writeTimeout));
    return pdu->write();
}

int DcTsm::writeAbort(int source, int reason) {
    DcPduAbort pdu;
    DcPduInfoAbort info{source, reason};
    (void)pdu.setInfo(&info);
    return writePdu(static_cast<DcPdu*>(&pdu));
}

int DcTsm::readAssoPdu(void* arg) {
    auto* pdu = dynamic_cast<DcPduAssoAcRq*>(static_cast<DcPdu*>(arg));
    if (pdu == nullptr) return TSM_NULL_ARGUMENT;
    (void)pdu->attach(sockConv_);
    return pdu->read(PDU_BLOCK_WAIT);
}

int DcTsm::discardBody(void* arg) {
    auto* pdu = static_cast<DcPdu*>(arg);
    (void)pdu->attach(sockConv_);
    return PduAccess::skipBody(*pdu, PDU_BLOCK_WAIT) == RESULT_OK ? RESULT_OK : DATATF_READ;
}

int DcTsm::AA_1_writeAbortPduScu(void*) {
    const int result = writeAbort(0, 0);
    artimStart();
    return result;
}

int DcTsm::AA_2_closeTransport(void*) {
    artimStop();
    closeSockConv();
    state_ = TSM_STATE_02_AWAIT_RQ;
    return TSM_CLOSED;
}

int DcTsm::AA_3_abortScpScuIndication(void*) {
    const bool server = connectionRole_ == TSM_CONNECTION_SERVER;
    if (server) state_ = TSM_STATE_02_AWAIT_RQ;
    closeSockConv();
    return server ? TSM_ABORT_INDICATION : TSM_ABORT_CLIENT;
}

int DcTsm::AA_4_abortScpIndication(void*) {
    artimStop();
    closeSockConv();
    state_ = TSM_STATE_02_AWAIT_RQ;
    return TSM_ABORT_INDICATION;
}

int DcTsm::AA_5_artimStop(void*) {
    artimStop();
    return RESULT_OK;
}

int DcTsm::AA_6_ignorePdu(void* arg) {
    return arg == nullptr ? RESULT_OK : static_cast<DcPdu*>(arg)->iflush(nullptr, 0);
}

int DcTsm::AA_7_writeAbortPdu(void*) {
    return writeAbort(connectionRole_ == TSM_CONNECTION_CLIENT ? 0 : 2, 2);
}

int DcTsm::AA_8_writeAbortPduScp(void*) {
    (void)writeAbort(2, 2);
    artimStart();
    return TSM_ABORT_INDICATION;
}

int DcTsm::AE_1_connectScu(void* arg) {
    if (arg == nullptr) return TSM_NULL_ARGUMENT;
    const auto* peer = static_cast<const TsmPeer*>(arg);
    return sockConvOpenClient(peer->host, peer->port);
}

int DcTsm::AE_2_writeAssoRqPdu(void* arg) {
    return writePdu(arg);
}
int DcTsm::AE_3_readAssoAcPdu(void* arg) {
    return readAssoPdu(arg);
}

// Also run for a request that arrives where its answer is expected: its body is read as a reject's.
int DcTsm::AE_4_readAssoRjPdu(void* arg) {
    DcPduAssoRj other;
    auto* pdu = dynamic_cast<DcPduAssoRj*>(static_cast<DcPdu*>(arg));
    if (pdu == nullptr) {
        pdu = &other;
        DcPduInfo info{maxPduLen_, static_cast<unsigned int>(timeouts_.readTimeout),
                       static_cast<unsigned int>(timeouts_.writeTimeout)};
        pdu->setInfo(info);
        PduAccess::setReception(other, reception_);
    }
    (void)pdu->attach(sockConv_);
    (void)pdu->read(PDU_BLOCK_WAIT);
    closeSockConv();
    return RESULT_OK;
}

int DcTsm::AE_5_connectScp(void*) {
    return sockConvOpenServer(acceptMode_);
}
int DcTsm::AE_6_readAssoRqPdu(void* arg) {
    return readAssoPdu(arg);
}
int DcTsm::AE_7_writeAssoAcPdu(void* arg) {
    return writePdu(arg);
}

int DcTsm::AE_8_writeAssoRjPdu(void* arg) {
    const int result = writePdu(arg);
    artimStart();
    return result;
}

int DcTsm::AR_1_writeRelRqPdu(void*) {
    DcPduReleaseRq pdu;
    return writePdu(static_cast<DcPdu*>(&pdu));
}

int DcTsm::AR_2_relIndication(void*) {
    return TSM_RELEASE_INDICATION;
}

int DcTsm::AR_3_relConfirmation(void*) {
    closeSockConv();
    return TSM_RELEASE_CONFIRM;
}

int DcTsm::AR_4_writeRelRpPdu(void* arg) {
    const int result = AR_9_writeRelRpPdu(arg);
    artimStart();
    return result;
}

int DcTsm::AR_5_artimStop(void* arg) {
    return AA_5_artimStop(arg);
}

// Data that arrives after the request for release is of no use any more, but what follows it is.
int DcTsm::AR_6_dataIndication(void* arg) {
    const int result = arg == nullptr ? RESULT_OK : discardBody(arg);
    return result == RESULT_OK ? TSM_DATA_INDICATION : result;
}

int DcTsm::AR_7_writeDataTfPdu(void* arg) {
    return writePdu(arg);
}

int DcTsm::AR_8_relIndication(void*) {
    state_ =
        connectionRole_ == TSM_CONNECTION_CLIENT ? TSM_STATE_09_COLLISION_SCU : TSM_STATE_10_COLLISION_SCP;
    return TSM_RELEASE_INDICATION;
}

int DcTsm::AR_9_writeRelRpPdu(void*) {
    DcPduReleaseRp pdu;
    return writePdu(static_cast<DcPdu*>(&pdu));
}

int DcTsm::AR_10_relConfirmation(void*) {
    return TSM_RELEASE_CONFIRM;
}

int DcTsm::DT_1_writeDataTfPdu(void* arg) {
    return writePdu(arg);
}

int DcTsm::DT_2_readDataTfPdu(void* arg) {
    auto* pdu = dynamic_cast<DcPduDataTf*>(static_cast<DcPdu*>(arg));
    if (pdu == nullptr) return TSM_NULL_ARGUMENT;
    (void)pdu->attach(sockConv_);
    return pdu->read(readDumpHandle_, PDU_BLOCK_WAIT);
}

int DcTsm::AE_0_none(void*) {
    return RESULT_OK;
}
