// orvkit lookup: what the dictionary knows of a tag, a name, a UID, a VR or a word.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orvkit/edition.h"
#include "services/charset.h"
#include "services/json_writer.h"
#include "services/nearest.h"
#include "services/report.h"
#include "services/tag_names.h"
#include "tools/commands.h"

namespace tools {
namespace {

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}
bool isHex(char c) {
    return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
bool isUpper(char c) {
    return std::isupper(static_cast<unsigned char>(c)) != 0;
}
bool isWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}
char lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// One half of a tag: one to four hexadecimal digits; x stands for the open digits of a repeating group, whose
// even numbers have its record.
std::optional<unsigned int> tagHalf(std::string text) {
    std::replace(text.begin(), text.end(), 'x', '0');
    if (text.empty() || text.size() > 4 || !std::all_of(text.begin(), text.end(), isHex)) return std::nullopt;
    return static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 16));
}

// (0008,0016), 0008,0016, 8,16, 00080016, 0x00080016, and names that begin T_0008_0016.
std::optional<unsigned int> tagFromText(std::string_view query) {
    std::string text;
    for (char c : query) {
        if (c != '(' && c != ')' && c != ' ') text += lower(c);
    }
    if (text.size() >= 11 && text.compare(0, 2, "t_") == 0 && text[6] == '_') {
        text = text.substr(2, 4) + "," + text.substr(7, 4);
    }
    if (text.compare(0, 2, "0x") == 0) text.erase(0, 2);
    std::size_t comma = text.find(',');
    if (comma == std::string::npos && text.size() == 8) text.insert(comma = 4, ",");
    if (comma == std::string::npos) return std::nullopt;
    std::optional<unsigned int> group = tagHalf(text.substr(0, comma));
    std::optional<unsigned int> element = tagHalf(text.substr(comma + 1));
    if (!group || !element) return std::nullopt;
    return (*group << 16) | *element;
}

// Lower-case words, cut at every other character and where camel case begins a word.
std::vector<std::string> wordsOf(std::string_view text) {
    std::vector<std::string> words(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool afterLower = i > 0 && isWord(text[i - 1]) && !isUpper(text[i - 1]);
        const bool beforeLower = i + 1 < text.size() && isWord(text[i + 1]) && !isUpper(text[i + 1]);
        if (!isWord(c) || (isUpper(c) && (afterLower || beforeLower))) words.emplace_back();
        if (isWord(c)) words.back() += lower(c);
    }
    words.erase(std::remove(words.begin(), words.end(), std::string()), words.end());
    return words;
}

// Whether every word begins a word of the text ...
bool beginsWords(std::string_view text, const std::vector<std::string>& words) {
    const std::vector<std::string> candidates = wordsOf(text);
    return !words.empty() && std::all_of(words.begin(), words.end(), [&](const std::string& word) {
        return std::any_of(candidates.begin(), candidates.end(), [&](const std::string& candidate) {
            return candidate.compare(0, word.size(), word) == 0;
        });
    });
}

// ... or stands anywhere in it.
bool holdsWords(std::string_view text, const std::vector<std::string>& words) {
    std::string folded;
    for (const std::string& part : wordsOf(text)) folded += part;
    return !words.empty() && std::all_of(words.begin(), words.end(), [&](const std::string& word) {
        return folded.find(word) != std::string::npos;
    });
}

std::string format(const char* pattern, unsigned int group, unsigned int element) {
    char text[32];
    std::snprintf(text, sizeof text, pattern, group, element);
    return text;
}

std::string vmText(int vm) {
    if (vm > 0) return std::to_string(vm);
    return vm == 0 ? "1-n" : "1-" + std::to_string(-vm);
}

const char* uidTypeText(DICT_UID_TYPE type) {
    switch (type) {
        case UID_TYPE_SOP:
            return "SOP class or instance";
        case UID_TYPE_XFER_SYN:
            return "transfer syntax";
        default:
            return "other";
    }
}

