#include "services/values.h"

#include <algorithm>
#include <cstring>

#include "dictionary/syntax_table.h"
#include "dictionary/vr_table.h"
#include "foundation/bytes.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace services {
namespace {

Charset charsetOf(DcElemList& list, const DumpedFile& file, const Charset& inherited) {
    if (file.charset != nullptr) return *file.charset;
    DcElem* const named = elementOf(list, T_0008_0005_specificCharacterSet);
    std::string terms;
    return named != nullptr && bytesOf(*named, terms) ? Charset(terms) : inherited;
}

// Numbers of little endian bytes.
template <typename T>
T numberAt(std::string_view bytes, std::size_t i) {
    T v{};
    if ((i + 1) * sizeof v <= bytes.size()) std::memcpy(&v, bytes.data() + i * sizeof v, sizeof v);
    return v;
}

bool isOneText(DICT_VR vr) {
    return orvkit::vrRowOfAny(vr).split == orvkit::Split::no;
}

// Without padding and other blanks that mean nothing (PS3.5 6.2).
std::string_view trimmed(std::string_view text, bool front) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
    while (front && !text.empty() && text.front() == ' ') text.remove_prefix(1);
    return text;
}

}  // namespace

Place::Place(DcElemList& elements, const DumpedFile& dumped)
    : list(elements), file(dumped), charset(charsetOf(elements, dumped, Charset())) {}

Place::Place(DcElemList& elements, const Place& around)
    : list(elements),
      file(around.file),
      outer(&around),
      charset(charsetOf(elements, around.file, around.charset)) {}

bool Place::signedPixels() const {
    for (const Place* p = this; p != nullptr; p = p->outer) {
        short representation = 0;
        if (p->list.getValue(T_0028_0103_pixelRepresentation, representation) == 0)
            return representation == 1;
    }
    return false;
}

DcElemSq* sequenceOf(DcElem& e) {
    return e.getVr() == VR_SQ ? dynamic_cast<DcElemSq*>(&e) : nullptr;
}

DICT_VR realVr(const DcElem& e, const Place& place) {
    const DICT_VR vr = e.getVr();
    switch (vr) {
        case VR_OX:
            return (tagOf(e) & 0xFF000000) == 0x50000000 ? VR_OB : VR_OW;  // implicit streams, PS3.5 A.1
        case VR_XL:
            return VR_UL;
        case VR_XS:
            return place.signedPixels() ? VR_SS : VR_US;
        case VR_UNKNOWN:
            return VR_UN;
        case VR_IM:
            return Dict.facts(tagOf(e)).vr;
        default:
            return vr;
    }
}

std::string_view vrLetters(DICT_VR vr) {
    const char* name = DcDict::vrName(vr);
    return *name == '\0' ? "UN" : name;
}

ValueKind kindOf(DICT_VR vr) {
    if (orvkit::vrRowOfAny(vr).written != vr) return ValueKind::none;  // a choice of VRs, not settled yet
    switch (orvkit::vrRowOfAny(vr).kind) {
        case orvkit::Kind::tagged:
            return ValueKind::tag;
        case orvkit::Kind::integer:
            return ValueKind::integer;
        case orvkit::Kind::real:
            return ValueKind::real;
        case orvkit::Kind::bytes:
        case orvkit::Kind::unknown:
            return ValueKind::raw;
        case orvkit::Kind::hidden:
            return ValueKind::none;
        default:
            return ValueKind::text;
    }
}

