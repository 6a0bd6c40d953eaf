// Commands: the table of all 23, what may be added, the check before sending, responses from requests.
#include "orvkit/cmd.h"

#include <gtest/gtest.h>

#include <memory>

#include "network/cmd_factory.h"
#include "network/cmd_table.h"
#include "tests/support/capture_log.h"

namespace {

constexpr unsigned int sopClass = 0x0002, messageId = 0x0110, answeredId = 0x0120, sopInstance = 0x1000;

using Command = std::unique_ptr<DcCmd>;

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

DcElem* patientName() {
    return new DcElem(T_0010_0010_patientsName, "Doe^Jane");
}

// The commands as PS3.7 E.1 and their own sections list them. The required parameters are those that a caller
// must give: group length and command field are there from the start, a message ID is made up.
const struct {
    int field;
    const char* name;
    char dataset;  // 'P' present, 'A' absent, 'E' either
    std::vector<unsigned int> required;
} printed[] = {
    {0x0001, "C-STORE-RQ", 'P', {0x0800}},  // the rest is taken from the data set
    {0x8001, "C-STORE-RSP", 'A', {0x0120, 0x0800, 0x0900}},
    {0x0010, "C-GET-RQ", 'P', {0x0002, 0x0700, 0x0800}},
    {0x8010, "C-GET-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0020, "C-FIND-RQ", 'P', {0x0002, 0x0700, 0x0800}},
    {0x8020, "C-FIND-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0021, "C-MOVE-RQ", 'P', {0x0002, 0x0600, 0x0700, 0x0800}},
    {0x8021, "C-MOVE-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0030, "C-ECHO-RQ", 'A', {0x0800}},  // the SOP class can only be one
    {0x8030, "C-ECHO-RSP", 'A', {0x0120, 0x0800, 0x0900}},
    {0x0FFF, "C-CANCEL-RQ", 'A', {0x0800}},
    {0x0100, "N-EVENT-RQ", 'E', {0x0002, 0x0800, 0x1000, 0x1002}},
    {0x8100, "N-EVENT-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0110, "N-GET-RQ", 'A', {0x0003, 0x0800, 0x1001}},
    {0x8110, "N-GET-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0120, "N-SET-RQ", 'P', {0x0003, 0x0800, 0x1001}},
    {0x8120, "N-SET-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0130, "N-ACTION-RQ", 'E', {0x0800, 0x1001, 0x1008}},
    {0x8130, "N-ACTION-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0140, "N-CREATE-RQ", 'P', {0x0002, 0x0800}},
    {0x8140, "N-CREATE-RSP", 'E', {0x0120, 0x0800, 0x0900}},
    {0x0150, "N-DELETE-RQ", 'A', {0x0003, 0x0800, 0x1001}},
    {0x8150, "N-DELETE-RSP", 'A', {0x0120, 0x0800, 0x0900}},
};

class EveryCommand : public ::testing::TestWithParam<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(Commands, EveryCommand, ::testing::Range(std::size_t{0}, std::size(printed)));

TEST_P(EveryCommand, IsWhatTheStandardSays) {
    const auto& row = printed[GetParam()];
    CaptureLog log;
    const Command command = make(row.field);
    EXPECT_EQ(command->getType(), row.field);
    char name[61];
    EXPECT_EQ(command->getDesc(name), 0);
    EXPECT_STREQ(name, row.name);
    EXPECT_EQ(command->count(), 2);
    EXPECT_EQ(command->getValueCount(0x0000), 1);
    EXPECT_EQ(numberOf(*command, 0x0100), row.field);
    EXPECT_TRUE(log.take().empty());

    const char* verify = "DcCmd::elemListVerify";
    if (row.dataset == 'P' && row.field != 0x0001) {
        EXPECT_EQ(command->elemListVerify(), CMD_DATASET_RULE);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, verify, "Dataset absent in Command"));
    }
    if (row.dataset == 'A') {
        EXPECT_EQ(command->add(patientName()), nullptr);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Dataset not allowed for this command"));
        DcElem* const smuggled = static_cast<DcElemList&>(*command).add(patientName());
        EXPECT_EQ(command->elemListVerify(), CMD_DATASET_RULE);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, verify, "Dataset present in Command"));
        command->subtract(smuggled);
        delete smuggled;
    } else {
        (void)command->add(new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.7"));
        (void)command->add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    }

    LogLines missing;
    for (const unsigned int tag : row.required) {
        char description[61];
        ASSERT_EQ(Dict.getDesc(tag, description), 0);
        missing.push_back({LOG_VALIDATION, verify, description + std::string(" missing from command")});
    }
    EXPECT_EQ(command->elemListVerify(), CMD_FIELD_MISSING);
    EXPECT_EQ(log.take(), missing);
    const bool request = (row.field & 0x8000) == 0;
    EXPECT_EQ(command->getValueCount(messageId), request ? 1 : -1);
    for (const unsigned int tag : row.required) {
        DcDictElemInfo info;
        (void)Dict.getElemInfo(tag, &info);
        (void)command->add(info.vr == VR_US ? new DcElem(tag, static_cast<unsigned short>(0))
                                            : new DcElem(tag, info.vr == VR_UI ? "1.2.840.10008.1.1" : "A"));
    }
    EXPECT_EQ(command->elemListVerify(), 0);
    EXPECT_TRUE(log.take().empty());
}

TEST(Cmd, EchoAndStoreCompleteThemselves) {
    CaptureLog log;
    DcCmdCEchoRq echo;
    EXPECT_EQ(echo.elemListVerify(), CMD_FIELD_MISSING);
    EXPECT_EQ(textOf(echo, sopClass), "1.2.840.10008.1.1");
    const int first = numberOf(echo, messageId);
    EXPECT_EQ(echo.elemListVerify(), CMD_FIELD_MISSING);
    EXPECT_EQ(numberOf(echo, messageId), first);
    log.clear();

    constexpr const char* reporter = "DcCmdCStoreRq::elemListVerify";
    DcCmdCStoreRq store;
    (void)store.add(new DcElem(T_0000_0800_dataSetType, static_cast<unsigned short>(0x0102)));
    (void)store.add(patientName());
    EXPECT_EQ(store.elemListVerify(), ELEM_NOT_FOUND);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, reporter, "SOP Class UID missing or invalid"));
    (void)store.add(new DcElem(T_0008_0016_sopClassUid, "1.2.840.10008.5.1.4.1.1.2"));
    EXPECT_EQ(store.elemListVerify(), CMD_FIELD_MISSING);
    EXPECT_EQ(log.take(), (LogLines{{LOG_ERROR, reporter, "SOP Instance UID missing or invalid"},
                                    {LOG_VALIDATION, "DcCmd::elemListVerify",
                                     "T_0000_1000_affectedSopInstanceUid missing from command"}}));
    (void)store.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3.4"));
    EXPECT_EQ(store.elemListVerify(), 0);
    EXPECT_EQ(textOf(store, sopClass), "1.2.840.10008.5.1.4.1.1.2");
    EXPECT_EQ(textOf(store, sopInstance), "1.2.3.4");
    EXPECT_EQ(numberOf(store, T_0000_0700_priority), 0);
    EXPECT_TRUE(log.take().empty());
}

TEST(Cmd, WhatIsAddedBelongsToTheCommand) {
    CaptureLog log;
    DcCmdCFindRq find;
    EXPECT_EQ(find.add(static_cast<DcElem*>(nullptr)), nullptr);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Null argument passed for element"));
    EXPECT_EQ(find.add(static_cast<DcElemList*>(nullptr)), nullptr);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Null argument passed for element list"));

    auto* keys = new DcElemList;
    keys->add(patientName());
    find + new DcElem(T_0000_0700_priority, static_cast<unsigned short>(2)) + keys;
    EXPECT_EQ(textOf(find, T_0010_0010_patientsName), "Doe^Jane");

    DcCmdCEchoRq echo;
    keys = new DcElemList;
    keys->add(patientName());
    EXPECT_EQ(echo.add(keys), nullptr);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Dataset not allowed for this command"));
    EXPECT_EQ(echo.count(), 2);

    const DcCmdParm own[] = {{0x0900, 2}, {0x0902, CMD_USAGE_CONDITIONAL}, {TAG_LIST_END, 0}};
    (void)echo.setParmList(own);
    (void)echo.elemListVerify();
    EXPECT_TRUE(
        log.tookOnly(LOG_VALIDATION, "DcCmd::elemListVerify", "T_0000_0900_status missing from command"));
    (void)echo.setParmList(nullptr);
    EXPECT_EQ(echo.add(new DcElem(messageId, static_cast<unsigned short>(1))), nullptr);
    EXPECT_TRUE(
        log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Parameter list not initialized for this command"));
}

// What responses take from their requests, in order: the field, where it goes ("" when it may be missing),
// and what a missing one is called.
struct Copy {
    unsigned int from;
    unsigned int to;
    const char* missing;
};
const char* const classMissing = "T_0000_0002_affectedSopClassUid";
const char* const idMissing = "T_0000_0110_messageId";
const char* const instanceMissing = "T_0000_1000_affectedSopInstanceUid";
const std::vector<Copy> classAndId = {{0x0002, 0x0002, classMissing}, {0x0110, 0x0120, idMissing}};
const struct {
    const char* response;
    int request;
    int codes[3];  // missing, null, wrong
    std::vector<Copy> copies;
} answers[] = {
    {"DcCmdCStoreRsp",
     0x0001,
     {4609, 4611, 4612},
     {{0x0002, 0x0002, classMissing},
      {0x0200, 0x0300, ""},
      {0x0300, 0x0200, ""},
      {0x0110, 0x0120, idMissing},
      {0x1000, 0x1000, instanceMissing}}},
    {"DcCmdCEchoRsp", 0x0030, {4609, 4611, 4612}, classAndId},
    {"DcCmdCFindRsp", 0x0020, {4609, 4611, 4612}, classAndId},
    {"DcCmdCGetRsp", 0x0010, {4609, 4611, 4612}, classAndId},
    {"DcCmdCMoveRsp", 0x0021, {4609, 4611, 4612}, classAndId},
    {"DcCmdNCreateRsp",
     0x0140,
     {4609, 4611, 4612},
     {{0x0110, 0x0120, idMissing}, {0x0002, 0x0002, classMissing}, {0x1000, 0x1000, instanceMissing}}},
    {"DcCmdNEventRsp",
     0x0100,
     {4609, 4611, 4612},
     {{0x0002, 0x0002, classMissing},
      {0x0110, 0x0120, idMissing},
      {0x1000, 0x1000, instanceMissing},
      {0x1002, 0x1002, "T_0000_1002_eventTypeId"}}},
    {"DcCmdNSetRsp",
     0x0120,
     {4609, 4611, 4612},
     {{0x0110, 0x0120, idMissing},
      {0x0003, 0x0002, classMissing},
      {0x1001, 0x1000, "T_0000_1001_requestedSopInstanceUid"}}},
    {"DcCmdNActionRsp",
     0x0130,
     {11777, 11779, 11780},
     {{0x0110, 0x0120, idMissing}, {0x1008, 0x1008, "T_0000_1008_actionTypeId"}}},
    {"DcCmdNGetRsp", 0x0110, {13825, 13827, 13828}, {{0x0110, 0x0120, idMissing}}},
    {"DcCmdNDeleteRsp", 0x0150, {12801, 12803, 12804}, {{0x0110, 0x0120, idMissing}}},
};

// A request with every field that any response could take, each with a value of its own.
Command requestWithAll(int type) {
    Command request = make(type);
    for (const unsigned int tag : {0x0002u, 0x0003u, 0x1000u, 0x1001u}) {
        (void)request->add(new DcElem(tag, ("1.2." + std::to_string(tag)).c_str()));
    }
    for (const unsigned int tag : {0x0200u, 0x0300u}) {
        (void)request->add(new DcElem(tag, ("AE" + std::to_string(tag)).c_str()));
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
        char name[61];
        (void)request->getDesc(name);

        const Command whole = make(row.request | 0x8000);
        EXPECT_EQ(whole->parseRequest(request.get()), 0);
        EXPECT_EQ(whole->count(), 2 + static_cast<int>(row.copies.size()));
        for (const Copy& c : row.copies) EXPECT_EQ(textOf(*whole, c.to), textOf(*request, c.from)) << c.from;
        EXPECT_TRUE(log.take().empty());

        EXPECT_EQ(whole->parseRequest(nullptr), row.codes[1]);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, reporter, "Null argument passed"));
        DcCmdCCancelRq other;
        EXPECT_EQ(whole->parseRequest(&other), row.codes[2]);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, reporter, "Incompatible RQ command - 'C-CANCEL-RQ'"));

        // One field away at a time: the fields before it are taken, those after it are not.
        for (std::size_t gone = 0; gone < row.copies.size(); ++gone) {
            const Command poor = requestWithAll(row.request);
            DcElemList taken;
            (void)poor->moveElem(&taken, row.copies[gone].from);
            const Command response = make(row.request | 0x8000);
            const std::string text = row.copies[gone].missing;
            EXPECT_EQ(response->parseRequest(poor.get()), text.empty() ? 0 : row.codes[0]);
            for (std::size_t i = 0; i < row.copies.size(); ++i) {
                const bool copied = i < gone || (text.empty() && i != gone);
                EXPECT_EQ(response->getValueCount(row.copies[i].to), copied ? 1 : -1) << gone << i;
            }
            if (text.empty()) continue;
            EXPECT_TRUE(log.tookOnly(LOG_ERROR, reporter, text + " missing in " + name));
        }
    }
}