// The tags that stand in the items of a sequence.
std::vector<unsigned int> itemTags(unsigned int tag) {
    unsigned int tags[DcDict::maxSqTags] = {};
    if (Dict.getSqTagList(tag, tags) != 0) return {};
    return {std::begin(tags), std::find(std::begin(tags), std::end(tags), 0u)};
}

// What the other edition, that of 2008, says of a tag.
DcDictFacts factsOf2008(unsigned int tag) {
    const DICT_EDITION set = dictGetEdition();
    (void)dictSetEdition(DICT_EDITION_2008);
    const DcDictFacts facts = Dict.facts(tag);
    (void)dictSetEdition(set);
    return facts;
}

const char* registryText(DICT_REGISTRY registry) {
    constexpr const char* names[] = {"DICOM", "DICONDE", "DICOS", "orvKIT"};
    return names[registry];
}

// A record of the dictionary with what the registry prints beside it, which private ones have not.
struct Element {
    Element(unsigned int asked, const DcDictElemInfo& record) : tag(asked), info(record) {
        registered = dictGetEdition() == DICT_EDITION_CURRENT && dictGetEntry(tag, entry) == 0;
        if (!registered) return;
        const DcDictFacts facts = factsOf2008(tag);
        if (!facts.known) {
            change = "not in 2008";
        } else if (facts.vr != info.vr || facts.vm != info.vm) {
            change = std::string("in 2008 ") + DcDict::vrName(facts.vr) + " " + vmText(facts.vm);
        }
    }
    // What of it is worth a word.
    std::string remarks() const {
        std::string text;
        if (entry.retired) text += ", retired";
        if (entry.registry != DICT_REGISTRY_DICOM) text += std::string(", ") + registryText(entry.registry);
        return change.empty() ? text : text + ", " + change;
    }

    unsigned int tag;
    DcDictElemInfo info;
    bool registered;
    DcDictEntry entry{};
    std::string change;  // since 2008
};

// What was found, for people or for programs.
class Findings {
  public:
    void element(unsigned int tag, const DcDictElemInfo& info) { elements_.emplace_back(tag, info); }
    void uid(const DcDictUidInfo& info) { uids_.push_back(info); }
    void vr(DICT_VR vr) { vrs_.push_back(vr); }
    bool empty() const { return elements_.empty() && uids_.empty() && vrs_.empty(); }

    void print() const {
        for (const Element& e : elements_) {
            const std::string vr =
                e.registered && *e.entry.vrs != '\0' ? e.entry.vrs : DcDict::vrName(e.info.vr);
            const std::string vm = e.registered ? e.entry.vms : vmText(e.info.vm);
            std::printf("(%04X,%04X)  %-2s  %-5s  %s", e.tag >> 16, e.tag & 0xFFFF, vr.c_str(), vm.c_str(),
                        e.info.name);
            if (e.registered && *e.entry.keyword != '\0') {
                std::printf("  %s, %s%s", e.entry.keyword, e.entry.name, e.remarks().c_str());
            }
            std::printf("\n");
            for (unsigned int item : itemTags(e.tag)) {
                char name[64];
                Dict.getDesc(item, name);
                std::printf("    in its items: (%04X,%04X)  %s\n", item >> 16, item & 0xFFFF, name);
            }
        }
        for (const DcDictUidInfo& info : uids_) {
            DcDictUidEntry entry;
            if (!isRegistered(info, entry)) {
                std::printf("%s  %s  %s\n", info.uid, uidTypeText(info.type), info.desc);
                continue;
            }
            std::printf("%s  %s  %s", info.uid, entry.kind, info.desc);
            if (std::strcmp(entry.name, info.desc) != 0) std::printf(", %s", entry.name);
            std::printf("  %s%s", entry.keyword, entry.retired ? ", retired" : "");
            if (*entry.directoryRecord != '\0') std::printf(", record %s", entry.directoryRecord);
            std::printf("%s\n", isOf2008(entry) ? "" : ", not in 2008");
        }
        for (DICT_VR vr : vrs_) {
            const int limit = DcDict::vrFacts(vr).length;
            std::printf("%s  value representation, %s\n", DcDict::vrName(vr),
                        limit > 0 ? ("at most " + std::to_string(limit) + " bytes a value").c_str()
                                  : "no limit of length");
        }
    }

