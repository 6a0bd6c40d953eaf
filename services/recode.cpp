#include "services/recode.h"

#include "dictionary/vr_table.h"
#include "encoding/header.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/elements.h"
#include "services/text.h"

namespace services {
namespace {

constexpr unsigned int kCharset = T_0008_0005_specificCharacterSet;
constexpr const char* kUtf8 = "ISO_IR 192";

class Recoder {
  public:
    explicit Recoder(std::vector<std::string>& faults) : faults_(faults) {}

    void dataSet(DcElemList& list, std::string terms, const std::string& path) {
        DcElem* const named = elementOf(list, kCharset);
        if (named != nullptr) {
            if (!bytesOf(*named, terms)) return fault(path + tagText(kCharset), "no memory");
            if (!Charset(terms).known())
                fault(path + tagText(kCharset), "'" + withEscapes(terms) + "' is not known");
        }
        for (DcElem *element = list.first(), *next = nullptr; element != nullptr; element = next) {
            next = element->next();
            if (auto* sequence = dynamic_cast<DcElemSq*>(element)) {
                items(*sequence, terms, path + tagText(tagOf(*element)));
            } else if (orvkit::vrRowOfAny(element->getVr()).charset) {
                text(list, *element, terms, path + tagText(tagOf(*element)));
            }
        }
        if (named != nullptr || path.empty()) {
            list.add(new DcElem(kCharset, kUtf8));
        }
    }

  private:
    void fault(const std::string& where, const std::string& what) { faults_.push_back(where + ": " + what); }

    void items(DcElemSq& sequence, const std::string& terms, const std::string& path) {
        int number = 0;
        for (DcElemSqItem* item = sequence.first(); item != nullptr; item = item->next()) {
            dataSet(item->getElemList(), terms, path + "[" + std::to_string(++number) + "].");
        }
    }

    void text(DcElemList& list, DcElem& element, const std::string& terms, const std::string& where) {
        std::string given;
        if (!bytesOf(element, given)) return fault(where, "no memory");
        DcTextLoss loss;
        const std::string utf8 = Charset(terms).toUtf8(given, element.getVr(), &loss);
        if (loss.count != 0) {
            char byte[8];
            std::snprintf(byte, sizeof byte, "%02X", static_cast<unsigned char>(given[loss.first]));
            return fault(where, std::to_string(loss.count) + (loss.count == 1 ? " byte is" : " bytes are") +
                                    " no character of '" + withEscapes(terms) + "', the first is " + byte +
                                    " at offset " + std::to_string(loss.first));
        }
        if (utf8 != given && !exchange(list, element, utf8))
            fault(where, "too long for its value representation");
    }

    // An element of the same VR with that text.
    bool exchange(DcElemList& list, DcElem& element, std::string text) {
        const DICT_VR vr = element.getVr();
        if (text.size() % 2 != 0) text += ' ';
        const auto length = static_cast<unsigned int>(text.size());
        const orvkit::Mode mode = orvkit::Mode::explicitLittle();
        if (!orvkit::lengthFits(mode, vr, length)) return false;
        std::string bytes(orvkit::kLongHeader + text.size(), '\0');
        orvkit::ByteWriter writer({reinterpret_cast<unsigned char*>(bytes.data()), bytes.size()},
                                  orvkit::ByteOrder::little);
        orvkit::writeHeader(writer, mode, tagOf(element), vr, length);
        writer.bytes(text.data(), text.size());
        auto used = static_cast<unsigned int>(writer.offset());
        DcElemList made;
        if (made.parse(reinterpret_cast<unsigned char*>(bytes.data()), used, UID_LITTLE_ENDIAN_EXPLICIT) !=
            RESULT_OK)
            return false;
        list.subtract(&element);
        delete &element;
        return made.moveElem(&list) == RESULT_OK;
    }

    std::vector<std::string>& faults_;
};

}  // namespace

std::vector<std::string> recodeToUtf8(DcElemList& dataset) {
    std::vector<std::string> faults;
    Recoder(faults).dataSet(dataset, "", "");
    return faults;
}

}  // namespace services
