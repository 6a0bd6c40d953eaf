#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "network/pdus.h"
#include "orvkit/dict.h"
#include "orvkit/pdu.h"
#include "orvkit/result.h"
#include "support/capture_log.h"

namespace {

DcPduPresCtx contextOf(int id, int itemType = PRES_CTX_TYPE_RQ) {
    DcPduPresCtx context;
    context.itemType = itemType;
    context.presCtxId = id;
    context.abstractSyntax = UID_VERIFICATION;
    context.addXferSyn(UID_LITTLE_ENDIAN_IMPLICIT);
    return context;
}

DcPduInfoAcRq infoOf(const char* called, const char* calling) {
    DcPduInfoAcRq info;
    std::snprintf(info.calledAeTitle, sizeof info.calledAeTitle, "%s", called);
    std::snprintf(info.callingAeTitle, sizeof info.callingAeTitle, "%s", calling);
    std::snprintf(info.appCtxName, sizeof info.appCtxName, "%s", kAppCtxUid.c_str());
    std::snprintf(info.implClassUid, sizeof info.implClassUid, "1.2.3");
    std::snprintf(info.implVerName, sizeof info.implVerName, "V1");
    info.maxPduLen = 0x4000;
    return info;
}

using Contexts = std::vector<std::unique_ptr<DcPduPresCtx>>;

Contexts contextsOf(const DcPduAssoAcRq& pdu) {
    DcPduPresCtx* slots[PDU_PRES_CTX_MAX];
    EXPECT_EQ(pdu.getPresCtxList(slots), RESULT_OK);
    Contexts all;
    for (DcPduPresCtx* slot : slots) {
        if (slot != nullptr) all.emplace_back(slot);
    }
    return all;
}

TEST(AssociationPdu, RequestIsFramedByteForByte) {
    DcPduAssoRq request;
    DcPduInfoAcRq info = infoOf(" STORE ", "ME");
    request.setInfo(&info);
    DcPduPresCtx context = contextOf(1);
    context.addXferSyn(UID_LITTLE_ENDIAN_EXPLICIT);
    context.role = 2;
    EXPECT_EQ(request.presCtxItemAdd(&context), RESULT_OK);
    EXPECT_EQ(sent(request), Association().bytes());

    DcPduAssoAc answer;
    answer.setInfo(&info);
    DcPduPresCtx accepted = contextOf(1, PRES_CTX_TYPE_AC);
    accepted.result = 0;
    DcPduPresCtx refused;
    refused.itemType = PRES_CTX_TYPE_AC;
    refused.presCtxId = 3;
    refused.result = 3;
    EXPECT_EQ(answer.presCtxItemAdd(&accepted), RESULT_OK);
    EXPECT_EQ(answer.presCtxItemAdd(&refused), RESULT_OK);
    Association expected;
    expected.type = 2;
    expected.context =
        joined({item(0x21, joined({{1, 0, 0, 0}, item(0x40, kImplicitUid)})), item(0x21, Bytes{3, 0, 3, 0})});
    expected.userInfo = joined({item(0x51, Bytes{0, 0, 0x40, 0}), item(0x52, "1.2.3"), item(0x55, "V1")});
    EXPECT_EQ(sent(answer), expected.bytes());
}

TEST(AssociationPdu, RequestIsReadBackWhole) {
    DcPduAssoRq request;
    ASSERT_EQ(readFrom(request, Association().bytes()), RESULT_OK);
    DcPduInfoAcRq info;
    EXPECT_EQ(request.getInfo(&info), RESULT_OK);
    EXPECT_STREQ(info.calledAeTitle, "STORE           ");
    EXPECT_STREQ(info.callingAeTitle, "ME              ");
    EXPECT_STREQ(info.appCtxName, kAppCtxUid.c_str());
    EXPECT_STREQ(info.implClassUid, "1.2.3");
    EXPECT_STREQ(info.implVerName, "V1");
    EXPECT_EQ(info.maxPduLen, 0x4000u);
    const Contexts contexts = contextsOf(request);
    ASSERT_EQ(contexts.size(), 1u);
    EXPECT_EQ(contexts[0]->itemType, PRES_CTX_TYPE_RQ);
    EXPECT_EQ(contexts[0]->presCtxId, 1);
    EXPECT_EQ(contexts[0]->abstractSyntax, UID_VERIFICATION);
    EXPECT_EQ(contexts[0]->role, 2);
    EXPECT_EQ(contexts[0]->xferSyn[1], UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(contexts[0]->xferSyn[2], UID_NONE);
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX];
    EXPECT_EQ(request.getScpScuRoleList(roles), RESULT_OK);
    EXPECT_EQ(roles[0].abstractSyntax, UID_VERIFICATION);
    EXPECT_EQ(roles[0].role, 2);
    EXPECT_EQ(roles[1].abstractSyntax, UID_NONE);
    // Sent on, it has the bytes that came.
    EXPECT_EQ(sent(request), Association().bytes());
    EXPECT_EQ(request.deletePresCtxList(), RESULT_OK);
    EXPECT_TRUE(contextsOf(request).empty());
}

TEST(AssociationPdu, ReadingToleratesWhatPeersDo) {
    CaptureLog log;
    Association a;
    a.called = "  AB\0           ";
    a.called.resize(16, '\0');
    // An unknown abstract syntax, and unknown and known transfer syntaxes of which the 33rd is not looked at.
    Bytes syntaxes;
    for (int i = 0; i < 31; ++i) append(syntaxes, item(0x40, "9.9." + std::to_string(i)));
    append(syntaxes, joined({item(0x40, kExplicitUid + '\0'), item(0x40, kImplicitUid)}));
    a.context = item(0x20, joined({{5, 0, 0, 0}, item(0x30, "9.8.7"), syntaxes}));
    a.userInfo = joined({item(0x53, Bytes{0, 1, 0, 1}), item(0x56, "any"), item(0x51, Bytes{0, 0, 0, 9})});
    DcPduAssoRq request;
    ASSERT_EQ(readFrom(request, a.bytes()), RESULT_OK);
    EXPECT_TRUE(
        log.tookOnly(LOG_VALIDATION, "DcPduAssoAcRq::parsePresCtxItem", "Unsupported/unknown UID '9.8.7'"));
    DcPduInfoAcRq info;
    request.getInfo(&info);
    EXPECT_STREQ(info.calledAeTitle, "AB              ");
    EXPECT_EQ(info.maxPduLen, 9u);
    EXPECT_STREQ(info.implClassUid, "");
    const Contexts contexts = contextsOf(request);
    ASSERT_EQ(contexts.size(), 1u);
    EXPECT_EQ(contexts[0]->abstractSyntax, UID_NONE);
    EXPECT_EQ(contexts[0]->xferSyn[0], UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(contexts[0]->xferSyn[1], UID_NONE);

    // The syntax of a refused context is passed over; a refusal needs none.
    Association ac;
    ac.type = 2;
    ac.context =
        joined({item(0x21, joined({{1, 0, 4, 0}, item(0x40, std::string(70, '1'))})),
                item(0x21, Bytes{3, 0, 3, 0}), item(0x21, joined({{5, 0, 0, 0}, item(0x40, kImplicitUid)}))});
    DcPduAssoAc answer;
    ASSERT_EQ(readFrom(answer, ac.bytes()), RESULT_OK);
    const Contexts answers = contextsOf(answer);
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(answers[0]->result, 4);
    EXPECT_EQ(answers[0]->xferSyn[0], UID_NONE);
    EXPECT_EQ(answers[1]->result, 3);
    EXPECT_EQ(answers[2]->xferSyn[0], UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(log.take(), LogLines{});

    // Only the sub-items of a context count, not the length that it claims.
    Association loose;
    loose.context[2] = loose.context[3] = 0;
    DcPduAssoRq other;
    EXPECT_EQ(readFrom(other, loose.bytes()), RESULT_OK);
    // A user information length of 0 hides the items behind it.
    Bytes hidden = Association().bytes();
    const std::size_t lengthAt = hidden.size() - Association().userInfo.size() - 2;
    hidden[lengthAt] = hidden[lengthAt + 1] = 0;
    EXPECT_EQ(readFrom(other, hidden), RESULT_OK);
    EXPECT_EQ(other.getInfo(&info), RESULT_OK);
    EXPECT_EQ(info.maxPduLen, 0u);
    EXPECT_EQ(log.take(), LogLines{});
    // One that claims more than there is ends with a message, and no failure.
    hidden[lengthAt] = 0xFF;
    EXPECT_EQ(readFrom(other, hidden), RESULT_OK);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduAssoAcRq::read", "Empty Calling AE title string"));
}

struct Refusal {
    const char* what;
    std::function<void(Association&)> change;
    LogLines lines;
};

TEST(AssociationPdu, MalformedRequestsAreRefusedByName) {
    const std::string read = "DcPduAssoAcRq::read";
    const std::string walk = "DcPduAssoAcRq::varItemWalk";
    const std::string sub = "DcPduAssoAcRq::parseSubItem";
    const std::string role = "DcPduAssoAcRq::parseScpScuRole";
    const Bytes maxLength = item(0x51, Bytes{0, 0, 0x40, 0});
    const Refusal refusals[] = {
        {"version", [](auto& a) { a.version = 2; }, {{LOG_ERROR, read, "Invalid protocol version - 0x0002"}}},
        {"called",
         [](auto& a) { a.called.assign(16, ' '); },
         {{LOG_ERROR, read, "Empty Called AE title string"}}},
        {"calling",
         [](auto& a) { a.calling.assign(16, '\0'); },
         {{LOG_ERROR, read, "Empty Calling AE title string"}}},
        {"first item",
         [](auto& a) { a.appCtx[0] = 0x11; },
         {{LOG_ERROR, walk, "Invalid sub item type 0x0011, expecting PDU_ASSO_ITEM_APP_CTX"}}},
        {"long first item",
         [](auto& a) { a.appCtx[2] = 0xFF; },
         {{LOG_ERROR, walk, "Insufficient buffer after PDU_ASSO_ITEM_APP_CTX"}}},
        {"no context",
         [](auto& a) { a.context.clear(); },
         {{LOG_ERROR, walk, "Invalid sub item type 0x0050, expecting PDU_ASSO_ITEM_PRES_AC/RQ"}}},
        {"no abstract syntax",
         [](auto& a) { a.context[8] = 0x40; },
         {{LOG_ERROR, walk, "Invalid type 0x0040 in sub item #0, expecting PDU_ASSO_ITEM_ABST_SYN"}}},
        {"long transfer syntax",
         [](auto& a) { a.context[a.context.size() - kExplicitUid.size() - 2] = 0xFF; },
         {{LOG_ERROR, walk, "Buffer length exceeded in sub item #0"}}},
        {"mixed contexts",
         [](auto& a) {
             append(a.context, item(0x21, joined({{1, 0, 0, 0}, item(0x40, kImplicitUid)})));
         },
         {{LOG_ERROR, walk, "Invalid sub item type 0x0021, expecting PDU_ASSO_ITEM_USER_INFO"}}},
        {"unknown user item",
         [](auto& a) { append(a.userInfo, item(0x58, "x")); },
         {{LOG_ERROR, walk, "Invalid sub item type 0x0058 past PDU_ASSO_ITEM_USER_INFO"}}},
        {"no maximum length",
         [](auto& a) { a.userInfo = item(0x55, "V"); },
         {{LOG_ERROR, walk, "maxPduLen missing"}}},
        {"long last item",
         [](auto& a) { a.userInfo[a.userInfo.size() - 3] = 9; },
         {{LOG_ERROR, walk, "Invalid buffer length past all sub items"}}},
        {"long only item",
         [](auto& a) {
             a.userInfo = {0x55, 0, 0, 9};
         },
         {{LOG_ERROR, walk, "Invalid buffer length past all sub items"},
          {LOG_ERROR, walk, "maxPduLen missing"}}},
        {"short maximum length",
         [](auto& a) {
             a.userInfo = item(0x51, Bytes{0, 0});
         },
         {{LOG_ERROR, read, "maxPduLen missing"}}},
        {"application context name",
         [](auto& a) { a.appCtx = item(0x10, std::string(65, '1')); },
         {{LOG_ERROR, sub, "Sub item length 0x0041 exceeds buffer length 0x0040 (64)"},
          {LOG_ERROR, read, "Invalid Application Context Name"}}},
        {"transfer syntax",
         [](auto& a) {
             append(a.context, item(0x20, joined({{3, 0, 0, 0},
                                                  item(0x30, kVerificationUid),
                                                  item(0x40, std::string(65, '1'))})));
         },
         {{LOG_ERROR, sub, "Sub item length 0x0041 exceeds buffer length 0x0040 (64)"},
          {LOG_ERROR, read, "Invalid Presentation Context Item #1"}}},
        {"version name",
         [&](auto& a) {
             a.userInfo = joined({maxLength, item(0x55, std::string(17, 'v'))});
         },
         {{LOG_ERROR, sub, "Sub item length 0x0011 exceeds buffer length 0x0010 (16)"}}},
        {"role item",
         [&](auto& a) {
             a.userInfo = joined({maxLength, item(0x54, std::string(4096, 'r'))});
         },
         {{LOG_ERROR, role, "Item length 0x1000 exceeds buffer length 0x0fff"}}},
        {"role UID",
         [&](auto& a) {
             a.userInfo = joined({maxLength, item(0x54, Bytes{0, 3, '1', '.', 1})});
         },
         {{LOG_ERROR, role, "Mismatch in item 0x0005 and UID string length 0x0003"}}},
        {"empty role",
         [&](auto& a) {
             a.userInfo = joined({maxLength, item(0x54, Bytes{})});
         },
         {{LOG_ERROR, role, "Mismatch in item 0x0000 and UID string length 0x0000"}}},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.what);
        Association a;
        refusal.change(a);
        CaptureLog log;
        DcPduAssoRq request;
        EXPECT_EQ(readFrom(request, a.bytes()), ACRQ_INVALID);
        EXPECT_EQ(log.take(), refusal.lines);
    }
}

TEST(AssociationPdu, ReadingSurvivesEveryTruncation) {
    CaptureLog log;
    Association ac;
    ac.type = 2;
    ac.context = item(0x21, joined({{1, 0, 0, 0}, item(0x40, kImplicitUid)}));
    const auto sweep = [&](const Bytes& whole, int code, auto make) {
        for (std::size_t n = 0; n < whole.size(); ++n) {
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
            auto early = make();  // the connection ends inside of the PDU
            EXPECT_EQ(readFrom(*early, cut), n < 2 ? DATATF_SOCKET : code) << n;
            if (n < 6) continue;
            auto shorter = make();  // the PDU ends there by its own length
            const int result = readFrom(*shorter, pdu(whole[0], Bytes(cut.begin() + 6, cut.end())));
            EXPECT_TRUE(result == RESULT_OK || result == code) << n << ' ' << result;
            // Whole user items are there, but fewer than claimed: told, and no failure.
            if (whole[0] <= 2 && result == RESULT_OK) {
                EXPECT_EQ(log.lines().back().text, "Empty Calling AE title string") << n;
            }
            log.clear();
        }
    };
    sweep(Association().bytes(), ACRQ_INVALID, [] { return std::make_unique<DcPduAssoRq>(); });
    sweep(ac.bytes(), ACRQ_INVALID, [] { return std::make_unique<DcPduAssoAc>(); });
    sweep(pdu(3, {0, 1, 2, 3}), RJ_ABSENT, [] { return std::make_unique<DcPduAssoRj>(); });
    sweep(pdu(5, {0, 0, 0, 0}), RELEASE_READ, [] { return std::make_unique<DcPduReleaseRq>(); });
    sweep(pdu(7, {0, 0, 2, 1}), ABORT_READ, [] { return std::make_unique<DcPduAbort>(); });
}

TEST(AssociationPdu, LargestRequestFitsWhateverTheMaximum) {
    DcPduAssoRq request;
    DcPduInfoAcRq info = infoOf("A", "B");
    request.setInfo(&info);
    DcPduInfo connection{16, 45, 15};
    request.setInfo(connection);
    char longUid[65];
    std::snprintf(longUid, sizeof longUid, "1.2.%s", std::string(60, '7').c_str());
    DICT_UID uid = UID_NONE;
    ASSERT_EQ(Dict.add(longUid, "Long", &uid, UID_TYPE_XFER_SYN), RESULT_OK);
    DcPduPresCtx context;
    context.itemType = PRES_CTX_TYPE_RQ;
    context.abstractSyntax = uid;
    context.role = 1;
    for (int i = 0; i < PDU_XFER_SYN_MAX + 1; ++i) context.addXferSyn(uid);
    EXPECT_EQ(context.xferSynEnd, 0);
    for (context.presCtxId = 0; context.presCtxId < PDU_PRES_CTX_MAX; ++context.presCtxId) {
        ASSERT_EQ(request.presCtxItemAdd(&context), RESULT_OK);
    }
    const Bytes bytes = sent(request);
    EXPECT_EQ(bytes.size(), 74u + 25 + 512 * (8 + 68 + 32 * 68) + 4 + 8 + 9 + 512 * 72 + 6);

    CaptureLog log;
    EXPECT_EQ(request.presCtxItemAdd(&context), ACRQ_CONTEXT_LIMIT);
    EXPECT_TRUE(
        log.tookOnly(LOG_ERROR, "DcPduAssoAcRq::presCtxItemAdd", "Presentation context limit reached"));

    DcPduAssoRq back;
    SocketPair sockets;
    std::thread sender([&] { sockets.send(bytes); });
    back.setSockConv(sockets.ours());
    PDU_TYPE type;
    EXPECT_EQ(back.readType(type, PDU_BLOCK_WAIT), RESULT_OK);
    EXPECT_EQ(back.read(PDU_BLOCK_WAIT), RESULT_OK);
    sender.join();
    const Contexts contexts = contextsOf(back);
    ASSERT_EQ(contexts.size(), 512u);
    EXPECT_EQ(contexts[511]->xferSyn[31], uid);
    EXPECT_EQ(contexts[0]->role, 1);
    EXPECT_EQ(contexts[1]->role, 0) << "a role goes to the first context of its abstract syntax";
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX];
    back.getScpScuRoleList(roles);
    EXPECT_EQ(roles[511].abstractSyntax, uid);
    EXPECT_EQ(Dict.subtract(longUid), RESULT_OK);
}

TEST(AssociationPdu, WhatCannotBeFramedIsRefusedByName) {
    CaptureLog log;
    const auto refused = [&](DcPdu& pdu, int code, LOG_MSG level, const char* reporter, const char* text) {
        EXPECT_TRUE(sent(pdu, code).empty()) << text;
        EXPECT_TRUE(log.tookOnly(level, reporter, text)) << text;
    };
    const char* const frame = "DcPduAssoAcRq::frameAsso";
    DcPduAssoAcRq other(PDU_TYPE_ASSO_RJ);
    refused(other, ACRQ_PDU_TYPE, LOG_ERROR, frame, "Invalid PDU type");
    DcPduAssoRq request;
    refused(request, ACRQ_INVALID, LOG_ERROR, frame, "AC/RQ association data does not exist");
    DcPduInfoAcRq info = infoOf("  ", "ME");
    request.setInfo(&info);
    refused(request, ACRQ_INVALID, LOG_ERROR, frame, "Invalid calledAeTitle");
    info = infoOf("A", "");
    request.setInfo(&info);
    refused(request, ACRQ_INVALID, LOG_ERROR, frame, "Invalid callingAeTitle");
    info = infoOf("A", "B");
    request.setInfo(&info);
    refused(request, ACRQ_INVALID, LOG_ERROR, frame, "No presentation context items");
    DcPduAssoRj reject;
    refused(reject, RJ_ABSENT, LOG_ERROR, "DcPduAssoRj::frameAsso", "RJ association data does not exist");
    DcPduAbort abort;
    refused(abort, ABORT_ABSENT, LOG_VALIDATION, "DcPduAbort::frameAsso", "Abort data does not exist");
    DcPdu nothing;
    EXPECT_TRUE(sent(nothing, DATATF_SOCKET).empty());

    // A context that cannot be framed is left out; the others go.
    const char* const item = "DcPduAssoAcRq::presCtxItemFrame";
    DcPduPresCtx bare = contextOf(3);
    bare.xferSyn[0] = UID_NONE;
    request.presCtxItemAdd(&bare);
    EXPECT_TRUE(sent(request, ACRQ_INVALID).empty());
    EXPECT_EQ(log.take(), (LogLines{{LOG_ERROR, item, "No Transfer Syntax present"},
                                    {LOG_ERROR, frame, "No presentation context items"}}));
    DcPduAssoAc answer;
    answer.setInfo(&info);
    DcPduPresCtx two = contextOf(1, PRES_CTX_TYPE_AC);
    two.addXferSyn(UID_LITTLE_ENDIAN_EXPLICIT);
    answer.presCtxItemAdd(&two);
    DcPduPresCtx one = contextOf(3, PRES_CTX_TYPE_AC);
    answer.presCtxItemAdd(&one);
    const Bytes bytes = sent(answer);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, item, "2 Transfer Syntaxes, must not exceed one"));
    EXPECT_EQ(bytes[74 + 25 + 4], 3) << "the ID of the only context";
}