    void printJson() const {
        Output out;
        JsonWriter json(out);
        json.beginArray();
        for (const Element& e : elements_) put(json, e);
        for (const DcDictUidInfo& info : uids_) put(json, info);
        for (DICT_VR vr : vrs_) put(json, vr);
        json.endArray();
        out << '\n';
    }

  private:
    static std::string tagDigits(unsigned int tag) { return format("%04X%04X", tag >> 16, tag & 0xFFFF); }

    static bool isRegistered(const DcDictUidInfo& info, DcDictUidEntry& entry) {
        return dictGetEdition() == DICT_EDITION_CURRENT && dictGetUidEntry(info.uid, entry) == 0;
    }
    static bool isOf2008(const DcDictUidEntry& entry) { return entry.value <= UID_GE_MACHINE_STORAGE; }

    static void put(JsonWriter& json, const Element& e) {
        json.beginObject().member("kind", "element").member("tag", tagDigits(e.tag));
        json.member("vr", DcDict::vrName(e.info.vr)).member("vm", vmText(e.info.vm));
        json.member("keyword", keywordOf(e.tag)).member("name", e.info.name);
        if (e.registered) {
            json.member("title", e.entry.name).member("vrs", e.entry.vrs).member("vms", e.entry.vms);
            json.member("retired", e.entry.retired).member("registry", registryText(e.entry.registry));
            if (!e.change.empty()) json.member("change", e.change);
        }
        if (const std::vector<unsigned int> items = itemTags(e.tag); !items.empty()) {
            json.key("items").beginArray();
            for (unsigned int item : items) json.value(tagDigits(item));
            json.endArray();
        }
        json.endObject();
    }
    static void put(JsonWriter& json, const DcDictUidInfo& info) {
        json.beginObject().member("kind", "uid").member("uid", info.uid);
        json.member("value", static_cast<int>(info.value)).member("type", uidTypeText(info.type));
        json.member("description", info.desc);
        if (DcDictUidEntry entry; isRegistered(info, entry)) {
            json.member("kindOfUid", entry.kind).member("title", entry.name).member("keyword", entry.keyword);
            json.member("retired", entry.retired).member("in2008", isOf2008(entry));
            if (*entry.directoryRecord != '\0') json.member("directoryRecord", entry.directoryRecord);
        }
        json.endObject();
    }
    static void put(JsonWriter& json, DICT_VR vr) {
        static constexpr int unitBytes[] = {1, 2, 4, 4, 8, 0, 8};
        const DcDictVrFacts facts = DcDict::vrFacts(vr);
        json.beginObject().member("kind", "vr").member("vr", DcDict::vrName(vr));
        json.member("value", static_cast<int>(vr)).member("maxLength", facts.length);
        json.member("unitBytes", unitBytes[facts.size]).endObject();
    }

    std::vector<Element> elements_;
    std::vector<DcDictUidInfo> uids_;
    std::vector<DICT_VR> vrs_;
};

template <typename Visit>
void eachUid(Visit visit) {
    for (std::size_t slot = 0; slot < Dict.uidSlots(); ++slot) {
        if (Dict.uidAt(slot).value != UID_NONE) visit(Dict.uidAt(slot));
    }
}

void findUids(const std::string& query, Findings& findings) {
    const DcDictUidInfo* exact = Dict.findUid(query.c_str());
    if (exact != nullptr) return findings.uid(*exact);
    eachUid([&](const DcDictUidInfo& info) {
        if (std::string_view(info.uid).find(query) != std::string_view::npos) findings.uid(info);
    });
}

