#include "encoding/codec.h"

#include <algorithm>
#include <array>
#include <new>

namespace orvkit {
namespace {

constexpr std::size_t kFirstBlock = 65536;
constexpr std::size_t kPackings = static_cast<std::size_t>(Packing::deflated) + 1;

std::array<const DataSetCodec*, kPackings> codecs{};

}  // namespace

void registerCodec(Packing packing, const DataSetCodec* codec) noexcept {
    if (packing != Packing::plain) codecs[static_cast<std::size_t>(packing)] = codec;
}

const DataSetCodec* codecOf(DICT_UID syntax) noexcept {
    return codecs[static_cast<std::size_t>(syntaxRow(syntax).packing)];
}

CodecOutcome runCodec(CodecStream* stream, std::span<const unsigned char> in, std::vector<unsigned char>& out,
                      std::size_t most) {
    using Fault = CodecOutcome::Fault;
    if (stream == nullptr) return {Fault::memory};
    const std::size_t size = in.size();
    std::size_t used = out.size();
    Fault fault = Fault::none;
    try {
        for (bool ended = false; !ended && fault == Fault::none;) {
            if (used == out.size()) out.resize(std::min(most, std::max(kFirstBlock, 2 * used)));
            std::span<unsigned char> room = std::span(out).subspan(used);
            const std::size_t left = in.size();
            const CodecStep step = stream->step(in, room, true);
            const bool moved = in.size() != left || room.size() != out.size() - used;
            used = out.size() - room.size();
            if (step == CodecStep::noMemory) fault = Fault::memory;
            if (step == CodecStep::damaged) fault = Fault::damaged;
            ended = step == CodecStep::ended;
            // Neither taken nor given: it wants what there is not.
            if (step == CodecStep::more && !moved) fault = used == most ? Fault::tooLarge : Fault::damaged;
        }
    } catch (const std::bad_alloc&) {
        fault = Fault::memory;
    }
    out.resize(std::min(used, out.size()));
    return {fault, size - in.size()};
}

}  // namespace orvkit
