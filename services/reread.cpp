#include "services/reread.h"

#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "services/report.h"

namespace services {
namespace {

constexpr std::uint64_t kLargeValue = 1 << 16;  // a value that is not read
constexpr std::size_t kUsualHeader = 8 << 10;   // what an image has beside its pixels
constexpr std::size_t kMostRead = 8 << 20;      // of the others together

// Of what the decoder tells, what leaves bytes that it has not read.
void noteLoss(void* context, const DcElemFault& fault) {
    auto& text = *static_cast<std::string*>(context);
    const bool loss = fault.result == ELEM_SHORT_BUFFER || fault.result == UTIL_NO_TERMINATOR;
    if (loss && text.empty()) text = fault.text;
}

// Explicit in every syntax but one, once Pixel Data is left out.
DICT_UID syntaxOf(orvkit::Mode mode) {
    if (!mode.explicitVr) return UID_LITTLE_ENDIAN_IMPLICIT;
    return mode.order == orvkit::ByteOrder::big ? UID_BIG_ENDIAN_EXPLICIT : UID_LITTLE_ENDIAN_EXPLICIT;
}

}  // namespace

bool Reread::tooMuch() const {
    return kept_.size() > kMostRead;
}

// Up to the end of what is left out.
std::size_t Reread::passOver(std::span<const unsigned char> bytes) {
    const bool big = mode_.order == orvkit::ByteOrder::big;
    const std::uint64_t delimitation = big ? 0xFFFEE0DD00000000u : 0xFEFFDDE000000000u;
    const std::size_t from = searches_ || bytes.size() < 8 ? 0 : bytes.size() - 8;
    for (std::size_t i = from; i < bytes.size(); ++i) {
        last8_ = last8_ << 8 | bytes[i];
        if (!searches_ || last8_ != delimitation) continue;
        leavesOut_ = searches_ = false;
        return i + 1;
    }
    return bytes.size();
}

void Reread::add(std::span<const unsigned char> bytes) {
    if (leavesOut_) bytes = bytes.subspan(passOver(bytes));
    if (kept_.empty()) kept_.reserve(kUsualHeader);
    if (!tooMuch()) kept_.insert(kept_.end(), bytes.begin(), bytes.end());
}

void Reread::valueBegins(const orvkit::WalkHeader& header) {
    const bool structured = header.vr == VR_SQ || (header.vr == VR_UN && header.mode.explicitVr);
    const bool large =
        header.length != orvkit::kLengthUndefined && header.length > kLargeValue && !structured;
    if ((!large && header.tag != orvkit::kTagPixelData) || tooMuch()) return;
    leavesOut_ = true;
    kept_.resize(kept_.size() - header.size);
}

std::string Reread::fault(bool strictly) {
    if (searches_) return "its pixel data have no end";
    if (tooMuch()) return strictly ? "it cannot be followed" : "";
    if (kept_.empty()) return {};
    DcElemList list;
    auto length = static_cast<unsigned int>(kept_.size());
    std::string loss;
    forgetFault();
    (void)elemListRegisterFaultCB(&loss, noteLoss);
    const int result = list.decode(kept_.data(), length, syntaxOf(mode_));
    (void)elemListRegisterFaultCB(nullptr, nullptr);
    if (result == RESULT_OK && (!strictly || loss.empty())) return {};
    if (loss.empty()) loss = lastFault();
    return loss.empty() ? "result " + std::to_string(result) : loss;
}

}  // namespace services
