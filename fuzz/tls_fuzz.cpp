// What TLS keeps of a connection: bytes that are no handshake, and connections on which both sides send,
// receive, look and wait in any order, until one closes or garbage comes.
#include <cstring>
#include <memory>

#include "fuzz/target.h"
#include "network/connection.h"
#include "orvkit/tls.h"
#include "tests/support/socket_pair.h"
#include "tests/support/temp_dir.h"

namespace {

using fuzz::require;
using orvkit::ConnectionLayer;
using orvkit::platform::Received;

constexpr std::size_t kMostUnread = 64 * 1024;

// Settings, made once. Nobody checks certificates, which no input could have: handshakes are dear.
struct Site {
    TempDir dir;
    DcTls user;
    DcTls provider;

    Site() {
        const std::string ca = dir / "ca.pem", caKey = dir / "ca.key";
        require(tlsMakeAuthority("ca", 9, ca.c_str(), caKey.c_str()) == 0);
        (void)provider.setCertificate(ca.c_str(), caKey.c_str());
        for (DcTls* const side : {&user, &provider}) {
            (void)side->setCheck(TLS_CHECK_NONE);
            require(side->load() == 0);
        }
    }
};

Site& site() {
    static Site it;
    return it;
}

// A side, what it sent, and how much of that the other has taken.
struct Side {
    std::unique_ptr<ConnectionLayer> layer;
    Bytes sent;
    std::size_t taken = 0;

    Side(unsigned int socket, bool isUser)
        : layer((isUser ? site().user : site().provider)
                    .security()
                    ->layer({socket, isUser, isUser ? "a" : nullptr, 1, 1000})) {}
};

void handshake(Side& user, Side& provider) {
    for (int i = 0; i < 8; ++i) {
        const Received one = user.layer->open(0);
        const Received other = provider.layer->open(0);
        if (one == Received::data && other == Received::data) return;
        require(one != Received::failed && other != Received::failed);
    }
    require(false);
}

// A socket that is full would wait.
void send(Side& from, std::size_t length) {
    if (from.sent.size() - from.taken > kMostUnread) return;
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<unsigned char>(from.sent.size() + i);
    const std::size_t half = length / 3;
    const orvkit::platform::Run runs[] = {{bytes.data(), half}, {bytes.data() + half, length - half}};
    // Of what did not go as a whole a part may arrive, and nothing behind it.
    (void)from.layer->send(runs, 2, 0);
    from.sent.insert(from.sent.end(), bytes.begin(), bytes.end());
}

// What comes is what was sent, in its order.
void receive(Side& to, Side& from, std::size_t most, bool look) {
    Bytes bytes(most);
    std::size_t count = 0;
    if (look) {
        const std::int64_t seen = to.layer->peek(bytes.data(), most);
        count = seen > 0 ? static_cast<std::size_t>(seen) : 0;
        if (count > 0) require(to.layer->waitReadable(0));
    } else if (to.layer->receive(bytes.data(), most, 0, count) != Received::data) {
        require(count == 0);
    }
    require(count <= most && from.taken + count <= from.sent.size());
    require(count == 0 || std::memcmp(bytes.data(), from.sent.data() + from.taken, count) == 0);
    if (!look) from.taken += count;
}

// Each step is two bytes: what is done, by whom, and with how many bytes.
void converse(const std::vector<unsigned char>& steps) {
    SocketPair ends;
    Side user(ends.ours(), true);
    Side provider(ends.peer(), false);
    handshake(user, provider);
    for (std::size_t at = 0; at + 1 < steps.size() && at < 64; at += 2) {
        Side& one = (steps[at] & 1) != 0 ? user : provider;
        Side& other = &one == &user ? provider : user;
        const std::size_t length = std::size_t{1} << steps[at + 1] % 15;
        const int what = steps[at] >> 1 & 7;
        if (what < 2) {
            send(one, length + steps[at + 1]);
        } else if (what < 5) {
            receive(one, other, length, what == 4);
        } else if (what == 5) {
            one.layer->close();
        } else if (what == 6) {
            (void)one.layer->peerIsDone();
            (void)one.layer->waitReadable(0);
        } else {
            ends.send(Bytes(steps.begin() + static_cast<std::ptrdiff_t>(at), steps.end()));
        }
    }
}

}  // namespace

// OpenSSL asks for memory thousands of times in a handshake, and who asked is a costly question.
extern "C" const char* __asan_default_options() {
    return "malloc_context_size=2";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    if (data[0] % 4 == 0) {
        converse(bytes);
        return 0;
    }
    SocketPair ends(bytes);
    Side side(ends.ours(), data[0] % 4 == 1);
    std::size_t count = 0;
    unsigned char byte = 0;
    require(side.layer->receive(&byte, 1, 0, count) != Received::data);
    require(side.layer->receive(&byte, 1, 0, count) != Received::data && count == 0);
    DcSecurityInfo info;
    side.layer->describe(info);
    require(info.verified == 0);
    return 0;
}
