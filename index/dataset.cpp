// Attributes from data sets, and data sets from attributes.
#include <limits>

#include "dictionary/vr_table.h"
#include "encoding/header.h"
#include "foundation/bytes.h"
#include "index/attributes.h"
#include "index/trouble.h"
#include "orvkit/charset.h"
#include "orvkit/index.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "orvkit/util.h"

namespace orvkit::index {
namespace {

constexpr unsigned int kMostLevels = 64;  // more than is taken of objects

[[noreturn]] void tooDeepThere() {
    fail(INDEX_DAMAGED, "sequences in the index are nested too deep");
}

constexpr unsigned int kPixels = 0x7FE00000;

// A VR that stands for a choice of some becomes the likeliest.
DICT_VR settled(DICT_VR vr) {
    switch (vr) {
        case VR_OX:
            return VR_OW;
        case VR_XL:
            return VR_UL;
        case VR_XS:
            return VR_US;
        default:
            return vrRowOfAny(vr).written == vr && vrRowOfAny(vr).kind != Kind::hidden ? vr : VR_UN;
    }
}

bool isText(DICT_VR vr) {
    const VrRow& row = vrRowOfAny(vr);
    return row.held == Held::text || row.kind == Kind::longText;
}

// Memory of utilNew.
struct Converted {
    char* text = nullptr;
    unsigned int length = 0;
    ~Converted() { utilDelete(text); }
    std::string_view view() const { return {text != nullptr ? text : "", length}; }
};

class Taker {
  public:
    explicit Taker(const Bounds& bounds) : bounds_(bounds) {}

    void dataSet(DcElemList& list, std::string charset, int depth, Bytes& bytes) {
        DcElem* named = nullptr;
        if (list.getElem(T_0008_0005_specificCharacterSet, &named) == RESULT_OK && raw(*named, bounds_.text))
            charset = trimmed(value_);
        for (DcElem* element = list.first(); element != nullptr; element = element->next()) {
            unsigned int tag = 0;
            (void)element->getTag(tag);
            if (tag >= kPixels || (tag & 0xFFFF) == 0 || tag == T_0008_0005_specificCharacterSet) continue;
            if (auto* const sequence = dynamic_cast<DcElemSq*>(element)) {
                items(*sequence, tag, charset, depth, bytes);
            } else {
                plain(*element, tag, charset, bytes);
            }
        }
    }
    bool tooDeep() const { return tooDeep_; }

  private:
    // Puts the value's bytes into value_; false: there are too many, or they are not in memory.
    bool raw(DcElem& element, std::size_t most) {
        unsigned int size = 0;
        if (element.getBufSize(size, nullptr) != RESULT_OK || size > most + kLongHeader) return false;
        room_.resize(size);
        if (element.frame(room_.data(), size, UID_LITTLE_ENDIAN_IMPLICIT) != RESULT_OK || size < kShortHeader)
            return false;
        value_ = {reinterpret_cast<const char*>(room_.data()) + kShortHeader, size - kShortHeader};
        return value_.size() <= most;
    }

    void plain(DcElem& element, unsigned int tag, const std::string& charset, Bytes& bytes) {
        const DICT_VR vr = settled(element.getVr());
        const bool text = isText(vr);
        if (element.getValueCount() == 0) return append(bytes, tag, vr, {});
        if (!raw(element, text ? bounds_.text : bounds_.binary)) return;
        if (!text) return append(bytes, tag, vr, value_);
        if (isAscii(value_) && value_.find('\x1B') == std::string_view::npos)
            return append(bytes, tag, vr, trimmedText(value_, vr));
        Converted utf8;
        const int result = textToUtf8(charset.c_str(), vr, value_.data(),
                                      static_cast<unsigned int>(value_.size()), utf8.text, utf8.length);
        if (result == ELEM_NO_MEMORY) throw std::bad_alloc();
        append(bytes, tag, vr, trimmedText(utf8.view(), vr));
    }

    // Blanks in front belong to long texts.
    static std::string_view trimmedText(std::string_view text, DICT_VR vr) {
        const std::string_view all = trimmed(text);
        if (!vrRowOfAny(vr).indents() || all.empty()) return all;
        return text.substr(0, static_cast<std::size_t>(all.data() - text.data()) + all.size());
    }

    void items(DcElemSq& sequence, unsigned int tag, const std::string& charset, int depth, Bytes& bytes) {
        if (depth >= INDEX_NESTING) {
            tooDeep_ = true;
            return;
        }
        unsigned int size = 0;
        if (sequence.getBufSize(size, nullptr) != RESULT_OK || size > bounds_.sequence) return;
        Bytes value;
        for (DcElemSqItem* item = sequence.first(); item != nullptr; item = item->next()) {
            Bytes content;
            dataSet(item->getElemList(), charset, depth + 1, content);
            appendItem(value, content);
        }
        append(bytes, tag, VR_SQ, value);
    }

