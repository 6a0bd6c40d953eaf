
#include <functional>
#include <sstream>

#include "network/asso_pdu.h"
#include "network/pdu_access.h"
#include "network/pdus.h"
#include "orvkit/dict.h"
#include "support/capture_log.h"

using orvkit::AssoFault;

namespace {

DcPduInfoAcRq infoOf(const std::string& called, const std::string& calling) {
    DcPduInfoAcRq info;
    called.copy(info.calledAeTitle, 16);
    calling.copy(info.callingAeTitle, 16);
    kAppCtxUid.copy(info.appCtxName, 64);
    std::string("1.2.3").copy(info.implClassUid, 64);
    std::string("V1").copy(info.implVerName, 16);
    info.maxPduLen = 0x4000;
    return info;
}

// "ID item type/abstract syntax/result/role:transfer syntaxes" of each context.
std::string contextsOf(const DcPduAssoAcRq& pdu) {
    DcPduPresCtx* slots[PDU_PRES_CTX_MAX];
    EXPECT_EQ(pdu.getPresCtxList(slots), RESULT_OK);
    std::ostringstream all;
    for (DcPduPresCtx* slot : slots) {
        const std::unique_ptr<DcPduPresCtx> c(slot);
        if (c == nullptr) continue;
        all << c->presCtxId << ' ' << c->itemType << '/' << c->abstractSyntax << '/' << c->result << '/'
            << c->role;
        for (const DICT_UID* x = c->xferSyn; x != std::end(c->xferSyn) && *x != UID_NONE; ++x)
            all << ':' << *x;
        all << '\n';
    }
    return all.str();
}

// That what was read is sent on byte for byte is seen in the table of the negotiation's items.
TEST(AssociationPdu, WhatWasReadIsGiven) {
    DcPduAssoRq request;
    ASSERT_EQ(readFrom(request, Association().bytes()), RESULT_OK);
    DcPduInfoAcRq info;
    EXPECT_EQ(request.getInfo(&info), RESULT_OK);
    EXPECT_STREQ(info.calledAeTitle, "STORE           ");
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX];
    EXPECT_EQ(request.getScpScuRoleList(roles), RESULT_OK);
    EXPECT_EQ(roles[0].abstractSyntax, UID_VERIFICATION);
    EXPECT_EQ(roles[0].role, 2);
    EXPECT_EQ(roles[1].abstractSyntax, UID_NONE);
    EXPECT_EQ(request.deletePresCtxList(), RESULT_OK);
    EXPECT_EQ(contextsOf(request), "");
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
    // The longest UID in a role, and nobody's.
    const Bytes role = item(0x54, joined({{0, 64}, Bytes(64, '1'), {1, 0}}));
    a.userInfo =
        joined({item(0x53, Bytes{0, 1, 0, 1}), item(0x56, "any"), role, item(0x51, Bytes{0, 0, 0, 9})});
    DcPduAssoRq request;
    ASSERT_EQ(readFrom(request, a.bytes()), RESULT_OK);
    log.expect(LOG_VALIDATION, "DcPduAssoAcRq::parsePresCtxItem", "Unsupported/unknown UID '9.8.7'");
    DcPduInfoAcRq info;
    request.getInfo(&info);
    EXPECT_STREQ(info.calledAeTitle, "AB              ");
    EXPECT_EQ(info.maxPduLen, 9u);
    EXPECT_STREQ(info.implClassUid, "");
    EXPECT_EQ(contextsOf(request), "5 32/0/0/0:174\n");

    // The syntax of a refused context is passed over; a refusal needs none.
    Association ac;
    ac.type = 2;
    ac.context =
        joined({item(0x21, joined({{1, 0, 4, 0}, item(0x40, std::string(70, '1'))})),
                item(0x21, Bytes{3, 0, 3, 0}), item(0x21, joined({{5, 0, 0, 0}, item(0x40, kImplicitUid)}))});
    DcPduAssoAc answer;
    ASSERT_EQ(readFrom(answer, ac.bytes()), RESULT_OK);
    EXPECT_EQ(contextsOf(answer), "1 33/0/4/0\n3 33/0/3/0\n5 33/0/0/0:173\n");
    EXPECT_EQ(log.take(), LogLines{});

    // Only the sub-items of a context count, not the length that it claims.
    Association loose;
    loose.context[2] = loose.context[3] = 0;
    DcPduAssoRq other;
    EXPECT_EQ(readFrom(other, loose.bytes()), RESULT_OK);
}

// "method: text" of each line, all of them errors of the class.
std::string errorsOf(CaptureLog& log) {
    const std::string of = "DcPduAssoAcRq::";
    std::string all;
    for (const LogLine& line : log.take()) {
        EXPECT_EQ(line.level, LOG_ERROR);
        EXPECT_EQ(line.reporter.substr(0, of.size()), of);
        all += (all.empty() ? "" : "; ") + line.reporter.substr(of.size()) + ": " + line.text;
    }
    return all;
}

