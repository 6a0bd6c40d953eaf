// Two connected sockets, one for what is tested and one for the peer, which speaks in plain bytes.
#ifndef ORVKIT_TESTS_SUPPORT_SOCKET_PAIR_H
#define ORVKIT_TESTS_SUPPORT_SOCKET_PAIR_H

#include <sys/socket.h>

#include <array>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/socket.h"

using Bytes = std::vector<unsigned char>;

inline void append(Bytes& to, const Bytes& more) {
    to.insert(to.end(), more.begin(), more.end());
}

class SocketPair {
  public:
    SocketPair() {
        int ends[2];
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("no socket pair");
        ours_.reset(static_cast<unsigned int>(ends[0]));
        peer_.reset(static_cast<unsigned int>(ends[1]));
    }
    // With what the peer sends before it closes its end.
    explicit SocketPair(const Bytes& bytes) : SocketPair() {
        send(bytes);
        closePeer();
    }

    unsigned int ours() const { return ours_.get(); }
    unsigned int peer() const { return peer_.get(); }
    void send(const Bytes& bytes) {
        orvkit::platform::sendTwo(peer(), bytes.data(), bytes.size(), nullptr, 0);
    }
    void closePeer() { peer_.reset(); }
    void closeOurs() { ours_.reset(); }

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
        ::shutdown(static_cast<int>(ours()), SHUT_WR);
        reader.join();
        return all;
    }

  private:
    orvkit::platform::Socket ours_;
    orvkit::platform::Socket peer_;
};

#endif