void Values::load(DcElem& e, const Place& place) {
    vr_ = realVr(e, place);
    kind_ = kindOf(vr_);
    if (vr_ != VR_UN || e.getVrCode(code_) != RESULT_OK) vrLetters(vr_).copy(code_, 2);
    count_ = 0;
    bytes_ = {};
    texts_.clear();
    isOnDisk_ = false;
    if (kind_ == ValueKind::none) return;
    if (orvkit::vrRowOfAny(vr_).isRaw()) {
        loadRaw(e);
    } else if (e.getValueCount() != 0) {
        unsigned int size = 0;
        if (e.getBufSize(size, nullptr) != 0) return;
        if (room_.size() < size) room_.resize(size);
        if (e.frame(room_.data(), size, UID_LITTLE_ENDIAN_IMPLICIT) != 0 || size < 8) return;
        bytes_ = std::string_view(reinterpret_cast<const char*>(room_.data()) + 8, size - 8);
    }
    if (kind_ == ValueKind::text) {
        loadTexts(place);
    } else if (kind_ != ValueKind::raw) {
        count_ = bytes_.size() / static_cast<std::size_t>(unit());
    }
}

void Values::loadRaw(DcElem& e) {
    DcBuf buf;
    if (e.getValue(buf) != 0) return;
    if (buf.getType() == BUF_FILE || buf.getType() == BUF_HANDLE) {
        const DICT_UID syntax = buf.getXferSyn();
        place_ = {buf.getOffset64(), buf.getLen64(), syntax == UID_NONE || Dict.isEncapsulated(syntax) != 0,
                  buf.getType() == BUF_FILE};
        isOnDisk_ = true;
        return;
    }
    if (buf.getType() != BUF_MEMORY || buf.getBuf() == nullptr) return;
    bytes_ = std::string_view(static_cast<const char*>(buf.getBuf()), buf.getLen());
    const unsigned int unit = orvkit::vrUnit(vr_);
    if (orvkit::syntaxRow(buf.getXferSyn()).order != orvkit::ByteOrder::big || unit == 1) return;
    room_.assign(bytes_.begin(), bytes_.end());
    orvkit::swapUnits(room_, unit);
    bytes_ = std::string_view(reinterpret_cast<const char*>(room_.data()), room_.size());
}

void Values::loadTexts(const Place& place) {
    std::string_view rest = trimmed(bytes_, false);
    if (rest.empty()) return;
    // A tilde is an overline in one of the sets.
    if (!isPlainAscii(rest) || rest.find('~') != std::string_view::npos) {
        utf8_ = place.charset.toUtf8(rest, vr_);
        rest = utf8_;
    }
    for (;;) {
        const std::size_t end = isOneText(vr_) ? std::string_view::npos : rest.find('\\');
        texts_.push_back(trimmed(rest.substr(0, end), !isOneText(vr_)));
        if (end == std::string_view::npos) break;
        rest.remove_prefix(end + 1);
    }
    count_ = texts_.size();
}

int Values::unit() const {
    return static_cast<int>(orvkit::vrUnit(vr_));
}

unsigned int Values::tag(std::size_t i) const {
    return static_cast<unsigned int>(numberAt<unsigned short>(bytes_, 2 * i)) << 16 |
           numberAt<unsigned short>(bytes_, 2 * i + 1);
}

long long Values::integer(std::size_t i) const {
    switch (orvkit::vrRowOfAny(vr_).held) {
        case orvkit::Held::i16:
            return numberAt<short>(bytes_, i);
        case orvkit::Held::u16:
            return numberAt<unsigned short>(bytes_, i);
        case orvkit::Held::i32:
            return numberAt<int>(bytes_, i);
        case orvkit::Held::i64:
        case orvkit::Held::u64:
            return numberAt<long long>(bytes_, i);
        default:
            return numberAt<unsigned int>(bytes_, i);
    }
}

std::string Values::integerText(std::size_t i) const {
    const long long value = integer(i);
    const bool isUnsigned = orvkit::vrRowOfAny(vr_).held == orvkit::Held::u64;
    return isUnsigned ? std::to_string(static_cast<unsigned long long>(value)) : std::to_string(value);
}

double Values::real(std::size_t i) const {
    return unit() == 4 ? static_cast<double>(numberAt<float>(bytes_, i)) : numberAt<double>(bytes_, i);
}

}  // namespace services
