// A server amid crowds that come to hold it up: whoever means it well is served.
#ifdef ORVKIT_WITH_TLS
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "network/connection.h"
#include "network/pair.h"
#include "network/pdus.h"
#include "services/workers.h"
#include "support/system.h"
#include "tls/site.h"

namespace {

namespace platform = orvkit::platform;
using platform::Received;

struct Listener : DcMsm {
    Listener() : DcMsm("SERVER", TSM_ROLE_SCP, 0) {}
    unsigned int socket() const { return sockListen_; }
};

// A connection from an address of this machine.
platform::Socket connectFrom(const char* from, int port) {
    platform::Address own, address;
    EXPECT_TRUE(platform::resolve(from, 0, own) && platform::resolve("127.0.0.1", port, address));
    platform::Socket socket = platform::openSocket(address);
    EXPECT_TRUE(platform::bindTo(socket.get(), own) && platform::connectSocket(socket.get(), address, 10000));
    return socket;
}

TEST(Crowds, KeepNobodyFromElsewhereWaitingAtTheDoor) {
    const QuietLog quiet;
    const Listener listener;
    services::Addresses addresses;
    services::Doorman door(listener.socket(), services::Greeting::associationRequest, addresses, 100,
                           std::chrono::seconds(60), [](const std::string&) {});
    const Bytes request = pdu(PDU_TYPE_ASSO_RQ, ::Association().body());
    const char* const arrivals[] = {"127.0.0.2", "127.0.0.2", "127.0.0.2", "127.0.0.2",
                                    "127.0.0.2", "127.0.0.3", "127.0.0.2"};
    std::vector<platform::Socket> peers;
    for (const char* const from : arrivals) {
        peers.push_back(connectFrom(from, listener.getPort()));
        ASSERT_GT(platform::sendTwo(peers.back().get(), request.data(), request.size(), nullptr, 0), 0);
    }
    std::vector<platform::WaitEntry> others;
    door.wait(10000, others);
    std::string served;
    for (services::Visitor guest = door.next(); guest.socket; guest = door.next()) {
        served += guest.address.back();
    }
    // The first of the crowd, the last of all, and then the one who is alone.
    EXPECT_EQ(served, "2232222");
}

// A server over TLS in this process.
class CrowdedServer : public ::testing::Test {
  protected:
    void start(std::size_t threads, std::size_t idle) {
        apply(ofServer_, "provider");
        apply(ofUsers, "user");
        server_.aet = "SERVER";
        server_.port = listener_.getPort();
        server_.acceptFrom = {nullptr};
        server_.support = sopList({UID_VERIFICATION}, {UID_LITTLE_ENDIAN_IMPLICIT});
        server_.security = ofServer_.security();
        server_.timeouts = seconds(60);
        server_.tell = [](const std::string&) {};
        door_ = std::make_unique<services::Doorman>(listener_.socket(), services::Greeting::tlsHello,
                                                    server_.addresses, 100, std::chrono::seconds(60),
                                                    server_.tell);
        workers_ = std::make_unique<services::Workers>(server_, *door_, threads, idle);
        thread_ = std::thread([this] {
            while (!ending_) {
                std::vector<platform::WaitEntry> watched = workers_->watched();
                door_->wait(20, watched);
                (void)workers_->serve(watched);
            }
        });
    }
    void TearDown() override {
        ending_ = true;
        thread_.join();
        workers_->stop();
    }
    static void apply(DcTls& tls, const char* party) {
        tls.setCertificate(site().cert(party).c_str(), site().key(party).c_str());
        tls.addAuthorities(site().cert("ca").c_str());
        ASSERT_EQ(tls.load(), RESULT_OK) << tls.fault();
    }
    // A peer that says what it likes over TLS, once its handshake is done.
    struct Peer {
        platform::Socket socket;
        std::unique_ptr<orvkit::ConnectionLayer> layer;
        bool say(const unsigned char* data, std::size_t length) const {
            const platform::Run run{data, length};
            return layer->send(&run, 1, 60000) == static_cast<std::int64_t>(length);
        }
    };
    Peer peer() {
        Peer made{connectFrom("127.0.0.1", listener_.getPort()), nullptr};
        made.layer = ofUsers.security()->layer({made.socket.get(), true, "127.0.0.1", 1, 60000});
        return made;
    }
    // The first that a user says of a handshake.
    Bytes helloOfUser() {
        const ConnectedSockets ends = connectedSockets();
        const auto layer = ofUsers.security()->layer({ends.one.get(), true, "127.0.0.1", 2, 60000});
        EXPECT_EQ(layer->open(0), Received::timeout);
        Bytes hello(16384);
        std::size_t count = 0;
        EXPECT_EQ(platform::receive(ends.other.get(), hello.data(), hello.size(), 0, count), Received::data);
        hello.resize(count);
        return hello;
    }
    int port() const { return listener_.getPort(); }
    std::unique_ptr<User> user() {
        auto made = std::make_unique<User>(listener_.getPort());
        made->setSecurity(ofUsers.security());
        EXPECT_EQ(made->open(sopList({UID_VERIFICATION}, {UID_LITTLE_ENDIAN_IMPLICIT}), "SERVER", 60),
                  MSM_ACCEPTED);
        return made;
    }
    static bool echoes(User& user) {
        DcCmdCEchoRq request;
        request.add(new DcElem(T_0000_0002_affectedSopClassUid, UID_VERIFICATION));
        Message response;
        return user.write(UID_VERIFICATION, &request) == RESULT_OK && user.receive(response) == MSM_MESSAGE &&
               response->getType() == DICT_MSG_C_ECHO_RSP;
    }