TEST(AssociationPdu, ArgumentsAreRefusedByName) {
    CaptureLog log;
    const auto refused = [&](int result, int code, LOG_MSG level, const char* reporter, const char* text) {
        EXPECT_EQ(result, code) << text;
        EXPECT_TRUE(log.tookOnly(level, reporter, text)) << reporter << ' ' << text;
    };
    const char* const null = "Null argument passed";
    const char* const adding = "DcPduAssoAcRq::presCtxItemAdd";
    DcPduAssoRq request;
    DcPduAssoAc answer;
    DcPduAssoAcRq other(PDU_TYPE_ABORT);
    DcPduAssoRj reject;
    DcPduAbort abort;
    DcPduInfoAcRq info = infoOf("A", "B");
    refused(request.setInfo(nullptr), ACRQ_NULL_ARGUMENT, LOG_ERROR, "DcPduAssoAcRq::setInfo", null);
    refused(request.getInfo(nullptr), ACRQ_INVALID, LOG_ERROR, "DcPduAssoAcRq::getInfo",
            "AC/RQ data does not exist");
    request.setInfo(&info);
    refused(request.getInfo(nullptr), ACRQ_NULL_ARGUMENT, LOG_ERROR, "DcPduAssoAcRq::getInfo", null);
    refused(reject.setInfo(nullptr), RJ_NULL_ARGUMENT, LOG_ERROR, "DcPduAssoRj::setInfo", null);
    refused(abort.setInfo(nullptr), ABORT_NULL_ARGUMENT, LOG_VALIDATION, "DcPduAbort::setInfo", null);
    DcPduPresCtx rq = contextOf(1);
    DcPduPresCtx ac = contextOf(1, PRES_CTX_TYPE_AC);
    refused(request.presCtxItemAdd(nullptr), ACRQ_NULL_ARGUMENT, LOG_ERROR, adding, null);
    refused(request.presCtxItemAdd(&ac), ACRQ_INVALID, LOG_ERROR, adding,
            "Invalid presCtxItem 0x0021, expecting PRES_CTX_TYPE_RQ");
    refused(answer.presCtxItemAdd(&rq), ACRQ_INVALID, LOG_ERROR, adding,
            "Invalid presCtxItem 0x0020, expecting PRES_CTX_TYPE_AC");
    refused(other.presCtxItemAdd(&rq), ACRQ_INVALID, LOG_ERROR, adding, "Invalid PDU type 0x0007");
    EXPECT_EQ(request.presCtxItemAdd(&rq), RESULT_OK);
    refused(request.presCtxItemAdd(&rq), ACRQ_CONTEXT_EXISTS, LOG_ERROR, adding,
            "Presentation context already in list");
}

}  // namespace
