// Commands: what each holds and needs, what may be added, responses from requests.
#include "orvkit/cmd.h"

#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "network/cmd_factory.h"
#include "network/cmd_table.h"
#include "network/pdu_access.h"
#include "tests/support/capture_log.h"

namespace {

using Command = std::unique_ptr<DcCmd>;
using Tags = std::vector<unsigned int>;

Command make(int type) {
    return Command(orvkit::cmdRow(type)->make());
}

std::string textOf(DcElemList& list, unsigned int tag) {
    char text[65] = "";
    return list.getValue(tag, text, 64) == RESULT_OK ? text : "-";
}

int numberOf(DcElemList& list, unsigned int tag) {
    unsigned short number = 0;
    return list.getValue(tag, number) == RESULT_OK ? number : -1;
}

std::string nameOf(unsigned int tag) {
    char name[61] = "";
    EXPECT_EQ(Dict.getDesc(tag, name), RESULT_OK);
    return name;
}

DcElem* patientName() {
    return new DcElem(T_0010_0010_patientsName, "Doe^Jane");
}

// The commands as PS3.7 9.3, 10.3 and E.1 list them. A caller must give the required parameters: group length
// and command field are there from the start, a message ID is made up.
struct Printed {
    int field;
    const char* name;
    char dataset;  // 'P' present, 'A' absent, 'E' either
    Tags required;
    char answered;  // the response's rule
};
const Printed requests[] = {
    {0x0001, "C-STORE", 'P', {0x0800}, 'A'},  // the rest is taken from the data set
    {0x0010, "C-GET", 'P', {0x0002, 0x0700, 0x0800}, 'E'},
    {0x0020, "C-FIND", 'P', {0x0002, 0x0700, 0x0800}, 'E'},
    {0x0021, "C-MOVE", 'P', {0x0002, 0x0600, 0x0700, 0x0800}, 'E'},
    {0x0030, "C-ECHO", 'A', {0x0800}, 'A'},  // the SOP class can only be one
    {0x0FFF, "C-CANCEL", 'A', {0x0800}, 0},
    {0x0100, "N-EVENT", 'E', {0x0002, 0x0800, 0x1000, 0x1002}, 'E'},
    {0x0110, "N-GET", 'A', {0x0003, 0x0800, 0x1001}, 'E'},
    {0x0120, "N-SET", 'P', {0x0003, 0x0800, 0x1001}, 'E'},
    {0x0130, "N-ACTION", 'E', {0x0800, 0x1001, 0x1008}, 'E'},
    {0x0140, "N-CREATE", 'P', {0x0002, 0x0800}, 'E'},
    {0x0150, "N-DELETE", 'A', {0x0003, 0x0800, 0x1001}, 'A'},
};

void expectCommand(int field, const std::string& name, char dataset, const Tags& required) {
    SCOPED_TRACE(name);
    CaptureLog log;
    const char* const verify = "DcCmd::elemListVerify";
    const Command command = make(field);
    char own[61];
    EXPECT_EQ(command->getDesc(own), RESULT_OK);
    EXPECT_EQ(own, name);
    EXPECT_EQ(command->count(), 2);
    EXPECT_EQ(command->getValueCount(0x0000), 1);
    EXPECT_EQ(numberOf(*command, 0x0100), field);

    if (dataset == 'P' && field != 0x0001) {
        EXPECT_EQ(command->elemListVerify(), CMD_DATASET_RULE);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, verify, "Dataset absent in Command"));
    }
    if (dataset == 'A') {
        EXPECT_EQ(command->add(patientName()), nullptr);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Dataset not allowed for this command"));
    } else {
        (void)command->add(new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.7"));
        (void)command->add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    }

    LogLines missing;
    for (const unsigned int tag : required) {
        missing.push_back({LOG_VALIDATION, verify, nameOf(tag) + " missing from command"});
    }
    EXPECT_EQ(command->elemListVerify(), CMD_FIELD_MISSING);
    EXPECT_EQ(log.take(), missing);
    EXPECT_EQ(command->getValueCount(0x0110), (field & 0x8000) == 0 ? 1 : -1);
    for (const unsigned int tag : required) {
        DcDictElemInfo info;
        (void)Dict.getElemInfo(tag, &info);
        (void)command->add(info.vr == VR_US ? new DcElem(tag, static_cast<unsigned short>(0))
                                            : new DcElem(tag, info.vr == VR_UI ? "1.2.840.10008.1.1" : "A"));
    }
    EXPECT_EQ(command->elemListVerify(), RESULT_OK);
    EXPECT_EQ(log.take(), LogLines{});
}

TEST(Cmd, EveryCommandIsWhatTheStandardSays) {
    for (const Printed& row : requests) {
        expectCommand(row.field, row.name + std::string("-RQ"), row.dataset, row.required);
        if (row.answered == 0) continue;
        expectCommand(row.field | 0x8000, row.name + std::string("-RSP"), row.answered,
                      {0x0120, 0x0800, 0x0900});
    }
}

TEST(Cmd, StoreCompletesItself) {
    CaptureLog log;
    constexpr const char* reporter = "DcCmdCStoreRq::elemListVerify";
    DcCmdCStoreRq store;
    store + new DcElem(0x0800, static_cast<unsigned short>(0x0102)) + patientName();
    EXPECT_EQ(store.elemListVerify(), ELEM_NOT_FOUND);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, reporter, "SOP Class UID missing or invalid"));
    store + new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.2");
    EXPECT_EQ(store.elemListVerify(), CMD_FIELD_MISSING);
    EXPECT_EQ(log.take().at(0), (LogLine{LOG_ERROR, reporter, "SOP Instance UID missing or invalid"}));
    store + new DcElem(T_0008_0018_sopInstanceUid, "1.2.3.4");
    EXPECT_EQ(store.elemListVerify(), RESULT_OK);
    EXPECT_EQ(textOf(store, 0x0002), "1.2.840.10008.5.1.4.1.1.2");
    EXPECT_EQ(textOf(store, 0x1000), "1.2.3.4");
}

