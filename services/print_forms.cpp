// The dump for people: tree and flat.
#include <algorithm>
#include <cstring>

#include "orvkit/dict.h"
#include "services/print_forms.h"
#include "services/values.h"

namespace services {
namespace {

constexpr std::size_t kTextLimit = 80;
constexpr std::size_t kNameColumns = 40;
constexpr std::size_t kLongest = 64;  // of keywords
constexpr std::size_t kHexPreview = 16;
constexpr std::size_t kDigits = 11;  // of a name: "T_gggg_eeee"
constexpr unsigned int kCommandField = 0x00000100;

// What both forms do alike.
class PrintForm : public DumpForm {
  public:
    PrintForm(Output& out, PrintLook look) : out_(out), full_(look.full), keywords_(look.keywords) {}

    void file(DumpedFile& file, const Pick& pick, const char* title) override {
        if (title != nullptr) out_ << "==> " << withEscapes(title) << " <==\n";
        for (DcElemList* list : {&file.meta, &file.data}) {
            const Place place(*list, file);
            isUtf8_ = place.charset.converts();
            if (pick.everything()) {
                everything(place);
            } else {
                pick.each(place,
                          [this](DcElem& e, const Place& around, const std::vector<unsigned int>& path) {
                              picked(e, around, pathText(path.data(), static_cast<int>(path.size())));
                          });
            }
        }
    }

  protected:
    virtual void everything(const Place& place) = 0;
    virtual void picked(DcElem& e, const Place& place, const std::string& path) = 0;

    // The name that the dictionary gives, with the element's own digits where the name leaves them open.
    std::string_view nameOf(unsigned int tag) {
        if (!keywords_) return symbolOf(tag);
        keyword_ = keywordOf(tag);
        return keyword_.empty() ? std::string_view("-") : keyword_;
    }
    std::string_view symbolOf(unsigned int tag) {
        const DcDictElemInfo* record = (tag & 0xFFFF) != 0 ? Dict.find(tag) : nullptr;
        if (record != nullptr && std::memchr(record->name, 'x', kDigits) == nullptr) return record->name;
        const bool named =
            record != nullptr || (tag & 0xFFFF) == 0 || ((tag & 0x10000) != 0 && (tag & 0xFF00) == 0);
        if (!named || Dict.getDesc(tag, name_) != 0) name_[kDigits] = '\0';
        std::memcpy(name_, "T_", 2);
        name_[6] = '_';
        for (std::size_t i = 0; i < 4; ++i) {
            name_[2 + i] = "0123456789abcdef"[tag >> (28 - 4 * i) & 0xF];
            name_[7 + i] = "0123456789abcdef"[tag >> (12 - 4 * i) & 0xF];
        }
        return name_;
    }
    // false when it was cut.
    bool putText(std::string_view text) {
        const std::string_view shown =
            full_ || text.size() <= kTextLimit ? text : firstCharacters(text, kTextLimit);
        if (isPlainAscii(shown)) {
            out_ << shown;
        } else {
            out_ << withEscapes(shown, isUtf8_);
        }
        return shown.size() == text.size();
    }
    void putUid(std::string_view uid) {
        (void)putText(uid);
        char text[65];
        if (uid.empty() || uid.size() >= sizeof text) return;
        text[uid.copy(text, sizeof text - 1)] = '\0';
        if (const DcDictUidInfo* known = Dict.findUid(text)) out_ << " (" << known->desc << ')';
    }
    void putSize(long long bytes) {
        out_ << bytes << " (0x";
        out_.hex(static_cast<unsigned long long>(bytes)) << ") bytes";
    }
    void putPlace(const Values::DiskPlace& place) {
        putSize(static_cast<long long>(place.length));
        out_ << " at offset " << place.offset << " (0x";
        out_.hex(place.offset) << ')';
        if (place.encapsulated) out_ << ", encapsulated";
    }
    // false when the value was cut.
    bool putValue(std::size_t i) {
        switch (values_.kind()) {
            case ValueKind::text:
                if (values_.vr() != VR_UI) return putText(values_.text(i));
                putUid(values_.text(i));
                return true;
            case ValueKind::tag:
                out_.tag(values_.tag(i));
                return true;
            case ValueKind::real:
                if (values_.vr() == VR_FL) {
                    out_ << static_cast<float>(values_.real(i));
                } else {
                    out_ << values_.real(i);
                }
                return true;
            default:
                out_ << values_.integerText(i);
                return true;
        }
    }
    // What is known of a message type, " (C-STORE-RQ)".
    void putCommand(long long value) {
        char text[64];
        if (Dict.getDesc(static_cast<DICT_MSG>(value), text) == 0) out_ << " (" << text << ')';
    }

    Output& out_;
    const bool full_;
    const bool keywords_;
    Values values_;

  private:
    char name_[64];
    std::string keyword_;
    bool isUtf8_ = true;
};

class TreeForm final : public PrintForm {
  public:
    using PrintForm::PrintForm;

