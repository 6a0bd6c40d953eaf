#include "orvkit/lzw.h"

#include <random>

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

// A stream of 9-bit codes.
Bytes streamOf(unsigned int maxWidth, const std::vector<unsigned int>& codes) {
    Bytes bytes{0x1F, 0x9D, static_cast<unsigned char>(0x80 | maxWidth), 0, 0, 0, 0, 0};
    unsigned int bits = 0;
    for (const unsigned int code : codes) {
        for (unsigned int i = 0; i < 9; ++i, ++bits) {
            if (bits % 8 == 0) bytes.push_back(0);
            bytes.back() = static_cast<unsigned char>(bytes.back() | (code >> i & 1) << bits % 8);
        }
    }
    return bytes;
}

// Either direction a piece at a time; `most` bytes are taken.
struct Pieces {
    explicit Pieces(const Bytes& from, std::size_t atOnce, std::size_t takes = SIZE_MAX)
        : in(from), piece(atOnce), most(takes) {}

    const Bytes& in;
    std::size_t piece, most, at = 0;
    Bytes out;

    DcLzwIo io() {
        return {this,
                [](void* context, unsigned char* into, unsigned int room) {
                    auto& self = *static_cast<Pieces*>(context);
                    const std::size_t n = std::min({std::size_t{room}, self.piece, self.in.size() - self.at});
                    std::copy_n(self.in.begin() + static_cast<std::ptrdiff_t>(self.at), n, into);
                    self.at += n;
                    return static_cast<int>(n);
                },
                [](void* context, const unsigned char* bytes, unsigned int length) {
                    auto& self = *static_cast<Pieces*>(context);
                    if (length > self.most - self.out.size()) return false;
                    self.out.insert(self.out.end(), bytes, bytes + length);
                    return true;
                }};
    }
};

Bytes noise(std::size_t size, unsigned int values) {
    std::mt19937 random(1);
    Bytes bytes(size);
    for (auto& b : bytes) b = static_cast<unsigned char>(random() % values);
    return bytes;
}

}  // namespace

TEST(LzwEncode, WritesTheExactBytesOfAStream) {
    const std::string in = "ABABABA";  // 041 042 101 103
    EXPECT_EQ(encode({in.begin(), in.end()}, 100).bytes,
              (Bytes{0x1F, 0x9D, 0x90, 0, 7, 0, 0, 0, 0x41, 0x84, 0x04, 0x1C, 0x08}));
}

TEST(Lzw, StopsWhereTheRoomEnds) {
    CaptureLog log;
    const Bytes same(500, 7);
    const Bytes stream = encode(same, 500).bytes;
    for (std::size_t room = 0; room < stream.size(); ++room) {
        EXPECT_EQ(encode(same, room).result, ELEM_LZW_OUTPUT);
        log.expect(LOG_ERROR, "putCode", "Insufficient buffer size");
    }
    EXPECT_EQ(encode(same, stream.size()).result, 0);
    for (std::size_t room = 0; room < same.size(); ++room) {
        const Coded back = decode(stream, room);
        EXPECT_EQ(back.result, ELEM_LZW_OUTPUT);
        log.expect(LOG_ERROR, "lzwDecode", "Insufficient buffer size");
        EXPECT_EQ(back.bytes, Bytes(room, 7));
    }
}

TEST(LzwDecode, RefusesBrokenStreams) {
    CaptureLog log;
    const struct {
        Bytes in;
        int result;
        Bytes out;
        const char* message;
    } cases[] = {
        {{}, ELEM_LZW_HEADER, {}, "Bad magic number"},
        {{0x1F, 0x9E, 0x90, 0, 1, 0, 0, 0}, ELEM_LZW_HEADER, {}, "Bad magic number"},
        {{0x1F, 0x9D, 0x91, 0, 1, 0, 0, 0}, ELEM_LZW_HEADER, {}, "Max bitsize 17 (0x11) exceeds limit"},
        {streamOf(16, {65, 258}), ELEM_LZW_CODE, {65}, "Code 0x0102 not found"},
        {streamOf(16, {65, 66, 256, 65, 258}), ELEM_LZW_CODE, {65, 66, 65}, "Code 0x0102 not found"},
        {streamOf(8, {65, 66}), ELEM_LZW_CODE, {65, 66}, "Insufficient codes"},
        // Fine, if odd: a string that is the last one and its own first byte, a CLEAR in front of everything
        // and behind it, and bits that make no code.
        {streamOf(16, {65, 257, 258}), 0, {65, 65, 65, 65, 65, 65}, nullptr},
        {streamOf(16, {65, 256}), 0, {65}, nullptr},
        {{0x1F, 0x9D, 0x90, 0, 0, 0, 0, 0, 65}, 0, {}, nullptr}};
    for (const auto& c : cases) {
        const Coded back = decode(c.in, c.out.size());
        EXPECT_EQ(back.result, c.result);
        EXPECT_EQ(back.bytes, c.out);
        if (c.message != nullptr) {
            log.expect(LOG_ERROR, "lzwDecode", c.message);
        }
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST(LzwPieces, GiveTheSameBytesAsInMemory) {
    Bytes old = noise(60000, 3);  // whose strings come again when they have long left the window
    old.insert(old.end(), 9 << 20, 0);
    const Bytes again = noise(60000, 3);
    old.insert(old.end(), again.begin(), again.end());
    for (const Bytes& in : {Bytes{}, Bytes{7}, Bytes(100, 7), noise(700000, 7), noise(70000, 256), old}) {
        const Coded whole = encode(in, in.size() * 2 + 100);
        for (const std::size_t piece : {std::size_t{1000}, std::size_t{1} << 20}) {
            Pieces packed(in, piece);
            EXPECT_EQ(lzwEncode(packed.io(), static_cast<unsigned int>(in.size())), RESULT_OK);
            EXPECT_TRUE(packed.out == whole.bytes) << in.size();
            Pieces unpacked(packed.out, piece);
            EXPECT_EQ(lzwDecode(unpacked.io()), RESULT_OK);
            EXPECT_TRUE(unpacked.out == in) << in.size();
        }
    }
}

TEST(LzwPieces, EndWithWhatCannotBeReadOrTaken) {
    const CaptureLog log;
    const Bytes in = noise(200000, 7);
    const Bytes packed = encode(in, in.size()).bytes;
    Pieces shorter(in, 1000);
    EXPECT_EQ(lzwEncode(shorter.io(), 200001), UTIL_READ);
    Pieces refused(in, 1000, packed.size() - 1);
    EXPECT_EQ(lzwEncode(refused.io(), 200000), ELEM_LZW_OUTPUT);
    Pieces full(packed, 1000, in.size() - 1);
    EXPECT_EQ(lzwDecode(full.io()), ELEM_LZW_OUTPUT);
    const Bytes empty;
    Pieces none(empty, 1000);
    EXPECT_EQ(lzwDecode(none.io()), ELEM_LZW_HEADER);
    const Bytes wrong = streamOf(16, {65, 300});
    Pieces corrupt(wrong, 1000);
    EXPECT_EQ(lzwDecode(corrupt.io()), ELEM_LZW_CODE);
    EXPECT_EQ(lzwDecode(DcLzwIo{}), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(lzwEncode(DcLzwIo{}, 1), ELEM_NULL_ARGUMENT);
}
