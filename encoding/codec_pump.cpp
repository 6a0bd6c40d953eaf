#include <utility>

#include "encoding/codec.h"

namespace orvkit {
namespace {
constexpr std::size_t kBuffer = 65536;
}

CodecPump::CodecPump(std::unique_ptr<CodecStream> stream, ByteSink& to, std::uint64_t most)
    : stream_(std::move(stream)), to_(to), most_(most), buffer_(kBuffer) {
    if (stream_ == nullptr) fault_ = CodecFault::memory;
}

CodecFault CodecPump::give(std::span<const unsigned char> bytes) {
    const std::uint64_t room = most_ - given_;
    const bool fits = bytes.size() <= room;
    if (!fits) bytes = bytes.first(static_cast<std::size_t>(room));
    given_ += bytes.size();
    if (!bytes.empty() && !to_.put(bytes)) return CodecFault::refused;
    return fits ? CodecFault::none : CodecFault::tooLarge;
}

CodecFault CodecPump::push(std::span<const unsigned char> in, bool last) {
    while (!ended_ && fault_ == CodecFault::none) {
        const std::size_t before = in.size();
        std::span<unsigned char> room(buffer_);
        const CodecStep step = stream_->step(in, room, last);
        const std::size_t made = buffer_.size() - room.size();
        taken_ += before - in.size();
        fault_ = give(std::span(buffer_).first(made));
        ended_ = step == CodecStep::ended;
        if (fault_ != CodecFault::none || ended_) break;
        if (step == CodecStep::noMemory) fault_ = CodecFault::memory;
        if (step == CodecStep::damaged) fault_ = CodecFault::damaged;
        if (step != CodecStep::more || !room.empty()) {
            if (!last && in.empty()) break;
            // Neither taken nor given: it wants what there is not.
            const bool moved = made != 0 || in.size() != before;
            if (step == CodecStep::more && !moved) fault_ = CodecFault::damaged;
        }
    }
    return fault_;
}

}  // namespace orvkit
