// PDUs sent and read over a pair of sockets.
#ifndef ORVKIT_TESTS_NETWORK_PDUS_H
#define ORVKIT_TESTS_NETWORK_PDUS_H

#include <gtest/gtest.h>

#include "orvkit/pdu.h"
#include "orvkit/result.h"
#include "support/socket_pair.h"

template <typename Pdu>
Bytes sent(Pdu& pdu, int expected = RESULT_OK) {
    SocketPair sockets;
    pdu.setSockConv(sockets.ours());
    return sockets.received([&] { EXPECT_EQ(pdu.write(), expected); });
}

// Type and rest of a PDU that the peer sends before it closes; `more` goes in front of how to wait.
template <typename Pdu, typename... More>
int readFrom(Pdu& pdu, const Bytes& bytes, More... more) {
    SocketPair sockets;
    std::thread peer([&] {
        sockets.send(bytes);
        sockets.closePeer();
    });
    pdu.setSockConv(sockets.ours());
    PDU_TYPE type;
    int result = pdu.readType(type, PDU_BLOCK_WAIT);
    if (result == RESULT_OK) result = pdu.read(more..., PDU_BLOCK_WAIT);
    sockets.closeOurs();
    peer.join();
    return result;
}

#endif