    DcTls ofUsers;

  private:
    QuietLog quiet_;
    DcTls ofServer_;
    Listener listener_;
    services::StoreServer server_;
    std::unique_ptr<services::Doorman> door_;
    std::unique_ptr<services::Workers> workers_;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

TEST_F(CrowdedServer, RequestsThatAreNotWholeHaveNoThread) {
    start(2, 50);
    const Bytes request = pdu(PDU_TYPE_ASSO_RQ, ::Association().body());
    std::vector<Peer> slow;
    for (std::size_t i = 0; i < 8; ++i) {
        slow.push_back(peer());
        ASSERT_EQ(slow.back().layer->open(60000), Received::data);
        // Nothing, the beginning of its head, its head, and more.
        ASSERT_TRUE(i == 0 || slow.back().say(request.data(), 3 * i));
    }
    EXPECT_TRUE(echoes(*user()));
    for (std::size_t i = 0; i < slow.size(); ++i) {
        for (std::size_t at = 3 * i; at < request.size(); ++at) ASSERT_TRUE(slow[i].say(&request[at], 1));
        unsigned char type = 0;
        std::size_t count = 0;
        EXPECT_EQ(slow[i].layer->receive(&type, 1, 60000, count), Received::data);
        EXPECT_TRUE(type == PDU_TYPE_ASSO_AC || type == PDU_TYPE_ASSO_RJ) << int{type};
    }
}

TEST_F(CrowdedServer, HalfHandshakesAreTheFirstToGo) {
    start(2, 4);
    const auto one = user();
    const auto other = user();
    ASSERT_TRUE(echoes(*one) && echoes(*other));
    const Bytes hello = helloOfUser();
    std::vector<platform::Socket> half;
    for (int i = 0; i < 12; ++i) {
        half.push_back(connectFrom("127.0.0.1", port()));
        ASSERT_GT(platform::sendTwo(half.back().get(), hello.data(), hello.size(), nullptr, 0), 0);
    }
    // All are answered, and more than may be idle: some are sent away.
    const auto hear = [](const platform::Socket& peer, int patience) {
        unsigned char bytes[16384];
        std::size_t count = 0;
        return platform::receive(peer.get(), bytes, sizeof bytes, patience, count);
    };
    for (const platform::Socket& peer : half) EXPECT_NE(hear(peer, 60000), Received::timeout);
    int gone = 0;
    for (int round = 0; gone < 8 && round < 6000; ++round) {
        gone = static_cast<int>(std::count_if(half.begin(), half.end(), [&](const platform::Socket& peer) {
            const Received heard = hear(peer, 1);
            return heard == Received::closed || heard == Received::failed;
        }));
    }
    EXPECT_GE(gone, 8);
    EXPECT_TRUE(echoes(*one) && echoes(*other)) << "and the associations stay";
    EXPECT_TRUE(echoes(*user()));
}

}  // namespace
#endif