// A keyword or a whole name, letter for letter.
bool findName(const std::string& query, Findings& findings) {
    if (dictGetEdition() == DICT_EDITION_2008) return false;
    DcDictEntry entry;
    DcDictUidEntry uid;
    DcDictElemInfo info;
    if (dictGetEntry(query.c_str(), entry) == 0 && Dict.getElemInfo(entry.tag, &info) == 0) {
        findings.element(entry.tag, info);
    }
    if (dictGetUidEntry(query.c_str(), uid) == 0) {
        if (const DcDictUidInfo* known = Dict.findUid(uid.value)) findings.uid(*known);
    }
    return !findings.empty();
}

// What is searched for words: what the two editions call a thing.
std::vector<std::string> textsOf(const DcDictElemInfo& info) {
    std::vector<std::string> texts{std::string(namePart(info.name))};
    DcDictEntry entry;
    if (dictGetEdition() != DICT_EDITION_2008 && dictGetEntry(info.tag, entry) == 0) {
        texts.insert(texts.end(), {entry.keyword, entry.name});
    }
    return texts;
}
std::vector<std::string> textsOf(const DcDictUidInfo& info) {
    std::vector<std::string> texts{info.desc};
    DcDictUidEntry entry;
    if (dictGetEdition() != DICT_EDITION_2008 && dictGetUidEntry(info.uid, entry) == 0) {
        texts.insert(texts.end(), {entry.keyword, entry.name});
    }
    return texts;
}

void findWords(const std::string& query, Findings& findings) {
    DICT_VR vr = VR_UNKNOWN;
    if (query.size() == 2 && Dict.getVrDef(query.c_str(), vr) == 0) return findings.vr(vr);
    if (findName(query, findings)) return;
    const std::vector<std::string> words = wordsOf(query);
    for (auto matches : {beginsWords, holdsWords}) {
        const auto any = [&](const auto& info) {
            return std::ranges::any_of(textsOf(info),
                                       [&](const std::string& t) { return matches(t, words); });
        };
        for (std::size_t i = 0; i < Dict.tagCount(); ++i) {
            const DcDictElemInfo& info = Dict.tagAt(i);
            if (any(info)) findings.element(info.tag, info);
        }
        eachUid([&](const DcDictUidInfo& info) {
            if (any(info)) findings.uid(info);
        });
        if (!findings.empty()) return;
    }
}

int runLookup(const std::string& query, bool json) {
    Findings findings;
    const bool looksLikeUid =
        query.find('.') != std::string::npos &&
        std::all_of(query.begin(), query.end(), [](char c) { return c == '.' || isDigit(c); });
    DcDictElemInfo info;
    if (looksLikeUid) {
        findUids(query, findings);
    } else if (std::optional<unsigned int> tag = tagFromText(query);
               tag && Dict.getElemInfo(*tag, &info) == 0) {
        findings.element(*tag, info);
    } else {
        findWords(query, findings);
    }
    if (findings.empty()) {
        complain("nothing is known of '%s'%s", withEscapes(query).c_str(),
                 didYouMean(nearestKeyword(query)).c_str());
    }
    if (json) {
        findings.printJson();
    } else {
        findings.print();
    }
    return findings.empty() ? EXIT_FAILED : EXIT_OK;
}

}  // namespace

void addLookup(Command& program) {
    Command& command =
        program.command("lookup", "Tell what the dictionary knows of a tag, name, UID or word");
    auto words = std::make_shared<std::vector<std::string>>();
    auto json = std::make_shared<bool>(false);
    command
        .texts("WHAT", *words,
               "A tag (0008,0016 or 00080016), a name or words of it, a UID or a part of it, or a VR")
        .required();
    command.flag("--json", *json, "Print JSON");
    command.run([words, json] {
        std::string query;
        for (const std::string& word : *words) query += (query.empty() ? "" : " ") + word;
        return runLookup(query, *json);
    });
}

}  // namespace tools
