
#include <chrono>
#include <map>

#include "network/pdus.h"
#include "orvkit/datatf.h"
#include "platform/process.h"
#include "support/allocation_meter.h"
#include "support/capture_log.h"
#include "support/temp_dir.h"

namespace {

TEST(Pdu, TypeIsReadAloneAndCheckedForItsRange) {
    CaptureLog log;
    SocketPair sockets;
    DcPdu pdu;
    EXPECT_EQ(pdu.attach(sockets.ours()), RESULT_OK);
    EXPECT_EQ(pdu.attach(77), RESULT_OK);
    EXPECT_EQ(pdu.getSockConv(), sockets.ours());
    PDU_TYPE type = PDU_TYPE_ABORT;
    EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), DATATF_NOT_READY);
    EXPECT_EQ(type, PDU_TYPE_INVALID);
    sockets.send({0, 0, 8, 0, 4, 0, 9});
    for (const char* text : {"Invalid type 0x0", "Invalid type 0x8"}) {
        type = PDU_TYPE_ABORT;
        EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), RESULT_OK);
        EXPECT_EQ(type, PDU_TYPE_INVALID);
        log.expect(LOG_ERROR, "DcPdu::readType", text);
    }
    EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), RESULT_OK);
    EXPECT_EQ(type, PDU_TYPE_DATA_TF);
    EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), DATATF_NOT_READY) << "one byte only";
    sockets.closePeer();
    EXPECT_EQ(pdu.readType(type, PDU_BLOCK_WAIT), DATATF_SOCKET);
    EXPECT_EQ(log.take(), LogLines{});
}

template <typename Pdu, typename... More>
void expectRobust(const Bytes& whole, int code, More... more) {
    SCOPED_TRACE(unsigned{whole[0]});
    CaptureLog log;
    for (std::size_t n = 0; n < whole.size(); ++n) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        Pdu early;  // the connection ends inside of the PDU
        EXPECT_EQ(readFrom(early, cut, more...), n < 2 ? DATATF_SOCKET : code) << n;
        if (n < 6) continue;
        Pdu shorter;  // the PDU ends there by its own length
        log.clear();
        const int result = readFrom(shorter, pdu(whole[0], Bytes(cut.begin() + 6, cut.end())), more...);
        EXPECT_TRUE(result == RESULT_OK || result == code) << n << ' ' << result;
        // Whole user items are there, but fewer than claimed: told, and no failure.
        if (whole[0] <= 2 && result == RESULT_OK) {
            EXPECT_EQ(log.lines().back().text, "Empty Calling AE title string") << n;
        }
    }
    // Memory grows with bytes that come, not with the announced length.
    Bytes announced{whole[0], 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0, 1, 0};
    announced.resize(60000, 1);
    AllocationMeter meter;
    Pdu pdu;
    EXPECT_EQ(readFrom(pdu, announced, more...), code);
    EXPECT_LT(meter.peak(), 1200000u);
}

// The maximum length is also the most that one receive asks for; 0 is no bound.
TEST(Pdu, APduIsReadInPiecesOfTheMaximumLength) {
    for (const unsigned int most : {0u, 1u, 7u, 524288u}) {
        DcPduInfo info{most, 5, 5};
        DcPduAssoRq request;
        request.DcPdu::setInfo(info);
        EXPECT_EQ(readFrom(request, Association().bytes()), RESULT_OK) << most;
        DcPduInfoAcRq read;
        EXPECT_EQ(request.getInfo(&read), RESULT_OK);
        EXPECT_STREQ(read.calledAeTitle, "STORE           ");
    }
}

TEST(Pdu, ReadingSurvivesTruncationAndLies) {
    expectRobust<DcPduAssoRq>(Association().bytes(), ACRQ_INVALID);
    expectRobust<DcPduAssoAc>(acceptance().bytes(), ACRQ_INVALID);
    expectRobust<DcPduAssoRj>(pdu(3, {0, 1, 2, 3}), RJ_ABSENT);
    expectRobust<DcPduDataTf>(pdu(4, joined({pdv(1, 3, {1, 2, 3}), pdv(7, 2, {4, 5})})), DATATF_READ, -1);
    expectRobust<DcPduReleaseRq>(pdu(5, {0, 0, 0, 0}), RELEASE_READ);
    expectRobust<DcPduAbort>(pdu(7, {0, 0, 2, 1}), ABORT_READ);
    DcPduAssoRj rejected;
    EXPECT_EQ(readFrom(rejected, pdu(3, {0, 1, 2, 3})), RESULT_OK);
    DcPduAbort shortest;
    EXPECT_EQ(readFrom(shortest, pdu(7, {2, 6})), RESULT_OK);
    EXPECT_TRUE(shortest.getSource() == 2 && shortest.getReason() == 6);
    EXPECT_EQ(readFrom(shortest, pdu(7, {2})), ABORT_READ);
}

TEST(Pdu, DumpFilesHoldEachPduUnderOneCount) {
    const TempDir dir;
    const CaptureLog log;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(dir / "");
    PduDumpFlag = 3;
    DcPduReleaseRq release;
    const Bytes out = sent(release);
    DcPduAssoAc answer;
    EXPECT_EQ(readFrom(answer, acceptance().bytes()), RESULT_OK);
    DcPduAssoRq request;
    EXPECT_NE(readFrom(request, {9, 0, 1}), RESULT_OK);
    PduDumpFlag = 0;
    EXPECT_EQ(readFrom(answer, acceptance().bytes()), RESULT_OK) << "not dumped";
    std::filesystem::current_path(before);

    std::map<std::string, Bytes> files;  // by their names without thread and hundreds of the count
    for (const auto& file : std::filesystem::directory_iterator(dir / "")) {
        const std::string name = file.path().filename().string();
        char begin[32];
        std::snprintf(begin, sizeof begin, "_pdu.%x.", orvkit::platform::threadId());
        EXPECT_TRUE(name.starts_with(begin)) << name;
        files[name.substr(name.rfind('.') - 7)] = bytesOf(readWhole(file.path().string()));
    }
    ASSERT_EQ(files.size(), 3u);
    auto at = files.begin();
    for (const auto& [name, bytes] :
         {std::pair(".rr.snd", out), {".ac.rcv", acceptance().bytes()}, {".xx.rcv", Bytes{9, 0, 1}}}) {
        EXPECT_TRUE(at->first.ends_with(name)) << at->first;
        EXPECT_EQ((at++)->second, bytes);
    }
}

}  // namespace