TEST(Cmd, AResponseTravelsOnItsRequestsContext) {
    DcCmdCStoreRq request;
    DcPduInfoTf info;
    info.presCtxId = 5;
    info.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    info.maxPduLen = 16384;
    ASSERT_EQ(request.setInfo(info), 0);
    request + new DcElem(sopClass, "1.2.3.4.5") + new DcElem(sopInstance, "1.2.3") +
        new DcElem(T_0000_0200_initiator, "AAA") + new DcElem(T_0000_0300_receiver, "BBB") +
        new DcElem(messageId, static_cast<unsigned short>(7));
    DcCmdCStoreRsp response(&request);
    DcPduInfoTf answered;
    (void)response.getInfo(answered);
    EXPECT_EQ(answered.presCtxId, 5);
    EXPECT_EQ(textOf(response, T_0000_0200_initiator), "BBB");
    EXPECT_EQ(textOf(response, T_0000_0300_receiver), "AAA");
    EXPECT_EQ(textOf(response, sopClass), "1.2.3.4.5");  // registered or not
    EXPECT_EQ(numberOf(response, answeredId), 7);
}

TEST(Cmd, TheFactoryMakesTheClassOfTheCommandField) {
    CaptureLog log;
    for (const auto& row : printed) {
        DcPduDataTf received;
        received + new DcElem(0x0100, static_cast<unsigned short>(row.field)) +
            new DcElem(messageId, static_cast<unsigned short>(9));
        DcElem* const id = received.last();
        DcPduInfoTf info;
        info.presCtxId = 3;
        info.msgCtrl = 3;
        info.xferSyn = UID_LITTLE_ENDIAN_IMPLICIT;
        info.maxPduLen = 1;
        (void)received.setInfo(info);
        const orvkit::ReceivedMsg made = orvkit::makeReceived(received);
        EXPECT_EQ(made.result, 0);
        EXPECT_EQ(made.message->getType(), row.field);
        EXPECT_EQ(typeid(*made.message), typeid(*make(row.field)));
        EXPECT_EQ(made.message->last(), id) << "moved, not copied";
        EXPECT_EQ(made.message->count(), 2);
        EXPECT_EQ(received.count(), 0);
        info = {};
        (void)made.message->getInfo(info);
        EXPECT_EQ(info.presCtxId, 3);
        EXPECT_EQ(info.msgCtrl, 3);
    }
    EXPECT_TRUE(log.take().empty());

    DcPduDataTf unknown;
    unknown + new DcElem(0x0100, static_cast<unsigned short>(0x0031));
    const orvkit::ReceivedMsg made = orvkit::makeReceived(unknown);
    EXPECT_EQ(made.result, MSG_COMMAND_TYPE);
    EXPECT_EQ(made.message->getType(), MSG_TYPE_UNKNOWN);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcMsg::parseType", "Invalid Command Type 0x0031"));

    DcPduDataTf dataset;
    dataset + patientName();
    const orvkit::ReceivedMsg data = orvkit::makeReceived(dataset);
    EXPECT_EQ(data.result, 0);
    EXPECT_EQ(data.message->getType(), MSG_TYPE_DATASET);
    EXPECT_EQ(dynamic_cast<DcCmd*>(data.message.get()), nullptr);
}

}  // namespace
