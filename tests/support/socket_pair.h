// Two connected sockets, one for what is tested and one for the peer, which speaks in plain bytes.
#ifndef ORVKIT_TESTS_SUPPORT_SOCKET_PAIR_H
#define ORVKIT_TESTS_SUPPORT_SOCKET_PAIR_H

#include <thread>

#include "tests/support/pdu_bytes.h"
#include "tests/support/system.h"

class SocketPair {
  public:
    SocketPair() = default;
    // With what the peer sends before it closes its end.
    explicit SocketPair(const Bytes& bytes) : SocketPair() {
        send(bytes);
        closePeer();
    }

    unsigned int ours() const { return ends_.one.get(); }
    unsigned int peer() const { return ends_.other.get(); }
    // The peer's end stays with the pair.
    unsigned int giveOurs() { return ends_.one.release(); }
    void send(const Bytes& bytes) {
        (void)orvkit::platform::sendTwo(peer(), bytes.data(), bytes.size(), nullptr, 0);
    }
    void closePeer() { ends_.other.reset(); }
    void closeOurs() { ends_.one.reset(); }

    // What has arrived at the peer, 64 KiB of it at most.
    Bytes arrived() const {
        Bytes bytes(65536);
        std::size_t count = 0;
        (void)orvkit::platform::receive(peer(), bytes.data(), bytes.size(), 0, count);
        bytes.resize(count);
        return bytes;
    }

    // What the peer receives while `work` runs, which may be more than a socket holds.
    template <typename Work>
    Bytes received(Work work) {
        Bytes all;
        std::thread reader([&] {
            std::array<unsigned char, 65536> chunk;
            std::size_t count = 0;
            while (orvkit::platform::receive(peer(), chunk.data(), chunk.size(), -1, count) ==
                   orvkit::platform::Received::data) {
                all.insert(all.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(count));
            }
        });
        work();
        endSending(ours());
        reader.join();
        return all;
    }

  private:
    ConnectedSockets ends_ = connectedSockets();
};

#endif
