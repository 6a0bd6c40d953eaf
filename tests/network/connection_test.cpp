// What lies between an association and its socket.
#include "network/connection.h"

#include "network/pair.h"
#include "network/pdus.h"
#include "support/temp_dir.h"

namespace {

namespace platform = orvkit::platform;
using orvkit::Connection;
using orvkit::ConnectionLayer;

// Every byte on the wire is another one than the association's.
class Disguise final : public ConnectionLayer {
  public:
    Disguise(unsigned int socket, int& closed) : socket_(socket), closed_(closed) {}

    platform::Received receive(void* data, std::size_t length, int timeout,
                               std::size_t& count) noexcept override {
        const platform::Received received = platform::receive(socket_, data, length, timeout, count);
        turn(data, count);
        return received;
    }
    std::int64_t peek(void* data, std::size_t length) noexcept override {
        const std::int64_t count = platform::peekArrived(socket_, data, length);
        if (count > 0) turn(data, static_cast<std::size_t>(count));
        return count;
    }
    std::int64_t send(const platform::Run* runs, std::size_t count, int timeout) noexcept override {
        Bytes all;
        for (; count > 0; ++runs, --count) {
            const auto* const bytes = static_cast<const unsigned char*>(runs->data);
            all.insert(all.end(), bytes, bytes + runs->length);
        }
        turn(all.data(), all.size());
        const platform::Run run{all.data(), all.size()};
        return platform::sendRuns(socket_, &run, 1, timeout);
    }
    bool waitReadable(int timeout) noexcept override { return platform::waitReadable(socket_, timeout); }
    bool peerIsDone() noexcept override { return platform::peerIsDone(socket_); }
    void close() noexcept override { ++closed_; }

  private:
    static void turn(void* data, std::size_t length) {
        auto* const bytes = static_cast<unsigned char*>(data);
        for (std::size_t i = 0; i < length; ++i) bytes[i] ^= 0x5A;
    }

    unsigned int socket_;
    int& closed_;
};

// An association over a pair of sockets, each with a layer: messages of all kinds of fragments cross, polling
// looks through it, and the end of each connection ends its layer.
TEST(ConnectionLayer, CarriesAWholeAssociation) {
    const TempDir dir;
    const std::string path = dir / "pixels";
    Bytes pixels(kPixels, 7);
    writeWhole(path, std::string(kPixels, 'p'));
    ConnectedSockets ends = connectedSockets();
    int closed[2] = {0, 0};
    orvkit::putLayer(ends.one.get(), std::make_unique<Disguise>(ends.one.get(), closed[0]));
    orvkit::putLayer(ends.other.get(), std::make_unique<Disguise>(ends.other.get(), closed[1]));
    const QuietLog quiet;
    auto support = sopList({UID_CT_IMAGE_STORAGE});

    int stored = 0;
    std::thread provider([&] {
        DcMsm scp("PROVIDER", TSM_ROLE_SCP, 0);
        scp.setAeTitleCheck(0);
        DcMsmScpInfo info;
        info.sopList = support.data();
        info.timeouts = seconds(10);
        ASSERT_EQ(scp.connect(ends.other.release(), PDU_SOCKET_NONE, info, MSM_BLOCK_CONNECT_POLL), 0);
        ASSERT_TRUE(scp.waitReadable(5000));
        ASSERT_EQ(scp.read(nullptr, nullptr, MSM_BLOCK_READ_POLL, MSM_BLOCK_CONNECT_POLL),
                  MSM_REQUEST_ANSWERED);
        stored = serveStores(scp);
    });
    User user(0);
    DcMsmScuInfo info;
    info.calledAeTitle = "PROVIDER";
    info.sopList = support.data();
    info.timeouts = seconds(10);
    ASSERT_EQ(user.connect(ends.one.release(), info), MSM_ACCEPTED);
    EXPECT_TRUE(storeOne(user, pixels.data(), nullptr) && storeOne(user, nullptr, path.c_str()));
    EXPECT_FALSE(user.waitReadable(0));
    EXPECT_EQ(user.release(), MSM_RELEASED);
    provider.join();
    EXPECT_EQ(stored, 2);
    user.closeAssociation();
    EXPECT_EQ(closed[0] + closed[1], 2);
    EXPECT_TRUE(user.waitReadable(0)) << "no connection";
}

}  // namespace
