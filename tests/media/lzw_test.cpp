#include "orvkit/lzw.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/capture_log.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char guard = 0xA5;

struct Coded {
    int result;
    Bytes bytes;
};

// Either direction into a buffer of `room` bytes, with a check that nothing behind it is touched.
template <typename Run>
Coded intoRoom(std::size_t room, Run run) {
    Bytes buffer(room + 16, guard);
    unsigned int length = static_cast<unsigned int>(room);
    const int result = run(buffer.data(), length);
    EXPECT_LE(length, room);
    EXPECT_EQ(std::count(buffer.begin() + static_cast<std::ptrdiff_t>(room), buffer.end(), guard), 16);
    buffer.resize(length);
    return {result, buffer};
}
Coded encode(const Bytes& in, std::size_t room) {
    return intoRoom(room, [&](unsigned char* out, unsigned int& length) {
        unsigned char* const begin = out;
        const int result = lzwEncode(in.data(), static_cast<unsigned int>(in.size()), out, length);
        EXPECT_EQ(out, begin + length);
        return result;
    });
}
Coded decode(const Bytes& in, std::size_t room) {
    return intoRoom(room, [&](unsigned char* out, unsigned int& length) {
        return lzwDecode(in.data(), static_cast<unsigned int>(in.size()), out, &length);
    });
}

// Writes streams the plain way: group by group, each padded when the width changes.
class Stream {
  public:
    Stream(std::size_t length, unsigned int maxWidth, bool block)
        : bytes_{0x1F, 0x9D, static_cast<unsigned char>((block ? 0x80 : 0) | maxWidth), 0} {
        for (int i = 0; i < 4; ++i) bytes_.push_back(static_cast<unsigned char>(length >> (8 * i)));
    }
    Stream& put(unsigned int code, unsigned int width) {
        if (width != width_) {
            while (bits_ % (width_ * 8) != 0) bit(false);
            width_ = width;
            bits_ = 0;
        }
        for (unsigned int i = 0; i < width; ++i) bit((code >> i & 1) != 0);
        return *this;
    }
    const Bytes& bytes() const { return bytes_; }

  private:
    void bit(bool set) {
        if (bits_ % 8 == 0) bytes_.push_back(0);
        if (set) bytes_.back() = static_cast<unsigned char>(bytes_.back() | 1U << bits_ % 8);
        ++bits_;
    }
    Bytes bytes_;
    unsigned int bits_ = 0;  // of this width
    unsigned int width_ = 9;
};

struct Dialect {
    unsigned int maxWidth = 16;
    bool block = true;
    std::size_t full = 61440;     // the next free code at which the own encoder clears
    unsigned int clearEvery = 0;  // a CLEAR after so many new strings; a foreign encoder's habit
};

Bytes plainlyEncoded(const Bytes& in, const Dialect& d = {}, std::size_t* firstClear = nullptr) {
    Stream out(in.size(), d.maxWidth, d.block);
    std::map<std::pair<unsigned int, unsigned char>, unsigned int> table;
    const unsigned int firstFree = d.block ? 257 : 256;
    unsigned int next = firstFree, width = 9;
    const auto clear = [&] {
        out.put(256, width);
        table.clear();
        next = firstFree;
    };
    for (std::size_t i = 0; i < in.size();) {
        unsigned int prefix = in[i++];
        bool cleared = false;
        while (!cleared && i < in.size()) {
            const unsigned char byte = in[i++];
            if (const auto found = table.find({prefix, byte}); found != table.end()) {
                prefix = found->second;
                continue;
            }
            out.put(prefix, width);
            if (d.block && next == d.full) {
                out.put(byte, width);
                clear();
                if (firstClear != nullptr) *std::exchange(firstClear, nullptr) = i;
                cleared = true;
            } else {
                if (next < 1U << d.maxWidth) {
                    if (next >= 1U << width) ++width;
                    table[{prefix, byte}] = next++;
                }
                if (d.clearEvery != 0 && next - firstFree == d.clearEvery) clear();
                prefix = byte;
            }
        }
        if (!cleared) out.put(prefix, width);
    }
    return out.bytes();
}

Bytes noise(std::size_t size, unsigned int values, unsigned int seed = 1) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (auto& b : bytes) b = static_cast<unsigned char>(random() % values);
    return bytes;
}

}  // namespace

TEST(LzwEncode, WritesTheExactBytesOfSmallStreams) {
    const struct {
        std::string in;
        Bytes codes;
    } cases[] = {
        {"", {}},
        {"A", {0x41, 0x00}},
        {"AAAA", {0x41, 0x02, 0x06, 0x01}},           // 041 101 041
        {"ABABABA", {0x41, 0x84, 0x04, 0x1C, 0x08}},  // 041 042 101 103
    };
    for (const auto& c : cases) {
        Bytes expected{0x1F, 0x9D, 0x90, 0, static_cast<unsigned char>(c.in.size()), 0, 0, 0};
        expected.insert(expected.end(), c.codes.begin(), c.codes.end());
        const Coded coded = encode({c.in.begin(), c.in.end()}, 100);
        EXPECT_EQ(coded.result, 0);
        EXPECT_EQ(coded.bytes, expected) << c.in;
    }
}

