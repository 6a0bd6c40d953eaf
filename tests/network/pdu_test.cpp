#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "media/allocation_meter.h"
#include "network/pdus.h"
#include "orvkit/pdu.h"
#include "orvkit/result.h"
#include "platform/process.h"
#include "support/capture_log.h"
#include "support/temp_dir.h"

namespace {

using Clock = std::chrono::steady_clock;

TEST(Pdu, SmallPdusHaveTenBytes) {
    DcPduAssoRj reject;
    DcPduInfoRj why{1, 2, 3};
    reject.setInfo(&why);
    EXPECT_EQ(sent(reject), (Bytes{3, 0, 0, 0, 0, 4, 0, 1, 2, 3}));
    DcPduReleaseRq request;
    EXPECT_EQ(sent(request), (Bytes{5, 0, 0, 0, 0, 4, 0, 0, 0, 0}));
    DcPduReleaseRp response;
    EXPECT_EQ(sent(response), (Bytes{6, 0, 0, 0, 0, 4, 0, 0, 0, 0}));
    DcPduAbort abort;
    DcPduInfoAbort user{0, 5};
    abort.setInfo(&user);
    EXPECT_EQ(sent(abort), (Bytes{7, 0, 0, 0, 0, 4, 0, 0, 0, 0})) << "a service user gives no reason";
    DcPduInfoAbort provider{2, 5};
    abort.setInfo(&provider);
    EXPECT_EQ(sent(abort), (Bytes{7, 0, 0, 0, 0, 4, 0, 0, 2, 5}));
}

TEST(Pdu, SmallPdusAreReadWithBodiesOfAnySufficientLength) {
    CaptureLog log;
    DcPduAssoRj reject;
    EXPECT_EQ(readFrom(reject, pdu(3, {0, 1, 2, 3})), RESULT_OK);
    EXPECT_EQ(reject.getResult() * 100 + reject.getSource() * 10 + reject.getReason(), 123);
    Bytes large(10000);
    large[1] = 2;
    EXPECT_EQ(readFrom(reject, pdu(3, large)), RESULT_OK);
    EXPECT_EQ(reject.getResult(), 2);
    EXPECT_EQ(readFrom(reject, pdu(3, {0, 1, 2})), RJ_ABSENT);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduAssoRj::read", "Invalid PDU length 0x3"));

    DcPduReleaseRq release;
    EXPECT_EQ(readFrom(release, pdu(5, {})), RESULT_OK);
    EXPECT_EQ(readFrom(release, pdu(5, large)), RESULT_OK);

    DcPduAbort abort;
    EXPECT_EQ(readFrom(abort, pdu(7, {0, 0, 2, 1})), RESULT_OK);
    EXPECT_EQ(abort.getSource() + abort.getReason(), 0) << "read from where writing leaves zeros";
    EXPECT_EQ(readFrom(abort, pdu(7, {2, 1, 0, 0})), RESULT_OK);
    EXPECT_EQ(abort.getSource() * 10 + abort.getReason(), 21);
    EXPECT_EQ(readFrom(abort, pdu(7, {2})), ABORT_READ);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduAbort::read", "Invalid PDU length 0x1"));
}

TEST(Pdu, TypeIsReadAloneAndCheckedForItsRange) {
    CaptureLog log;
    for (const int byte : {0, 8, 255, 4}) {
        SocketPair sockets;
        DcPdu pdu;
        EXPECT_EQ(pdu.attach(sockets.ours()), RESULT_OK);
        EXPECT_EQ(pdu.attach(77), RESULT_OK);
        EXPECT_EQ(pdu.getSockConv(), sockets.ours());
        PDU_TYPE type = PDU_TYPE_ABORT;
        EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), DATATF_NOT_READY);
        EXPECT_EQ(type, PDU_TYPE_INVALID);
        sockets.send({static_cast<unsigned char>(byte), 0, 9});
        EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), RESULT_OK);
        if (byte == 4) {
            EXPECT_EQ(type, PDU_TYPE_DATA_TF);
            EXPECT_EQ(log.take(), LogLines{});
            EXPECT_EQ(pdu.readType(type, PDU_BLOCK_POLL), DATATF_NOT_READY) << "one byte only";
            sockets.closePeer();
            EXPECT_EQ(pdu.readType(type, PDU_BLOCK_WAIT), DATATF_SOCKET);
        } else {
            EXPECT_EQ(type, PDU_TYPE_INVALID);
            char text[32];
            std::snprintf(text, sizeof text, "Invalid type 0x%x", static_cast<unsigned int>(byte));
            EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPdu::readType", text));
        }
    }
}

