// Sending over a socket of the application's that does not block.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <chrono>

#include "network/pdus.h"
#include "orvkit/datatf.h"
#include "support/capture_log.h"

namespace {

// A peer that reads nothing holds the writer for the write time-out, and one that reads late gets everything.
TEST(NonBlockingSocket, IsWaitedForUpToTheWriteTimeout) {
    const CaptureLog log;
    for (const bool reads : {false, true}) {
        SocketPair sockets;
        const int handle = static_cast<int>(sockets.ours());
        ASSERT_EQ(::fcntl(handle, F_SETFL, ::fcntl(handle, F_GETFL) | O_NONBLOCK), 0);
        DcPduDataTf message(sockets.ours());
        DcPduInfo info{524288, 1, reads ? 10u : 1u};
        message.DcPdu::setInfo(info);
        DcPduInfoTf data{1, 0, UID_LITTLE_ENDIAN_EXPLICIT, 0xFFFFFFFF};
        ASSERT_EQ(message.setInfo(data), RESULT_OK);
        Bytes value(20000000, 'x');
        message.add(new DcElem(0x00111010, value.data(), static_cast<unsigned int>(value.size()),
                               UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0));
        const auto begun = std::chrono::steady_clock::now();
        if (reads) {
            const auto write = [&] { EXPECT_EQ(message.write(), RESULT_OK); };
            EXPECT_EQ(sockets.received(write).size(), 24 + value.size());
        } else {
            EXPECT_EQ(message.write(), DATATF_SOCKET);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begun;
            EXPECT_GE(took.count(), 0.95);
            EXPECT_LE(took.count(), 10);  // 15 without the limit
        }
    }
}

}  // namespace
