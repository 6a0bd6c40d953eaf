#include "services/store_check.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <utility>

#include "orvkit/dict.h"
#include "orvkit/elemlist.h"
#include "orvkit/tags.h"
#include "services/charset.h"

namespace services {
namespace {

constexpr unsigned int kItem = 0xFFFEE000;
constexpr unsigned int kItemEnd = 0xFFFEE00D;
constexpr unsigned int kSequenceEnd = 0xFFFEE0DD;
constexpr unsigned int kUndefined = 0xFFFFFFFF;
constexpr std::size_t kShortHeader = 8;
constexpr std::size_t kLongHeader = 12;
constexpr std::uint64_t kLongestUid = 128;  // longer ones are not looked at

// With lengths of 16 and of 32 bits (PS3.5 7.1.2).
constexpr std::string_view kShortVrs[] = {"AE", "AS", "AT", "CS", "DA", "DS", "DT", "FD", "FL", "IS", "LO",
                                          "LT", "PN", "SH", "SL", "SS", "ST", "TM", "UI", "UL", "US"};
constexpr std::string_view kLongVrs[] = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ",
                                         "SV", "UC", "UN", "UR", "UT", "UV"};

template <std::size_t N>
bool among(const std::string_view (&vrs)[N], std::string_view vr) {
    return std::find(std::begin(vrs), std::end(vrs), vr) != std::end(vrs);
}

// Letters of no VR: a known tag has its own VR, as in decoding.
bool hasLongHeader(std::string_view vr, unsigned int tag) {
    if (among(kShortVrs, vr)) return false;
    if (among(kLongVrs, vr)) return true;
    const DcDictFacts facts = Dict.facts(tag);
    if (!facts.known) return true;
    return facts.vr == VR_OB || facts.vr == VR_OF || facts.vr == VR_OW || facts.vr == VR_OX ||
           facts.vr == VR_SQ || facts.vr == VR_UT || facts.vr == VR_UN;
}

std::string tagText(unsigned int tag) {
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", tag >> 16, tag & 0xFFFF);
    return text;
}

// Without the padding on either side.
std::string trimmed(const std::string& uid) {
    constexpr std::string_view padding(" \0", 2);
    const std::size_t from = uid.find_first_not_of(padding);
    if (from == std::string::npos) return {};
    return uid.substr(from, uid.find_last_not_of(padding) + 1 - from);
}

}  // namespace

StoreCheck::StoreCheck(DICT_UID xferSyn, std::string sopClass, std::string instance)
    : sopClass_(std::move(sopClass)),
      instance_(std::move(instance)),
      explicitVr_(xferSyn != UID_LITTLE_ENDIAN_IMPLICIT),
      big_(xferSyn == UID_BIG_ENDIAN_EXPLICIT),
      done_(xferSyn == UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT) {}

void StoreCheck::stop(Verdict verdict, std::string fault) {
    if (done_) return;
    done_ = true;
    verdict_ = verdict;
    fault_ = std::move(fault);
}

void StoreCheck::pass(const unsigned char* data, std::size_t length) {
    while (length > 0 && !done_) {
        const std::size_t taken = left_ > 0 ? takeValue(data, length) : takeHead(data, length);
        data += taken;
        length -= taken;
    }
}

void StoreCheck::end() {
    if (done_) return;
    // What only looked like a sequence proves nothing.
    if (std::any_of(levels_.begin(), levels_.end(), [](const Level& l) { return !l.certain; })) return;
    if (left_ > 0) {
        return stop(Verdict::broken, "its data set ends " + std::to_string(left_) +
                                         " bytes before the end of element " + tagText(tag_));
    }
    const bool padding =
        std::all_of(head_, head_ + headSize_, [](unsigned char c) { return c == 0 || c == ' '; });
    if (!padding) stop(Verdict::broken, "its data set ends inside the header of an element");
}

std::size_t StoreCheck::takeValue(const unsigned char* data, std::size_t length) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(left_, length));
    if (kept_) text_.append(data, data + taken);
    left_ -= taken;
    if (left_ == 0 && kept_) valueComplete();
    return taken;
}

