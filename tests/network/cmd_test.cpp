// Commands: what each holds and needs, what may be added, responses from requests.
#include "orvkit/cmd.h"

#include <typeinfo>

#include "network/cmd_factory.h"
#include "network/cmd_table.h"
#include "network/pdu_access.h"
#include "tests/support/dataset.h"

namespace {

using Command = std::unique_ptr<DcCmd>;

Command make(int type) {
    return Command(orvkit::cmdRow(type)->make());
}

DcElem* patientName() {
    return new DcElem(T_0010_0010_patientsName, "Doe^Jane");
}

TEST(Cmd, StoreCompletesItself) {
    const CaptureLog log;
    DcCmdCStoreRq store;
    store + new DcElem(0x0800, static_cast<unsigned short>(0x0102)) + patientName();
    EXPECT_EQ(store.elemListVerify(), ELEM_NOT_FOUND);
    store + new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.2");
    EXPECT_EQ(store.elemListVerify(), CMD_FIELD_MISSING);
    store + new DcElem(T_0008_0018_sopInstanceUid, "1.2.3.4");
    EXPECT_EQ(store.elemListVerify(), RESULT_OK);
    EXPECT_EQ(text(store, 0x0002), "1.2.840.10008.5.1.4.1.1.2");
    EXPECT_EQ(text(store, 0x1000), "1.2.3.4");
}

TEST(Cmd, AnApplicationsOwnParametersCountAndNoneTakeNothing) {
    const CaptureLog log;
    DcCmdCEchoRq echo;
    EXPECT_EQ(echo.add(static_cast<DcElem*>(nullptr)), nullptr);
    const DcCmdParm own[] = {{0x0900, 2}, {0x0902, CMD_USAGE_CONDITIONAL}, {TAG_LIST_END, 0}};
    (void)echo.setParmList(own);
    EXPECT_EQ(echo.elemListVerify(), CMD_FIELD_MISSING);
    (void)echo.setParmList(nullptr);
    EXPECT_EQ(echo.add(new DcElem(0x0110, static_cast<unsigned short>(1))), nullptr);
}

// A request with every field that any response could take, each with a value of its own.
Command requestWithAll(int type) {
    Command request = make(type);
    for (const unsigned int tag : {0x0002u, 0x0003u, 0x0200u, 0x0300u, 0x1000u, 0x1001u})
        (void)request->add(new DcElem(tag, ("1.2." + std::to_string(tag)).c_str()));
    for (const unsigned int tag : {0x0110u, 0x1002u, 0x1008u})
        (void)request->add(new DcElem(tag, static_cast<unsigned short>(tag)));
    return request;
}

TEST(Cmd, ResponsesTakeTheirFieldsFromTheRequest) {
    const struct {
        int request;
        std::vector<std::pair<unsigned int, unsigned int>> copies;  // from, to; the needed ones first
        std::size_t needed;
    } rows[] = {{0x0001,
                 {{0x0002, 0x0002}, {0x0110, 0x0120}, {0x1000, 0x1000}, {0x0200, 0x0300}, {0x0300, 0x0200}},
                 3},
                {0x0100, {{0x0002, 0x0002}, {0x0110, 0x0120}, {0x1000, 0x1000}, {0x1002, 0x1002}}, 4},
                {0x0120, {{0x0110, 0x0120}, {0x0003, 0x0002}, {0x1001, 0x1000}}, 3},
                {0x0150, {{0x0110, 0x0120}}, 1}};
    for (const auto& row : rows) {
        CaptureLog log;
        const Command request = requestWithAll(row.request);
        orvkit::PduAccess::presCtxId(*request) = 5;
        const Command whole = make(row.request | 0x8000);
        EXPECT_EQ(whole->parseRequest(request.get()), RESULT_OK);
        EXPECT_EQ(orvkit::PduAccess::presCtxId(*whole), 5);
        EXPECT_EQ(whole->count(), 2 + static_cast<int>(row.copies.size()));
        DcCmdCCancelRq other;
        EXPECT_NE(whole->parseRequest(&other), RESULT_OK);
        // One field away at a time.
        for (std::size_t i = 0; i < row.copies.size(); ++i) {
            const auto [from, to] = row.copies[i];
            EXPECT_EQ(text(*whole, to), text(*request, from)) << from;
            const Command poor = requestWithAll(row.request);
            DcElemList taken;
            (void)poor->moveElem(&taken, from);
            log.clear();
            EXPECT_EQ(make(row.request | 0x8000)->parseRequest(poor.get()) == RESULT_OK, i >= row.needed);
            EXPECT_EQ(log.lines().size(), i < row.needed ? 1u : 0u) << from;
        }
    }
    // Each missing field is told, but for a store of no SOP class.
    CaptureLog log;
    DcCmdNEventRq event;
    EXPECT_EQ(DcCmdNEventRsp().parseRequest(&event), RSP_FIELD_MISSING);
    EXPECT_EQ(log.take().size(), 4u);
    DcCmdCStoreRq store;
    EXPECT_EQ(DcCmdCStoreRsp().parseRequest(&store), RSP_FIELD_MISSING);
    EXPECT_EQ(log.take().size(), 1u);
}

orvkit::ReceivedMsg received(DcElem* element) {
    DcPduDataTf pdu;
    pdu + element;
    orvkit::PduAccess::presCtxId(pdu) = 3;
    return orvkit::makeReceived(pdu);
}

TEST(Cmd, WhatArrivesBecomesTheClassOfItsCommandField) {
    CaptureLog log;
    auto* const element = new DcElem(0x0100, static_cast<unsigned short>(0x8030));
    const orvkit::ReceivedMsg made = received(element);
    EXPECT_EQ(made.result, RESULT_OK);
    EXPECT_NE(dynamic_cast<DcCmdCEchoRsp*>(made.message.get()), nullptr);
    EXPECT_EQ(made.message->first(), element) << "moved, not copied";
    EXPECT_EQ(made.message->count(), 1);
    EXPECT_EQ(orvkit::PduAccess::presCtxId(*made.message), 3);
    for (const orvkit::CmdRow& row : orvkit::cmdTable()) {
        const auto field = static_cast<unsigned short>(row.type);
        const std::unique_ptr<DcMsg> message = received(new DcElem(0x0100, field)).message;
        const Command expected = make(row.type);
        const DcMsg& made = *message;
        const DcMsg& wanted = *expected;
        EXPECT_EQ(typeid(made), typeid(wanted)) << row.type;
        EXPECT_EQ(message->getType(), row.type);
    }
    const orvkit::ReceivedMsg unknown = received(new DcElem(0x0100, static_cast<unsigned short>(0x0031)));
    EXPECT_EQ(unknown.result, MSG_COMMAND_TYPE);
    EXPECT_EQ(unknown.message->getType(), MSG_TYPE_UNKNOWN);
    log.expect(LOG_ERROR, "DcMsg::parseType", "Invalid Command Type 0x0031");
}

}  // namespace