TEST(Lzw, GoesRoundThroughTheDocumentedStream) {
    // The last ones fill the table. One ends with the byte that finds it full: a CLEAR ends the stream.
    Bytes toClear = noise(200000, 256);
    std::size_t firstClear = 0;
    plainlyEncoded(toClear, {}, &firstClear);
    toClear.resize(firstClear);
    const Bytes inputs[] = {noise(1, 256), noise(5000, 3),     Bytes(100000, 0),
                            toClear,       noise(400000, 256), noise(2000000, 2, 7)};
    for (const Bytes& in : inputs) {
        const Coded coded = encode(in, in.size() * 3 / 2 + 20);
        ASSERT_EQ(coded.result, 0);
        EXPECT_TRUE(coded.bytes == plainlyEncoded(in)) << in.size();
        const Coded back = decode(coded.bytes, in.size());
        EXPECT_EQ(back.result, 0);
        EXPECT_TRUE(back.bytes == in) << in.size();
    }
}

TEST(LzwDecode, ReadsOtherEncodersStreams) {
    for (unsigned int maxWidth : {9u, 12u, 16u}) {
        for (bool block : {true, false}) {
            for (unsigned int clearEvery : {0u, 1u, 3u, 255u, 1000u, 30011u}) {
                if (!block && clearEvery != 0) continue;
                const Bytes in = noise(150000, clearEvery % 2 == 0 ? 256 : 4, maxWidth);
                const Bytes stream = plainlyEncoded(in, {maxWidth, block, SIZE_MAX, clearEvery});
                const Coded back = decode(stream, in.size());
                EXPECT_EQ(back.result, 0);
                EXPECT_TRUE(back.bytes == in) << maxWidth << " " << block << " " << clearEvery;
            }
        }
    }
}

TEST(Lzw, StopsWhereTheRoomEnds) {
    CaptureLog log;
    const Bytes in = noise(600, 9), stream = plainlyEncoded(in);
    for (std::size_t room = 0; room < stream.size(); ++room) {
        const Coded coded = encode(in, room);
        EXPECT_EQ(coded.result, 5666);
        log.expect(LOG_ERROR, "putCode", "Insufficient buffer size");
        // Whole groups were written: 32 of 9 bytes behind the header, then of 10 bytes.
        const std::size_t narrow = 8 + 32 * 9;
        EXPECT_EQ(coded.bytes.size(), room < 8        ? 0
                                      : room < narrow ? room - (room - 8) % 9
                                                      : room - (room - narrow) % 10);
        EXPECT_TRUE(std::equal(coded.bytes.begin(), coded.bytes.end(), stream.begin()));
    }
    EXPECT_EQ(encode(in, stream.size()).result, 0);

    const Bytes same(500, 7), codes = plainlyEncoded(same);
    for (std::size_t room = 0; room < same.size(); ++room) {
        const Coded back = decode(codes, room);
        EXPECT_EQ(back.result, 5666);
        log.expect(LOG_ERROR, "lzwDecode", "Insufficient buffer size");
        EXPECT_EQ(back.bytes, Bytes(room, 7));
    }
}

TEST(LzwDecode, RefusesBrokenStreams) {
    CaptureLog log;
    const auto stream = [](unsigned int maxWidth, const std::vector<unsigned int>& codes) {
        Stream s(0, maxWidth, true);
        for (unsigned int code : codes) s.put(code, 9);
        return s.bytes();
    };
    const struct {
        Bytes in;
        int result;
        Bytes out;
        const char* message;
    } cases[] = {
        {{}, 5664, {}, "Bad magic number"},
        {{0x1F, 0x9E, 0x90, 0, 1, 0, 0, 0}, 5664, {}, "Bad magic number"},
        {{0x1F, 0x9D, 0x91, 0, 1, 0, 0, 0}, 5664, {}, "Max bitsize 17 (0x11) exceeds limit"},
        {stream(16, {65, 258}), 5667, {65}, "Code 0x0102 not found"},
        {stream(16, {65, 66, 256, 65, 258}), 5667, {65, 66, 65}, "Code 0x0102 not found"},
        {stream(8, {65, 66}), 5667, {65, 66}, "Insufficient codes"},
        // Fine, if odd: a string that is the last one and its own first byte, a CLEAR in front of everything
        // and behind it, and bits that make no code.
        {stream(16, {65, 257, 258}), 0, {65, 65, 65, 65, 65, 65}, nullptr},
        {stream(16, {65, 256}), 0, {65}, nullptr},
        {{0x1F, 0x9D, 0x90, 0, 0, 0, 0, 0, 65}, 0, {}, nullptr},
    };
    for (const auto& c : cases) {
        const Coded back = decode(c.in, c.out.size());
        EXPECT_EQ(back.result, c.result);
        EXPECT_EQ(back.bytes, c.out);
        if (c.message != nullptr) {
            EXPECT_TRUE(log.tookOnly(LOG_ERROR, "lzwDecode", c.message)) << c.message;
        }
    }
    EXPECT_TRUE(log.lines().empty());
}