std::size_t StoreCheck::takeHead(const unsigned char* data, std::size_t length) {
    const std::size_t taken = std::min(headWanted_ - headSize_, length);
    std::copy_n(data, taken, head_ + headSize_);
    headSize_ += taken;
    if (headSize_ == headWanted_) header();
    return taken;
}

unsigned int StoreCheck::number(std::size_t at, std::size_t size) const {
    unsigned int all = 0;
    for (std::size_t i = 0; i < size; ++i) all = all << 8 | head_[big_ ? at + i : at + size - 1 - i];
    return all;
}

// The first 8 bytes of a header are here, or all 12.
void StoreCheck::header() {
    const unsigned int tag = number(0, 2) << 16 | number(2, 2);
    if (tag == kItem || tag == kItemEnd || tag == kSequenceEnd) {
        delimiter(tag);
    } else if (!levels_.empty() && levels_.back().inside != Inside::item) {
        giveUp();  // an item was due
    } else {
        element(tag);
    }
}

void StoreCheck::element(unsigned int tag) {
    // Group 0000 is implicit in every transfer syntax; so are the zeros of padding.
    const bool explicitVr = tag >= 0x10000 && (levels_.empty() ? explicitVr_ : levels_.back().explicitVr);
    const std::string_view vr(reinterpret_cast<const char*>(head_) + 4, 2);
    unsigned int length = 0;
    if (!explicitVr) {
        length = number(4, 4);
    } else if (!hasLongHeader(vr, tag)) {
        length = number(6, 2);
    } else if (headWanted_ == kShortHeader) {
        headWanted_ = kLongHeader;
        return;
    } else {
        length = number(8, 4);
    }
    headSize_ = 0;
    headWanted_ = kShortHeader;
    tag_ = tag;
    if (length == kUndefined) return open(tag, explicitVr);
    value(length);
}

void StoreCheck::value(std::uint64_t length) {
    left_ = length;
    kept_ = levels_.empty() && length > 0 && length <= kLongestUid &&
            (tag_ == T_0008_0016_sopClassUid || tag_ == T_0008_0018_sopInstanceUid);
    if (kept_) text_.clear();
}

// An element of undefined length.
void StoreCheck::open(unsigned int tag, bool explicitVr) {
    const std::string_view vr(reinterpret_cast<const char*>(head_) + 4, 2);
    if (tag == T_7fe0_0010_pixelData) return push({Inside::fragments, explicitVr, true});
    if (!explicitVr) return push({Inside::sequence, false, Dict.facts(tag).vr == VR_SQ});
    if (vr == "SQ") return push({Inside::sequence, true, true});
    // UN of undefined length is a sequence in implicit encoding (PS3.5 6.2.2), by everybody's word but some.
    if (vr == "UN") return big_ ? giveUp() : push({Inside::sequence, false, false});
    push({Inside::fragments, explicitVr, false});
}

void StoreCheck::push(Level level) {
    if (levels_.size() < 2 * std::size_t{ELEM_MAX_NESTING}) return levels_.push_back(level);
    stop(Verdict::broken,
         "its sequences are nested deeper than " + std::to_string(ELEM_MAX_NESTING) + " levels");
}

// An item, or the end of one or of a sequence. They may only stand where they have a meaning.
void StoreCheck::delimiter(unsigned int tag) {
    headSize_ = 0;
    if (levels_.empty()) return giveUp();
    const Level level = levels_.back();
    if (tag == (level.inside == Inside::item ? kItemEnd : kSequenceEnd)) return levels_.pop_back();
    if (tag != kItem || level.inside == Inside::item) return giveUp();
    const unsigned int length = number(4, 4);
    tag_ = kItem;
    if (length != kUndefined) return value(length);
    if (level.inside == Inside::fragments) return giveUp();
    push({Inside::item, level.explicitVr, level.certain});
}

void StoreCheck::valueComplete() {
    kept_ = false;
    const bool isClass = tag_ == T_0008_0016_sopClassUid;
    const std::string uid = trimmed(text_);
    if (uid.empty() || uid == trimmed(isClass ? sopClass_ : instance_)) return;
    stop(isClass ? Verdict::otherClass : Verdict::otherInstance,
         std::string("its data set names another SOP ") + (isClass ? "class" : "instance") + ": " +
             withEscapes(uid));
}

}  // namespace services