  private:
    void everything(const Place& place) override {
        for (DcElem* e = place.list.first(); e != nullptr; e = e->next()) {
            out_ << prefix_;
            if (place.outer != nullptr) out_ << (e->next() != nullptr ? "|--" : "+--");
            if (keywords_) out_.tag(tagOf(*e)) << ' ';
            element(*e, place, e->next() != nullptr);
        }
    }
    void picked(DcElem& e, const Place& place, const std::string& path) override {
        out_ << path << (keywords_ ? " " : "  ");
        element(e, place, false);
    }
    void element(DcElem& e, const Place& place, bool more) {
        values_.load(e, place);
        const std::string_view name = nameOf(tagOf(e)).substr(0, keywords_ ? kLongest : kNameColumns);
        out_ << name;
        out_.pad(kNameColumns - std::min(name.size(), kNameColumns));
        out_ << " (" << values_.letters() << ')';
        DcElemSq* sq = sequenceOf(e);
        if (sq != nullptr) {
            const int count = sq->count();
            if (count != 0) out_ << ' ' << count << (count == 1 ? " item" : " items");
        } else if (const Values::DiskPlace* at = values_.onDisk()) {
            out_ << ' ';
            putPlace(*at);
        } else if (values_.kind() == ValueKind::raw) {
            out_ << ' ';
            putRaw();
        } else {
            putValues(tagOf(e));
        }
        out_ << '\n';
        if (sq != nullptr) items(*sq, place, more);
    }
    void putValues(unsigned int tag) {
        std::size_t columns = 0;
        for (std::size_t i = 0; i < values_.count(); ++i) {
            out_ << (i == 0 ? " " : " \\ ");
            if (i != 0 && !full_ && columns >= kTextLimit) {
                out_ << "...";
                return;
            }
            const std::size_t before = out_.total();
            if (!putValue(i)) out_ << "...";
            if (tag == kCommandField && values_.vr() == VR_US) putCommand(values_.integer(i));
            columns += out_.total() - before + 3;
        }
    }
    void putRaw() {
        std::string_view text = values_.raw();
        if (values_.vr() == VR_UN && !text.empty()) {
            while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
            if (!text.empty() && isPlainAscii(text)) {
                if (!putText(text)) out_ << " ...";
                return;
            }
        }
        putSize(static_cast<long long>(values_.raw().size()));
    }
    void items(DcElemSq& sq, const Place& place, bool more) {
        const std::size_t before = prefix_.size();
        prefix_ += more ? "|  " : "   ";
        for (DcElemSqItem* item = sq.first(); item != nullptr; item = item->next()) {
            everything(Place(item->getElemList(), place));
            if (item->next() != nullptr) out_ << prefix_ << "|---------------------------------------\n";
        }
        prefix_.resize(before);
    }

    std::string prefix_;
};

class FlatForm final : public PrintForm {
  public:
    using PrintForm::PrintForm;

  private:
    void everything(const Place& place) override {
        for (DcElem* e = place.list.first(); e != nullptr; e = e->next()) {
            out_.tag(tagOf(*e));
            element(*e, place);
        }
    }
    void picked(DcElem& e, const Place& place, const std::string& path) override {
        out_ << path;
        element(e, place);
    }
    void element(DcElem& e, const Place& place) {
        values_.load(e, place);
        const unsigned int tag = tagOf(e);
        out_ << "   " << values_.letters() << '(' << vrLetters(Dict.facts(tag).vr) << ")   " << nameOf(tag)
             << '\n';
        if (DcElemSq* sq = sequenceOf(e)) {
            sequence(*sq, tag, place);
        } else if (const Values::DiskPlace* at = values_.onDisk()) {
            out_ << "  ";
            putPlace(*at);
            out_ << '\n';
        } else if (values_.kind() == ValueKind::raw) {
            putRaw();
        } else {
            for (std::size_t i = 0; i < values_.count(); ++i) putLine(tag, i);
        }
    }
    void putLine(unsigned int tag, std::size_t i) {
        out_ << "  ";
        if (values_.kind() == ValueKind::integer) {
            const int digits = values_.integerDigits();
            out_ << "0x";
            out_.hex(static_cast<unsigned long long>(values_.integer(i)) & (~0ull >> (64 - 4 * digits)),
                     digits)
                << ' ';
        }
        if (!putValue(i)) out_ << " ...";
        if (tag == kCommandField && values_.vr() == VR_US) putCommand(values_.integer(i));
        out_ << '\n';
    }
    void putRaw() {
        const std::string_view bytes = values_.raw();
        out_ << "  ";
        putSize(static_cast<long long>(bytes.size()));
        if (!bytes.empty()) out_ << ':';
        const std::size_t shown = full_ ? bytes.size() : std::min(bytes.size(), kHexPreview);
        for (char c : bytes.substr(0, shown)) (out_ << ' ').hex(static_cast<unsigned char>(c), 2);
        out_ << (shown < bytes.size() ? " ...\n" : "\n");
    }
    void sequence(DcElemSq& sq, unsigned int tag, const Place& place) {
        const std::string name(nameOf(tag));
        const auto mark = [&](const char* what, std::string_view end) {
            out_ << what;
            out_.tag(tag) << end;
        };
        const auto ends = [&](const char* word) { return "  " + name + " " + word + " ***\n"; };
        mark("   *** SQ ", ends("begin"));
        for (DcElemSqItem* item = sq.first(); item != nullptr; item = item->next()) {
            mark("     * SQ item ", " begin *\n");
            everything(Place(item->getElemList(), place));
            mark("     * SQ item ", " end *\n");
        }
        mark("   *** SQ ", ends("end"));
    }
};

}  // namespace

std::unique_ptr<DumpForm> makeTreeForm(Output& out, PrintLook look) {
    return std::make_unique<TreeForm>(out, look);
}
std::unique_ptr<DumpForm> makeFlatForm(Output& out, PrintLook look) {
    return std::make_unique<FlatForm>(out, look);
}

}  // namespace services
