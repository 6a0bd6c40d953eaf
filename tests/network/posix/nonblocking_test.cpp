// Sending over a socket of the application's that does not block.
#include <fcntl.h>

#include "network/pair.h"
#include "network/pdus.h"

namespace {

using Clock = std::chrono::steady_clock;

void stopBlocking(unsigned int socket) {
    const int handle = static_cast<int>(socket);
    ASSERT_EQ(::fcntl(handle, F_SETFL, ::fcntl(handle, F_GETFL) | O_NONBLOCK), 0);
}

// A peer that reads late gets everything.
TEST(NonBlockingSocket, IsWaitedForWhenItIsFull) {
    SocketPair sockets;
    stopBlocking(sockets.ours());
    DcPduDataTf message(sockets.ours());
    DcPduInfo info{524288, 1, 10};
    message.DcPdu::setInfo(info);
    DcPduInfoTf data{1, 0, UID_LITTLE_ENDIAN_EXPLICIT, 0xFFFFFFFF};
    ASSERT_EQ(message.setInfo(data), RESULT_OK);
    Bytes value(20000000, 'x');
    message.add(new DcElem(0x00111010, value.data(), static_cast<unsigned int>(value.size()),
                           UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0));
    EXPECT_EQ(sockets.received([&] { EXPECT_EQ(message.write(), RESULT_OK); }).size(), 24 + value.size());
}

// What the transport says of itself waits no longer than what it is given.
TEST(NonBlockingSocket, HoldsNoReleaseAndNoAbortBeyondTheWriteTimeout) {
    struct Transport : DcTsm {
        explicit Transport(SocketPair& sockets) : DcTsm(TSM_ROLE_NONE, 0, nullptr) {
            setSockHandles(TSM_ROLE_SCU, sockets.giveOurs(), PDU_SOCKET_NONE);
            DcTsmTimeoutInfo timeouts = seconds(1);
            setTimeoutInfo(timeouts);
        }
        int stepIn(TSM_STATE state, TSM_EVENT event) {
            state_ = state;
            return stateMachine(event, nullptr);
        }
        unsigned int socket() const { return sockConv_; }
    };
    const CaptureLog log;
    SocketPair sockets;
    Transport transport(sockets);
    stopBlocking(transport.socket());
    // The socket's own bound may be anything.
    ASSERT_TRUE(orvkit::platform::setSocketTimeouts(transport.socket(), 0, 0));
    const Bytes full(65536);
    const orvkit::platform::Run run{full.data(), full.size()};
    while (orvkit::platform::sendRuns(transport.socket(), &run, 1, 0) > 0) {
    }
    const std::pair<TSM_STATE, TSM_EVENT> cases[] = {
        {TSM_STATE_06_ASSOCIATED, TSM_EVENT_10_RELEASE_REQUEST},
        {TSM_STATE_08_AWAIT_LOCAL_REL_RP, TSM_EVENT_13_RELEASE_RESPONSE},
        {TSM_STATE_06_ASSOCIATED, TSM_EVENT_14_ABORT_REQUEST}};
    for (const auto& [state, event] : cases) {
        const auto begun = Clock::now();
        EXPECT_EQ(transport.stepIn(state, event), DATATF_SOCKET);
        expectTook(1, begun);
    }
}

}  // namespace
