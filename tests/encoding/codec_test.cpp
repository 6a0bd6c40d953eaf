// The hook for codecs of whole data sets, with a codec of which everything is known.
#include "encoding/codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace orvkit {
namespace {

using Bytes = std::vector<unsigned char>;
using Fault = CodecFault;

// Runs: a number, 1 to 255, and a byte that stands that often. A number of 0 ends the stream.
class RunReader final : public CodecStream {
  public:
    CodecStep step(std::span<const unsigned char>& in, std::span<unsigned char>& out, bool last) override {
        for (;;) {
            const std::size_t n = std::min<std::size_t>(left_, out.size());
            std::fill_n(out.begin(), n, byte_);
            out = out.subspan(n);
            left_ -= static_cast<unsigned int>(n);
            if (left_ != 0) return CodecStep::more;
            if (!in.empty() && in[0] == 0) {
                in = in.subspan(1);
                return CodecStep::ended;
            }
            if (in.size() < 2) return last ? CodecStep::damaged : CodecStep::more;
            left_ = in[0];
            byte_ = in[1];
            in = in.subspan(2);
        }
    }

  private:
    unsigned int left_ = 0;
    unsigned char byte_ = 0;
};

class RunWriter final : public CodecStream {
  public:
    CodecStep step(std::span<const unsigned char>& in, std::span<unsigned char>& out, bool) override {
        while (!in.empty()) {
            if (out.size() < 2) return CodecStep::more;
            std::size_t n = 1;
            while (n < 255 && n < in.size() && in[n] == in[0]) ++n;
            out[0] = static_cast<unsigned char>(n);
            out[1] = in[0];
            out = out.subspan(2);
            in = in.subspan(n);
        }
        if (out.empty()) return CodecStep::more;
        out[0] = 0;
        out = out.subspan(1);
        return CodecStep::ended;
    }
};

constexpr DataSetCodec kRuns{
    []() -> std::unique_ptr<CodecStream> { return std::make_unique<RunWriter>(); },
    []() -> std::unique_ptr<CodecStream> { return std::make_unique<RunReader>(); },
    []() -> std::uint64_t { return 1 << 20; },
};

class Taken final : public ByteSink {
  public:
    explicit Taken(std::size_t room = SIZE_MAX) : room_(room) {}
    [[nodiscard]] bool put(std::span<const unsigned char> in) override {
        if (bytes.size() + in.size() > room_) return false;
        bytes.insert(bytes.end(), in.begin(), in.end());
        return true;
    }
    Bytes bytes;

  private:
    std::size_t room_;
};

TEST(DataSetCodec, IsThereForItsSyntaxesWhileItIsRegistered) {
    EXPECT_EQ(codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT), nullptr);
    registerCodec(Packing::deflated, &kRuns);
    registerCodec(Packing::plain, &kRuns);
    EXPECT_EQ(codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT), &kRuns);
    EXPECT_EQ(codecOf(UID_JPIP_REFERENCED_DEFLATE), &kRuns);
    for (const DICT_UID other : {UID_NONE, UID_LITTLE_ENDIAN_EXPLICIT, UID_ORVKIT5_LZW, DICT_UID{9999}}) {
        EXPECT_EQ(codecOf(other), nullptr);
    }
    registerCodec(Packing::deflated, nullptr);
    EXPECT_EQ(codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT), nullptr);
}

TEST(DataSetCodec, OutputGrowsToItsEndAndNoFurther) {
    Bytes plain(300000);
    for (std::size_t i = 0; i < plain.size(); ++i) plain[i] = static_cast<unsigned char>(i / 1000);
    Taken packing;
    CodecPump packer(kRuns.encoder(), packing);
    ASSERT_EQ(packer.push(plain, true), Fault::none);
    const Bytes& packed = packing.bytes;
    EXPECT_LT(packed.size(), 3000u);
    EXPECT_TRUE(packer.ended());
    EXPECT_EQ(packer.given(), packed.size());

    const struct {
        std::size_t from, cut, piece, room;
        std::uint64_t most;
        Fault fault;
        std::size_t made;
    } cases[] = {
        {0, 0, 4096, SIZE_MAX, 300000, Fault::none, 300000},
        {0, 0, 2, SIZE_MAX, UINT64_MAX, Fault::none, 300000},
        {0, 0, 4096, SIZE_MAX, 200000, Fault::tooLarge, 200000},
        {0, 20, 7, SIZE_MAX, UINT64_MAX, Fault::damaged, 0},
        {0, 0, 4096, 100000, UINT64_MAX, Fault::refused, 65536},
    };
    for (const auto& c : cases) {
        Bytes stream = packed;
        if (c.cut != 0) stream.resize(c.cut);
        if (c.fault == Fault::none) stream.insert(stream.end(), {9, 9});
        Taken out(c.room);
        CodecPump pump(kRuns.decoder(), out, c.most);
        for (std::size_t at = 0; at < stream.size(); at += c.piece) {
            const std::size_t n = std::min(c.piece, stream.size() - at);
            (void)pump.push({stream.data() + at, n}, at + n == stream.size());
        }
        EXPECT_EQ(pump.fault(), c.fault);
        EXPECT_EQ(pump.ended(), c.fault == Fault::none);
        EXPECT_EQ(pump.given(), c.room == SIZE_MAX ? out.bytes.size() : 2 * c.made);
        if (c.made != 0) {
            EXPECT_EQ(out.bytes.size(), c.made);
        }
        EXPECT_TRUE(std::equal(out.bytes.begin(), out.bytes.end(), plain.begin()));
        if (c.fault == Fault::none) {
            EXPECT_EQ(pump.taken(), packed.size());
        }
    }
    Taken none;
    EXPECT_EQ(CodecPump(nullptr, none).push(packed, true), Fault::memory);
}

}  // namespace
}  // namespace orvkit
