// A peer that says what it likes, and the bytes that it says.
#ifndef ORVKIT_TESTS_TOOLS_RAW_PEER_H
#define ORVKIT_TESTS_TOOLS_RAW_PEER_H

#include <sys/socket.h>

#include "tests/network/pdus.h"
#include "tests/support/stream.h"

namespace tools_test {

class RawPeer {
  public:
    explicit RawPeer(int port) {
        orvkit::platform::Address address;
        EXPECT_TRUE(orvkit::platform::resolve("127.0.0.1", port, address));
        socket_ = orvkit::platform::openSocket(address);
        EXPECT_TRUE(orvkit::platform::connectSocket(socket_.get(), address, 5000));
    }
    bool say(const Bytes& bytes) {
        return orvkit::platform::sendTwo(socket_.get(), bytes.data(), bytes.size(), nullptr, 0) ==
               static_cast<std::int64_t>(bytes.size());
    }
    // The next PDU; empty when none came.
    Bytes hear(int timeout = 20000) {
        Bytes head = take(6, timeout);
        if (head.size() < 6) return {};
        append(head, take(std::size_t{head[4]} << 8 | head[5], timeout));
        return head;
    }
    void halfClose() { ::shutdown(static_cast<int>(socket_.get()), SHUT_WR); }
    void reset() {
        const linger now{1, 0};
        ::setsockopt(static_cast<int>(socket_.get()), SOL_SOCKET, SO_LINGER, &now, sizeof now);
        socket_.reset();
    }
    // An association with context 1, for storage of CT images unless another class is given, in implicit
    // little endian, and with more items of its user.
    bool associate(const std::string& sopClass = "1.2.840.10008.5.1.4.1.1.2", const Bytes& more = {}) {
        ::Association request;
        request.context = item(0x20, joined({{1, 0, 0, 0}, item(0x30, sopClass), item(0x40, kImplicitUid)}));
        request.userInfo = joined({item(0x51, Bytes{0, 0, 0x40, 0}), item(0x52, "1.2.3"), more});
        const Bytes answer = say(pdu(PDU_TYPE_ASSO_RQ, request.body())) ? hear() : Bytes{};
        return !answer.empty() && answer[0] == PDU_TYPE_ASSO_AC;
    }

  private:
    Bytes take(std::size_t length, int timeout) {
        Bytes bytes(length);
        std::size_t used = 0;
        for (std::size_t count = 0; used < length; used += count) {
            if (orvkit::platform::receive(socket_.get(), bytes.data() + used, length - used, timeout,
                                          count) != orvkit::platform::Received::data) {
                break;
            }
        }
        bytes.resize(used);
        return bytes;
    }
    orvkit::platform::Socket socket_;
};

inline Bytes element(unsigned int tag, const Bytes& value) {
    return Stream(UID_LITTLE_ENDIAN_IMPLICIT).elem(tag, "", std::string(value.begin(), value.end())).bytes();
}
// A command by what stands in it behind its group length: as a value in context 1, and as a PDU.
inline Bytes commandValue(const Stream& rest) {
    Stream all(UID_LITTLE_ENDIAN_IMPLICIT);
    all.header(0x00000000, "UL", 4).u32(rest.size()).add(rest);
    return pdv(1, 3, all.bytes());
}
inline Bytes command(const Stream& rest) {
    return pdu(PDU_TYPE_DATA_TF, commandValue(rest));
}
// What most requests begin with, of message 7.
inline Stream request(unsigned int field, const std::string& sopClass, bool dataset = true) {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    s.ui(0x00000002, sopClass).us(0x00000100, field).us(0x00000110, 7).us(0x00000700, 0);
    return s.us(0x00000800, dataset ? 1 : 0x0101);
}
inline Bytes find(const Bytes& keys, const std::string& sopClass) {
    return joined({command(request(0x0020, sopClass)), inPieces(keys)});
}
inline Bytes cancel(unsigned int id = 7) {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    return command(s.us(0x00000100, 0x0FFF).us(0x00000120, id).us(0x00000800, 0x0101));
}
inline Bytes uidValue(std::string uid) {
    if (uid.size() % 2 != 0) uid.push_back('\0');
    return bytesOf(uid);
}

// The status in a response; 0xFFFF when it is none.
inline unsigned int statusIn(const Bytes& response) {
    const Bytes head = element(0x00000900, {0, 0});
    const auto at = std::search(response.begin(), response.end(), head.begin(), head.end() - 2);
    if (response.end() - at < static_cast<std::ptrdiff_t>(head.size())) return 0xFFFF;
    return static_cast<unsigned int>(at[8] | at[9] << 8);
}

// The statuses of the responses, up to the last one.
inline std::vector<unsigned int> answers(RawPeer& peer) {
    std::vector<unsigned int> all;
    while (all.empty() || (all.back() & 0xFF00U) == 0xFF00U) {
        const Bytes response = peer.hear();
        if (response.empty()) break;
        if (const unsigned int status = statusIn(response); status != 0xFFFF) all.push_back(status);
    }
    return all;
}

// A query, and the statuses of what it is answered with.
struct Asked {
    const char* what;
    Bytes keys;
    std::vector<unsigned int> statuses;
};
// Each on the same association; then one of another class, one without keys, and one that is cancelled at
// once.
inline void expectAnswers(RawPeer& peer, const std::string& sopClass, const std::vector<Asked>& rows,
                          const std::string& otherClass, const Bytes& keys) {
    for (const Asked& row : rows) {
        ASSERT_TRUE(peer.say(find(row.keys, sopClass))) << row.what;
        EXPECT_EQ(answers(peer), row.statuses) << row.what;
    }
    const std::pair<Bytes, unsigned int> odd[] = {{find(keys, otherClass), 0x0122},
                                                  {command(request(0x0020, sopClass, false)), 0xA900},
                                                  {joined({find(keys, sopClass), cancel()}), 0xFE00}};
    for (const auto& [said, status] : odd) {
        ASSERT_TRUE(peer.say(said));
        EXPECT_EQ(answers(peer), std::vector{status});
    }
}

}  // namespace tools_test

#endif