    const Bounds& bounds_;
    std::vector<unsigned char> room_;
    std::string_view value_;
    bool tooDeep_ = false;
};

// Explicit VR little endian, which keeps the VRs.
class StreamGiver {
  public:
    explicit StreamGiver(std::string_view charset) : charset_(charset) {}

    void attributes(std::string_view bytes, std::string& out) {
        if (++depth_ > kMostLevels) tooDeepThere();
        AttributeReader reader(bytes);
        for (Attribute attribute; reader.next(attribute);) {
            if (attribute.vr == kAbsent) continue;
            value_.clear();
            if (attribute.vr == VR_SQ) {
                std::string items = sequence(attribute.value);
                put(out, attribute.tag, VR_SQ, items);
            } else {
                text(attribute);
                put(out, attribute.tag, attribute.vr, value_);
            }
        }
        --depth_;
    }

  private:
    void text(const Attribute& attribute) {
        value_ = attribute.value;
        if (!charset_.empty() && isText(attribute.vr) && !isAscii(attribute.value)) {
            Converted converted;
            const int result = textFromUtf8(charset_.c_str(), attribute.vr, attribute.value.data(),
                                            static_cast<unsigned int>(attribute.value.size()), converted.text,
                                            converted.length);
            if (result == ELEM_NO_MEMORY) throw std::bad_alloc();
            value_ = converted.view();
        }
        if (value_.size() % 2 != 0) value_ += vrRowOfAny(attribute.vr).padding;
    }

    std::string sequence(std::string_view value) {
        std::string out;
        ItemReader reader(value);
        for (std::string_view item; reader.next(item);) {
            std::string content;
            attributes(item, content);
            put(out, 0xFFFEE000, VR_SI, content);
        }
        return out;
    }

    static void put(std::string& out, unsigned int tag, DICT_VR vr, std::string_view value) {
        unsigned char header[kLongHeader];
        ByteWriter writer(header, ByteOrder::little);
        const auto length = static_cast<unsigned int>(value.size());
        if (vr == VR_SI) {
            writer.u16(static_cast<std::uint16_t>(tag >> 16));
            writer.u16(static_cast<std::uint16_t>(tag & 0xFFFF));
            writer.u32(length);
        } else {
            if (!lengthFits(Mode::explicitLittle(), vr, length)) value = {};
            writeHeader(writer, Mode::explicitLittle(), tag, vr, static_cast<unsigned int>(value.size()));
        }
        out.append(reinterpret_cast<const char*>(header), writer.offset());
        out += value;
    }

    std::string charset_;
    std::string value_;
    unsigned int depth_ = 0;
};

}  // namespace

bool takeAttributes(DcElemList& dataset, const Bounds& bounds, Bytes& bytes) {
    Taker taker(bounds);
    taker.dataSet(dataset, "", 0, bytes);
    return !taker.tooDeep();
}

void giveAttributes(std::string_view bytes, std::string_view charset, DcElemList& dataset) {
    std::string stream;
    StreamGiver(charset).attributes(bytes, stream);
    if (stream.empty()) return;
    // What the objects said is told as it is.
    (void)dataset.setValueExceptionLevel(0);
    auto length = static_cast<unsigned int>(stream.size());
    const int result = dataset.parse(stream.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    if (result == ELEM_NO_MEMORY) throw std::bad_alloc();
    if (result != RESULT_OK) fail(INDEX_DAMAGED, "attributes in the index make no data set");
}

void lookAtTexts(std::string_view bytes, std::string_view charset, Texts& texts, unsigned int level) {
    if (level >= kMostLevels) tooDeepThere();
    AttributeReader reader(bytes);
    for (Attribute attribute; reader.next(attribute);) {
        if (attribute.vr == VR_SQ) {
            ItemReader items(attribute.value);
            for (std::string_view item; items.next(item);) lookAtTexts(item, charset, texts, level + 1);
        } else if (isText(attribute.vr) && !isAscii(attribute.value)) {
            texts.ascii = false;
            Converted converted;
            const int result = textFromUtf8(
                std::string(charset).c_str(), attribute.vr, attribute.value.data(),
                static_cast<unsigned int>(attribute.value.size()), converted.text, converted.length);
            if (result != RESULT_OK) texts.fit = false;
        }
    }
}

}  // namespace orvkit::index