TEST(AssociationPdu, MalformedRequestsAreRefusedByName) {
    const auto ones = [](std::size_t n) { return std::string(n, '1'); };
    const auto userInfo = [](const Bytes& behind) {
        return [=](Association& a) { a.userInfo = joined({item(0x51, Bytes{0, 0, 0x40, 0}), behind}); };
    };
    const struct {
        std::function<void(Association&)> change;
        const char* error;
        AssoFault fault = AssoFault::badItem;
    } refusals[] = {
        {[](auto& a) { a.version = 2; }, "Invalid protocol version - 0x0002", AssoFault::version},
        {[](auto& a) { a.called.assign(16, ' '); }, "Empty Called AE title", AssoFault::calledTitle},
        {[](auto& a) { a.appCtx[0] = 0x11; }, "0x0011, expecting PDU_ASSO_ITEM_APP_CTX",
         AssoFault::unknownItem},
        {[](auto& a) { a.context[8] = 0x40; }, "0x0040 in sub item #0, expecting PDU_ASSO_ITEM_ABST_SYN",
         AssoFault::misplacedItem},
        {[](auto& a) { a.context[a.context.size() - kExplicitUid.size() - 2] = 0xFF; },
         "Buffer length exceeded in sub item #0"},
        {userInfo(item(0x58, "x")), "0x0058 past PDU_ASSO_ITEM_USER_INFO", AssoFault::unknownItem},
        {[](auto& a) { a.userInfo = item(0x55, "V"); }, "varItemWalk: maxPduLen missing"},
        {[](auto& a) { a.userInfo.clear(); }, "varItemWalk: maxPduLen missing"},
        {[](auto& a) { a.context.clear(); }, "0x0050, expecting PDU_ASSO_ITEM_PRES_AC/RQ",
         AssoFault::misplacedItem},
        {userInfo(item(0x40, "x")), "0x0040 past PDU_ASSO_ITEM_USER_INFO", AssoFault::misplacedItem},
        {userInfo({0x55, 0, 0, 9}), "Invalid buffer length past all sub items"},
        {[](auto& a) { a.userInfo = item(0x51, std::string(2, '\0')); }, "read: maxPduLen missing"},
        {[&](auto& a) { a.appCtx = item(0x10, ones(65)); }, "read: Invalid Application Context Name"},
        {[&](auto& a) {
             append(a.context,
                    item(0x20, joined({{3, 0, 0, 0}, item(0x30, kVerificationUid), item(0x40, ones(65))})));
         },
         "read: Invalid Presentation Context Item #1"},
        {userInfo(item(0x55, ones(17))), "Sub item length 0x0011 exceeds buffer length 0x0010 (16)"},
        {userInfo(item(0x54, ones(4096))), "Item length 0x1000 exceeds buffer length 0x0fff"},
        {userInfo(item(0x54, Bytes{0, 3, '1', '.', 1})), "item 0x0005 and UID string length 0x0003"},
        {userInfo(item(0x54, joined({{0, 65}, bytesOf(ones(67))}))), "0x0045 and UID string length 0x0041"}};
    for (const auto& refusal : refusals) {
        Association a;
        refusal.change(a);
        CaptureLog log;
        DcPduAssoRq request;
        EXPECT_EQ(readFrom(request, a.bytes()), ACRQ_INVALID) << refusal.error;
        const std::string errors = errorsOf(log);
        EXPECT_NE(errors.find(refusal.error), errors.npos) << errors;
        EXPECT_EQ(orvkit::PduAccess::fault(request), refusal.fault) << refusal.error;
    }
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
    for (context.presCtxId = 0; context.presCtxId < PDU_PRES_CTX_MAX; ++context.presCtxId)
        ASSERT_EQ(request.presCtxItemAdd(&context), RESULT_OK);
    const Bytes bytes = sent(request);
    EXPECT_EQ(bytes.size(), 74u + 25 + 512 * (8 + 68 + 32 * 68) + 4 + 8 + 9 + 512 * 72 + 6);
    CaptureLog log;
    EXPECT_EQ(request.presCtxItemAdd(&context), ACRQ_CONTEXT_LIMIT);
    log.expect(LOG_ERROR, "DcPduAssoAcRq::presCtxItemAdd", "Presentation context limit reached");
    DcPduAssoRq back;
    EXPECT_EQ(readFrom(back, bytes), RESULT_OK);
    DcPduScpScuRole roles[PDU_PRES_CTX_MAX];
    back.getScpScuRoleList(roles);
    EXPECT_EQ(roles[511].abstractSyntax, uid);
    EXPECT_EQ(Dict.subtract(longUid), RESULT_OK);
}

}  // namespace
