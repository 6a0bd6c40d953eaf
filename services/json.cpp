// The dump for programs: the DICOM JSON model (PS3.18 Annex F), an array with an object for each file. As the
// model asks, texts are UTF-8, group lengths are left out, and so is the file meta information unless --tag
// asks for it.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <new>
#include <system_error>
#include <unordered_set>

#include "orvkit/dict.h"
#include "orvkit/tags.h"
#include "services/json_writer.h"
#include "services/paths.h"
#include "services/print_forms.h"
#include "services/values.h"

namespace services {
namespace {

void putTag(Output& out, unsigned int tag) {
    out << '"';
    out.hex(tag, 8, true) << '"';
}

std::string_view takeDigits(std::string_view& text) {
    const auto end = std::find_if(text.begin(), text.end(), [](char c) { return c < '0' || c > '9'; });
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

// A DS or IS value as a JSON number with the same digits: "+.50" becomes 0.50. "" when it is no number.
std::string jsonNumber(std::string_view text) {
    std::string number;
    if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
        if (text[0] == '-') number = "-";
        text.remove_prefix(1);
    }
    std::string_view whole = takeDigits(text);
    std::string_view fraction;
    if (!text.empty() && text[0] == '.') {
        text.remove_prefix(1);
        fraction = takeDigits(text);
    }
    if (whole.empty() && fraction.empty()) return {};
    whole.remove_prefix(std::min(whole.find_first_not_of('0'), whole.size()));
    number += whole.empty() ? "0" : whole;
    if (!fraction.empty()) (number += '.') += fraction;
    if (!text.empty() && (text[0] == 'e' || text[0] == 'E')) {
        text.remove_prefix(1);
        number += 'e';
        if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
            number += text[0];
            text.remove_prefix(1);
        }
        const std::string_view exponent = takeDigits(text);
        if (exponent.empty()) return {};
        number += exponent;
    }
    return text.empty() ? number : std::string();
}

void putBase64(Output& out, std::string_view bytes) {
    static constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto at = [&](std::size_t i) {
        return i < bytes.size() ? static_cast<unsigned int>(static_cast<unsigned char>(bytes[i])) : 0u;
    };
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const unsigned int bits = at(i) << 16 | at(i + 1) << 8 | at(i + 2);
        const std::size_t left = bytes.size() - i;
        const char group[] = {digits[bits >> 18], digits[bits >> 12 & 63],
                              left > 1 ? digits[bits >> 6 & 63] : '=', left > 2 ? digits[bits & 63] : '='};
        out << std::string_view(group, sizeof group);
    }
}

// file:///path?offset=..&length=.., the path absolute and percent-encoded.
void putUri(Output& out, const DumpedFile& file, const Values::DiskPlace& place) {
    std::error_code error;
    std::string path = nameOf(std::filesystem::absolute(pathOf(file.path), error));
    if (error == std::errc::not_enough_memory) throw std::bad_alloc();
    if (error) path = file.path;
    out << "\"file://";
    if (path.size() > 1 && path[1] == ':') {  // a drive
        std::replace(path.begin(), path.end(), '\\', '/');
        out << '/';
        out << path.substr(0, 2);
        path.erase(0, 2);
    }
    for (char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0 || std::string_view("/-._~").find(c) != std::string_view::npos) {
            out << c;
        } else {
            (out << '%').hex(byte, 2, true);
        }
    }
    out << "?offset=" << place.offset << "&length=" << place.length << '"';
}

class JsonForm final : public DumpForm {
  public:
    explicit JsonForm(Output& out) : out_(out) {}

    void begin() override { out_ << '['; }
    void end() override { out_ << (first_ ? "]\n" : "\n]\n"); }
    void resume(bool shown) override { first_ = !shown; }

    void file(DumpedFile& file, const Pick& pick, const char*) override {
        all_ = pick.everything();
        kept_.clear();
        whole_.clear();
        const Place meta(file.meta, file);
        const Place data(file.data, file);
        if (!all_) {
            keep(meta, pick);
            keep(data, pick);
        }
        out_ << (first_ ? "\n" : ",\n");
        first_ = false;
        indent_ = 1;
        out_.pad(2);
        out_ << '{';
        bool any = false;
        if (!all_) members(meta, any);
        members(data, any);
        closeObject(any);
    }

