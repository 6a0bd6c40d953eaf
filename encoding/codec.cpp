#include "encoding/codec.h"

#include <array>
#include <atomic>

namespace orvkit {
namespace {

constexpr std::size_t kPackings = static_cast<std::size_t>(Packing::deflated) + 1;

std::array<std::atomic<const DataSetCodec*>, kPackings> codecs{};

}  // namespace

void registerCodec(Packing packing, const DataSetCodec* codec) noexcept {
    if (packing != Packing::plain) codecs[static_cast<std::size_t>(packing)] = codec;
}

const DataSetCodec* codecOf(DICT_UID syntax) noexcept {
    return codecs[static_cast<std::size_t>(syntaxRow(syntax).packing)];
}

}  // namespace orvkit
