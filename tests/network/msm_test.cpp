// Associations and messages between two application entities over a real socket.

#include "network/pair.h"
#include "network/pdus.h"
#include "support/temp_dir.h"

namespace {

TEST(Association, TheProvidersOrderOfTransferSyntaxesDecides) {
    Provider provider(sopList({UID_VERIFICATION, UID_CT_IMAGE_STORAGE},
                              {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}),
                      nullptr);
    User user(provider.port());
    auto proposals = sopList({UID_VERIFICATION}, {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT});
    proposals.pop_back();
    DICT_UID big[] = {UID_BIG_ENDIAN_EXPLICIT, UID_NONE};
    proposals.emplace_back(UID_CT_IMAGE_STORAGE, big);
    proposals.emplace_back(UID_MR_IMAGE_STORAGE, nullptr);
    proposals.emplace_back();
    ASSERT_EQ(user.open(proposals), MSM_ACCEPTED);
    DcMsmAssoInfo info;
    user.getAssoInfo(info);
    ASSERT_EQ(info.assoNum, 3);
    EXPECT_EQ((std::vector<int>(info.presCtxId, info.presCtxId + 3)), (std::vector<int>{1, 3, 5}));
    EXPECT_EQ((std::vector<int>(info.result, info.result + 3)), (std::vector<int>{0, 4, 3}));
    EXPECT_EQ((std::vector<int>(info.xferSyn, info.xferSyn + 3)),
              (std::vector<int>{UID_LITTLE_ENDIAN_EXPLICIT, 0, 0}));
    EXPECT_STREQ(info.calledAeTitle, "PROVIDER");
    EXPECT_STREQ(info.callingAeTitle, "USER");
    EXPECT_EQ(info.maxPduLen, 524288u);
    DcCmdCEchoRq echo;
    const QuietLog quiet;
    EXPECT_EQ(user.write(static_cast<unsigned char>(7), &echo), MSM_CONTEXT_ID);
    EXPECT_EQ(user.write(static_cast<unsigned char>(5), &echo), MSM_CONTEXT_SYNTAX);
    EXPECT_EQ(user.write(UID_MR_IMAGE_STORAGE, &echo), MSM_CONTEXT_SYNTAX);
}

TEST(Association, WhatIsRefusedBeforeAnyConnectionIsMade) {
    CaptureLog log;
    User user(1);
    EXPECT_EQ(user.open({DcMsmSopXferSyn()}), MSM_SOP_CLASS);
    std::vector<DcMsmSopXferSyn> many(129, DcMsmSopXferSyn(UID_VERIFICATION, nullptr));
    many.emplace_back();
    EXPECT_EQ(user.open(many), MSM_SOP_CLASS);
    for (const char* title : {"SEVENTEEN_LETTERS", "A\tB"})
        EXPECT_EQ(user.open(sopList({UID_VERIFICATION}), title), ELEM_ILLEGAL_CHAR);
    DcMsmScpInfo scp;
    EXPECT_EQ(user.connect(scp, MSM_BLOCK_CONNECT_POLL), TUL_NOT_SCP);
    DcMsm provider("P", TSM_ROLE_SCP, 0);
    EXPECT_EQ(provider.connect(scp, MSM_BLOCK_CONNECT_POLL), MSM_NO_SUPPORT_LIST);
    DcMsmScuInfo scu;
    EXPECT_EQ(provider.connect("127.0.0.1", scu), TUL_NOT_SCU);
    EXPECT_EQ(user.connect(nullptr, scu), MSM_PRINT) << "a null argument";
    many.erase(many.begin());
    scu.sopList = many.data();
    const std::string longest(64, '1');
    scu.implClassUid = longest.c_str();
    EXPECT_EQ(user.connect("127.0.0.1", scu), TSM_CONNECT);
    log.clear();
    EXPECT_EQ(user.open(many), TSM_CONNECT) << "128 are accepted, and nobody listens on port 1";
    log.expect(LOG_ERROR, "DcTsm::sockConvOpenClient - connect", "winSock error WSAECONNREFUSED");
    EXPECT_EQ(user.open(sopList({UID_VERIFICATION}), "SIXTEEN_LETTERS_"), TSM_CONNECT);
    EXPECT_EQ(user.setArtimTimeout(0), TUL_PROTOCOL);
    EXPECT_EQ(user.setArtimTimeout(1), RESULT_OK);
}

TEST(Association, AbortsAndBrokenConnectionsAreToldFromEachOther) {
    std::atomic<int> seen = 0;
    const auto watch = [&](DcMsm& msm) {
        Message none;
        seen = receive(msm, none);
    };
    for (const bool aborts : {true, false}) {
        {
            Provider provider(sopList({UID_VERIFICATION}), watch);
            User user(provider.port());
            ASSERT_EQ(user.open(sopList({UID_VERIFICATION})), MSM_ACCEPTED);
            if (aborts) user.abortAssociation();
            user.closeAssociation();
            EXPECT_FALSE(user.isConnected());
        }
        EXPECT_EQ(seen, aborts ? MSM_ABORTED : MSM_RECEIVE);
    }
    Provider provider(sopList({UID_VERIFICATION}), [](DcMsm& msm) { msm.abortAssociation(); });
    User user(provider.port());
    ASSERT_EQ(user.open(sopList({UID_VERIFICATION})), MSM_ACCEPTED);
    Message none;
    EXPECT_EQ(user.receive(none), MSM_ABORTED);
    DcCmdCEchoRq echo;
    EXPECT_EQ(user.write(UID_VERIFICATION, &echo), TSM_NO_CONNECTION) << "nothing is sent, and that is told";
    EXPECT_EQ(user.receive(none), MSM_NO_CONNECTION);
}

// Both sides ask for release at once (PS3.8 9.2: Sta9 to Sta12).
TEST(Association, AReleaseCollisionEndsOnBothSides) {
    int provided = 0;
    Provider provider(sopList({UID_VERIFICATION}), [&](DcMsm& msm) {
        msm.releaseAssociation();
        provided = msm.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    });
    User user(provider.port());
    ASSERT_EQ(user.open(sopList({UID_VERIFICATION})), MSM_ACCEPTED);
    EXPECT_EQ(user.release(), MSM_RELEASE_REQUESTED) << "the peer's request is answered";
    EXPECT_EQ(user.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL), MSM_RELEASED);
    provider.join();
    EXPECT_EQ(provided, MSM_RELEASED);
}

}  // namespace