  private:
    // Marks the elements that are asked for and the sequences on the way to them.
    void keep(const Place& place, const Pick& pick) {
        pick.each(place,
                  [this](DcElem& e, const Place&, const std::vector<unsigned int>&) { whole_.insert(&e); });
        (void)mark(place.list);
    }
    bool mark(DcElemList& list) {
        bool any = false;
        for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
            bool kept = whole_.contains(e);
            if (DcElemSq* sq = kept ? nullptr : sequenceOf(*e)) {
                for (DcElemSqItem* item = sq->first(); item != nullptr; item = item->next()) {
                    if (mark(item->getElemList())) kept = true;
                }
            }
            if (kept) kept_.insert(e);
            any = any || kept;
        }
        return any;
    }

    // Group lengths and stray delimitations are not.
    static bool isInModel(unsigned int tag) { return (tag & 0xFFFF) != 0 && tag >> 16 != 0xFFFE; }

    void newLine() {
        out_ << '\n';
        out_.pad(2 * indent_);
    }
    void closeObject(bool any) {
        if (any) newLine();
        out_ << '}';
    }
    void object(const Place& place) {
        bool any = false;
        out_ << '{';
        members(place, any);
        closeObject(any);
    }
    void members(const Place& place, bool& any) {
        ++indent_;
        for (DcElem* e = place.list.first(); e != nullptr; e = e->next()) {
            if (!isInModel(tagOf(*e)) || !(all_ || kept_.contains(e))) continue;
            if (any) out_ << ',';
            any = true;
            newLine();
            member(*e, place);
        }
        --indent_;
    }

    void member(DcElem& e, const Place& place) {
        values_.load(e, place);
        putTag(out_, tagOf(e));
        out_ << ": {\"vr\": \"" << vrLetters(values_.vr()) << '"';
        if (DcElemSq* sq = sequenceOf(e)) {
            if (sq->first() != nullptr) sequence(*sq, !all_ && whole_.contains(&e), place);
        } else if (const Values::DiskPlace* at = values_.onDisk()) {
            if (at->addressed) {
                out_ << ", \"BulkDataURI\": ";
                putUri(out_, place.file, *at);
            }
        } else if (values_.kind() == ValueKind::raw) {
            if (!values_.raw().empty()) {
                out_ << ", \"InlineBinary\": \"";
                putBase64(out_, values_.raw());
                out_ << '"';
            }
        } else if (values_.count() != 0) {
            out_ << ", \"Value\": [";
            if (tagOf(e) == T_0008_0005_specificCharacterSet && place.charset.known()) {
                out_ << "\"ISO_IR 192\"";  // what the texts are in now
            } else {
                values();
            }
            out_ << ']';
        }
        out_ << '}';
    }
    void sequence(DcElemSq& sq, bool whole, const Place& place) {
        out_ << ", \"Value\": [";
        const bool before = all_;
        all_ = all_ || whole;
        for (DcElemSqItem* item = sq.first(); item != nullptr; item = item->next()) {
            if (item != sq.first()) out_ << ", ";
            object(Place(item->getElemList(), place));
        }
        all_ = before;
        out_ << ']';
    }

    void values() {
        for (std::size_t i = 0; i < values_.count(); ++i) {
            if (i != 0) out_ << ", ";
            value(i);
        }
    }
    void value(std::size_t i) {
        switch (values_.kind()) {
            case ValueKind::tag:
                return putTag(out_, values_.tag(i));
            case ValueKind::real:
                return real(values_.real(i));
            case ValueKind::integer:
                out_ << values_.integerText(i);
                return;
            default:
                break;
        }
        const std::string_view text = values_.text(i);
        if (text.empty()) {
            out_ << "null";
        } else if (values_.vr() == VR_PN) {
            personName(text);
        } else if (values_.vr() == VR_DS || values_.vr() == VR_IS) {
            const std::string number = jsonNumber(text);
            if (number.empty()) return putJsonString(out_, text);
            out_ << number;
        } else {
            putJsonString(out_, text);
        }
    }
    void real(double v) {
        if (std::isnan(v)) {
            out_ << "\"NaN\"";
        } else if (std::isinf(v)) {
            out_ << (v > 0 ? "\"inf\"" : "\"-inf\"");
        } else if (values_.vr() == VR_FL) {
            out_ << static_cast<float>(v);
        } else {
            out_ << v;
        }
    }
    void personName(std::string_view text) {
        static constexpr std::string_view groups[] = {"Alphabetic", "Ideographic", "Phonetic"};
        out_ << '{';
        bool any = false;
        for (const std::string_view group : groups) {
            const std::size_t end = text.find('=');
            if (const std::string_view part = text.substr(0, end); !part.empty()) {
                out_ << (any ? ", \"" : "\"") << group << "\": ";
                putJsonString(out_, part);
                any = true;
            }
            if (end == std::string_view::npos) break;
            text.remove_prefix(end + 1);
        }
        out_ << '}';
    }

    Output& out_;
    Values values_;
    std::size_t indent_ = 0;
    bool first_ = true;
    bool all_ = true;  // elements need not be marked to be shown
    std::unordered_set<const DcElem*> whole_;
    std::unordered_set<const DcElem*> kept_;
};

}  // namespace

std::unique_ptr<DumpForm> makeJsonForm(Output& out) {
    return std::make_unique<JsonForm>(out);
}

}  // namespace services
