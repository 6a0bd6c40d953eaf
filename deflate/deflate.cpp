// The codec of deflated data sets: zlib behind the library's hook.
#include "orvkit/deflate.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include "deflate/zlib_pass.h"
#include "encoding/codec.h"
#include "orvkit/result.h"

namespace {

using orvkit::CodecStep;
using orvkit::CodecStream;
using orvkit::DataSetCodec;
using namespace orvkit::zlib;

using Bytes = std::span<const unsigned char>;
using Room = std::span<unsigned char>;

std::atomic<std::uint64_t> mostBytes = std::uint64_t{1} << 31;

class Deflater final : public CodecStream {
  public:
    Deflater() : sound_(begin()) {}
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;
    ~Deflater() override { (void)deflateEnd(&z_); }

    CodecStep step(Bytes& in, Room& out, bool last) override {
        if (!sound_) return CodecStep::noMemory;
        const int result = pass(z_, in, out, [&] { return deflate(&z_, last ? Z_FINISH : Z_NO_FLUSH); });
        if (result == Z_STREAM_END) return CodecStep::ended;
        return result == Z_OK || result == Z_BUF_ERROR ? CodecStep::more : CodecStep::damaged;
    }

  private:
    bool begin() {
        return deflateInit2(&z_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kRawWindow, kMemoryLevel,
                            Z_DEFAULT_STRATEGY) == Z_OK;
    }

    z_stream z_{};
    bool sound_;
};

// Holds back the first bytes until they tell whether they are a header of zlib's (RFC 1950).
class Inflater final : public CodecStream {
  public:
    Inflater() : sound_(inflateInit2(&z_, kRawWindow) == Z_OK) {}
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() override { (void)inflateEnd(&z_); }

    CodecStep step(Bytes& in, Room& out, bool last) override {
        if (!sound_) return CodecStep::noMemory;
        if (!settled_ && !settle(in, last)) return CodecStep::more;
        if (ended_) return passTrailer(in, last);
        int result = Z_OK;
        if (headAt_ < headSize_) {
            Bytes head(head_.data() + headAt_, headSize_ - headAt_);
            result = run(head, out);
            headAt_ = headSize_ - head.size();
        }
        if (result == Z_OK && headAt_ == headSize_) result = run(in, out);
        if (result == Z_STREAM_END) {
            ended_ = true;
            return passTrailer(in, last);
        }
        if (result == Z_MEM_ERROR) return CodecStep::noMemory;
        return result == Z_OK ? CodecStep::more : CodecStep::damaged;
    }
    const char* remark() const noexcept override {
        return wrapped_ ? "the deflated data set has a zlib header, which does not belong there" : "";
    }

  private:
    static constexpr std::size_t kHead = 5;  // the header of a stored block
    static constexpr std::size_t kHeader = 2;
    static constexpr std::size_t kChecksum = 4;

    // No bytes, or no room for any, is no fault here.
    int run(Bytes& in, Room& out) {
        const int result = pass(z_, in, out, [this] { return inflate(&z_, Z_NO_FLUSH); });
        return result == Z_BUF_ERROR ? Z_OK : result;
    }
    bool settle(Bytes& in, bool last) {
        const std::size_t n = std::min(kHead - headSize_, in.size());
        std::copy_n(in.begin(), n, head_.begin() + static_cast<std::ptrdiff_t>(headSize_));
        headSize_ += n;
        in = in.subspan(n);
        settled_ = headSize_ == kHead || last;
        wrapped_ = settled_ && isWrapped();
        if (wrapped_) headAt_ = kHeader;
        return settled_;
    }
    // The first byte of such a header would begin a stored block, whose length comes again, inverted.
    bool isWrapped() const {
        const bool header = headSize_ == kHead && (head_[0] & 0x0F) == Z_DEFLATED && head_[0] <= 0x7F &&
                            (head_[0] * 256u + head_[1]) % 31 == 0 && (head_[1] & 0x20) == 0;
        return header && ((head_[1] ^ head_[3]) != 0xFF || (head_[2] ^ head_[4]) != 0xFF);
    }
    // The checksum behind a stream with a header; it is not looked at, and may be missing.
    CodecStep passTrailer(Bytes& in, bool last) {
        const std::size_t n = std::min(in.size(), wrapped_ ? kChecksum - trailer_ : 0);
        in = in.subspan(n);
        trailer_ += n;
        return !wrapped_ || trailer_ == kChecksum || last ? CodecStep::ended : CodecStep::more;
    }

    z_stream z_{};
    bool sound_;
    bool settled_ = false;
    bool wrapped_ = false;
    bool ended_ = false;
    std::array<unsigned char, kHead> head_{};
    std::size_t headSize_ = 0;
    std::size_t headAt_ = 0;
    std::size_t trailer_ = 0;
};

template <typename Stream>
std::unique_ptr<CodecStream> make() {
    return std::unique_ptr<CodecStream>(new (std::nothrow) Stream);
}

constexpr DataSetCodec kCodec{make<Deflater>, make<Inflater>, [] { return mostBytes.load(); }};

}  // namespace

void deflateRegister() noexcept {
    orvkit::registerCodec(orvkit::Packing::deflated, &kCodec);
}

int deflateSetMaxSize(unsigned long long bytes) noexcept {
    if (bytes == 0) return DIR_FILE_SIZE;
    mostBytes = bytes;
    return RESULT_OK;
}