// Seconds that reading a PDU took, and its result, while a peer sends its first bytes and then one byte each
// pause.
std::pair<double, int> timedRead(const Bytes& first, std::chrono::milliseconds pause, int drips) {
    SocketPair sockets;
    DcPduAssoRq request(sockets.ours());
    DcPduInfo info{524288, 1, 15};
    request.setInfo(info);
    sockets.send(first);
    std::thread peer([&] {
        for (int i = 0; i < drips; ++i) {
            std::this_thread::sleep_for(pause);
            sockets.send({0});
        }
    });
    const auto begun = Clock::now();
    PDU_TYPE type;
    int result = request.readType(type, PDU_BLOCK_WAIT);
    if (result == RESULT_OK) result = request.read(PDU_BLOCK_WAIT);
    const double took = std::chrono::duration<double>(Clock::now() - begun).count();
    peer.join();
    return {took, result};
}

TEST(Pdu, WaitsEndWithTheReadTimeout) {
    using std::chrono::milliseconds;
    const auto silence = timedRead({}, milliseconds(0), 0);
    EXPECT_EQ(silence.second, DATATF_NOT_READY);
    EXPECT_NEAR(silence.first, 1.0, 0.1);
    const auto inside = timedRead({1, 0, 0, 0}, milliseconds(0), 0);
    EXPECT_EQ(inside.second, ACRQ_INVALID);
    EXPECT_NEAR(inside.first, 1.0, 0.1);
    // A byte now and then keeps the connection busy, but not the reader.
    const auto drip = timedRead({1, 0, 0, 0, 4, 0}, milliseconds(150), 12);
    EXPECT_EQ(drip.second, ACRQ_INVALID);
    EXPECT_NEAR(drip.first, 1.0, 0.15);
}

TEST(Pdu, MemoryGrowsWithBytesNotWithTheAnnouncedLength) {
    for (const int type : {1, 2, 3, 5, 7}) {
        Bytes bytes{static_cast<unsigned char>(type), 0, 0xFF, 0xFF, 0xFF, 0xFF};
        bytes.resize(60000, 1);
        AllocationMeter meter;
        int result;
        if (type <= 2) {
            DcPduAssoRq request;
            result = readFrom(request, bytes);
        } else if (type == 3) {
            DcPduAssoRj reject;
            result = readFrom(reject, bytes);
        } else if (type == 5) {
            DcPduReleaseRq release;
            result = readFrom(release, bytes);
        } else {
            DcPduAbort abort;
            result = readFrom(abort, bytes);
        }
        EXPECT_NE(result, RESULT_OK);
        EXPECT_LT(meter.peak(), 1200000u) << type;
    }
}

TEST(Pdu, DumpFilesHoldEachPduUnderOneCount) {
    TempDir dir;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(dir / "");
    PduDumpFlag = 3;
    DcPduReleaseRq release;
    const Bytes out = sent(release);
    Association ac;
    ac.type = 2;
    ac.context = item(0x21, joined({{1, 0, 0, 0}, item(0x40, kImplicitUid)}));
    DcPduAssoAc answer;
    EXPECT_EQ(readFrom(answer, ac.bytes()), RESULT_OK);
    DcPduAssoRq request;
    CaptureLog log;
    EXPECT_NE(readFrom(request, {9, 0, 1}), RESULT_OK);
    PduDumpFlag = 0;
    EXPECT_EQ(readFrom(answer, ac.bytes()), RESULT_OK) << "not dumped";
    std::filesystem::current_path(before);

    std::vector<std::string> names;
    int first = -1;
    for (const auto& file : std::filesystem::directory_iterator(dir / "")) {
        names.push_back(file.path().filename().string());
        unsigned int thread = 0;
        int number = -1;
        char rest[16] = "";
        ASSERT_EQ(std::sscanf(names.back().c_str(), "_pdu.%x.%4d.%15s", &thread, &number, rest), 3);
        EXPECT_EQ(thread, orvkit::platform::threadId());
        const std::string bytes = readWhole(file.path().string());
        if (std::string(rest) == "rr.snd") {
            first = number;
            EXPECT_EQ(bytesOf(bytes), out);
        } else if (std::string(rest) == "ac.rcv") {
            EXPECT_EQ(bytesOf(bytes), ac.bytes());
        } else {
            EXPECT_EQ(std::string(rest), "xx.rcv");
            EXPECT_EQ(bytesOf(bytes), (Bytes{9, 0, 1}));
        }
    }
    std::sort(names.begin(), names.end());
    ASSERT_EQ(names.size(), 3u);
    for (int i = 0; i < 3; ++i) {
        char number[8];
        std::snprintf(number, sizeof number, ".%04d.", first + i);
        EXPECT_NE(names[static_cast<std::size_t>(i)].find(number), std::string::npos) << names[0];
    }
}

}  // namespace