TEST(Cmd, WhatCannotBeAddedIsRefusedByName) {
    CaptureLog log;
    const char* const adding = "DcCmd::add";
    DcCmdCEchoRq echo;
    EXPECT_EQ(echo.add(static_cast<DcElem*>(nullptr)), nullptr);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, adding, "Null argument passed for element"));
    const DcCmdParm own[] = {{0x0900, 2}, {0x0902, CMD_USAGE_CONDITIONAL}, {TAG_LIST_END, 0}};
    (void)echo.setParmList(own);
    EXPECT_EQ(echo.elemListVerify(), CMD_FIELD_MISSING);
    log.clear();
    (void)echo.setParmList(nullptr);
    EXPECT_EQ(echo.add(new DcElem(0x0110, static_cast<unsigned short>(1))), nullptr);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, adding, "Parameter list not initialized for this command"));
}

// What responses take from their requests, in order.
struct Copy {
    unsigned int from, to;
    bool needed = true;
    // How a missing one is called; a requested SOP class by the name of the affected one.
    std::string missing() const { return nameOf(from == 0x0003 ? 0x0002 : from); }
};
using Copies = std::vector<Copy>;
const Copies idOnly{{0x0110, 0x0120}};
const Copies classAndId{{0x0002, 0x0002}, {0x0110, 0x0120}};
const Copies stored{
    {0x0002, 0x0002}, {0x0200, 0x0300, false}, {0x0300, 0x0200, false}, {0x0110, 0x0120}, {0x1000, 0x1000}};
const Copies created{{0x0110, 0x0120}, {0x0002, 0x0002}, {0x1000, 0x1000, false}};
const Copies event{{0x0002, 0x0002}, {0x0110, 0x0120}, {0x1000, 0x1000}, {0x1002, 0x1002}};
const Copies set{{0x0110, 0x0120}, {0x0003, 0x0002}, {0x1001, 0x1000}};
const Copies action{{0x0110, 0x0120}, {0x1008, 0x1008}};
const struct {
    const char* response;
    int request;
    int codes;  // before: missing is the first of the block, null the third, wrong the fourth
    const Copies& copies;
} answers[] = {
    {"DcCmdCStoreRsp", 0x0001, 4608, stored},    {"DcCmdCEchoRsp", 0x0030, 4608, classAndId},
    {"DcCmdCFindRsp", 0x0020, 4608, classAndId}, {"DcCmdCGetRsp", 0x0010, 4608, classAndId},
    {"DcCmdCMoveRsp", 0x0021, 4608, classAndId}, {"DcCmdNCreateRsp", 0x0140, 4608, created},
    {"DcCmdNEventRsp", 0x0100, 4608, event},     {"DcCmdNSetRsp", 0x0120, 4608, set},
    {"DcCmdNActionRsp", 0x0130, 11776, action},  {"DcCmdNGetRsp", 0x0110, 13824, idOnly},
    {"DcCmdNDeleteRsp", 0x0150, 12800, idOnly},
};

// A request with every field that any response could take, each with a value of its own.
Command requestWithAll(int type) {
    Command request = make(type);
    for (const unsigned int tag : {0x0002u, 0x0003u, 0x0200u, 0x0300u, 0x1000u, 0x1001u}) {
        (void)request->add(new DcElem(tag, ("1.2." + std::to_string(tag)).c_str()));
    }
    for (const unsigned int tag : {0x0110u, 0x1002u, 0x1008u}) {
        (void)request->add(new DcElem(tag, static_cast<unsigned short>(tag)));
    }
    return request;
}

TEST(Cmd, ResponsesTakeTheirFieldsFromTheRequest) {
    for (const auto& row : answers) {
        SCOPED_TRACE(row.response);
        CaptureLog log;
        const std::string reporter = row.response + std::string("::parseRequest");
        const Command request = requestWithAll(row.request);
        orvkit::PduAccess::presCtxId(*request) = 5;
        char name[61];
        (void)request->getDesc(name);

        const Command whole = make(row.request | 0x8000);
        EXPECT_EQ(whole->parseRequest(request.get()), RESULT_OK);
        EXPECT_EQ(orvkit::PduAccess::presCtxId(*whole), 5);
        EXPECT_EQ(whole->count(), 2 + static_cast<int>(row.copies.size()));
        for (const Copy& c : row.copies) EXPECT_EQ(textOf(*whole, c.to), textOf(*request, c.from)) << c.from;
        EXPECT_EQ(whole->parseRequest(nullptr), row.codes + 3);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, reporter, "Null argument passed"));
        DcCmdCCancelRq other;
        EXPECT_EQ(whole->parseRequest(&other), row.codes + 4);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, reporter, "Incompatible RQ command - 'C-CANCEL-RQ'"));

        // One needed field away at a time.
        for (const Copy& away : row.copies) {
            const Command poor = requestWithAll(row.request);
            DcElemList taken;
            (void)poor->moveElem(&taken, away.from);
            const Command response = make(row.request | 0x8000);
            EXPECT_EQ(response->parseRequest(poor.get()), away.needed ? row.codes + 1 : RESULT_OK);
            LogLines expected;
            if (away.needed) expected = {{LOG_ERROR, reporter, away.missing() + " missing in " + name}};
            EXPECT_EQ(log.take(), expected);
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
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcMsg::parseType", "Invalid Command Type 0x0031"));
}

}  // namespace
