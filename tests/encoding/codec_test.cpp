// The hook for codecs of whole data sets, with a codec of which everything is known.
#include "encoding/codec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace orvkit {
namespace {

using Bytes = std::vector<unsigned char>;
using Fault = CodecOutcome::Fault;

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
    Bytes packed{7};
    ASSERT_EQ(runCodec(kRuns.encoder().get(), plain, packed, 1 << 20).fault, Fault::none);
    EXPECT_LT(packed.size(), 3000u);
    const auto stream = std::span(packed).subspan(1);

    Bytes again{1, 2, 3};
    const CodecOutcome whole = runCodec(kRuns.decoder().get(), stream, again, 300003);
    EXPECT_EQ(whole.fault, Fault::none);
    EXPECT_EQ(whole.taken, stream.size());
    EXPECT_EQ(Bytes(again.begin() + 3, again.end()), plain);

    Bytes most;
    EXPECT_EQ(runCodec(kRuns.decoder().get(), stream, most, 200000).fault, Fault::tooLarge);
    EXPECT_EQ(most, Bytes(plain.begin(), plain.begin() + 200000));

    packed.insert(packed.end(), {9, 9});
    Bytes behind;
    EXPECT_EQ(runCodec(kRuns.decoder().get(), std::span(packed).subspan(1), behind, 1 << 20).taken,
              packed.size() - 3);
    Bytes cut;
    EXPECT_EQ(runCodec(kRuns.decoder().get(), stream.first(20), cut, 1 << 20).fault, Fault::damaged);
    EXPECT_EQ(cut, Bytes(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(cut.size())));
    EXPECT_EQ(runCodec(nullptr, stream, cut, 1 << 20).fault, Fault::memory);
}

}  // namespace
}  // namespace orvkit
