// The DICOM JSON model (PS3.18 F.2), read into attributes.
#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <type_traits>
#include <utility>

#include "dictionary/vr_table.h"
#include "index/trouble.h"
#include "orvkit/index.h"
#include "orvkit/tags.h"
#include "services/worklist.h"

namespace services {
namespace {

using Json = nlohmann::json;
namespace ix = orvkit::index;

// What is wrong, to the outermost call.
struct JsonFault {
    std::string text;
};

std::optional<unsigned int> tagFrom(std::string_view text) {
    unsigned int tag = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, tag, 16);
    if (text.size() != 8 || read.ec != std::errc() || read.ptr != end) return std::nullopt;
    return tag;
}

// None where it does not fit.
template <typename Number>
std::optional<Number> numberFrom(const Json& value) {
    if constexpr (std::is_integral_v<Number>) {
        const bool negative =
            value.is_number_integer() && !value.is_number_unsigned() && value.get<std::int64_t>() < 0;
        if (!value.is_number_integer() || (negative ? !std::in_range<Number>(value.get<std::int64_t>())
                                                    : !std::in_range<Number>(value.get<std::uint64_t>())))
            return std::nullopt;
    } else if (!value.is_number() || std::abs(value.get<double>()) > std::numeric_limits<Number>::max()) {
        return std::nullopt;
    }
    return value.get<Number>();
}

// Little endian, as attributes have it.
template <typename Number>
void putNumberValue(ix::Bytes& bytes, const Json& value, const std::string& name) {
    const auto number = numberFrom<Number>(value);
    if (!number) throw JsonFault{name + " has a value that is no number of its VR"};
    std::array<unsigned char, sizeof(Number)> raw{};
    std::memcpy(raw.data(), &*number, sizeof(Number));
    if constexpr (std::endian::native == std::endian::big) std::ranges::reverse(raw);
    bytes.append(raw.begin(), raw.end());
}

void putTagValue(ix::Bytes& bytes, const Json& value, const std::string& name) {
    const auto tag = value.is_string() ? tagFrom(value.get_ref<const std::string&>()) : std::nullopt;
    if (!tag) throw JsonFault{name + " has a value that is no tag"};
    for (const unsigned int shift : {16U, 24U, 0U, 8U}) bytes += static_cast<char>(*tag >> shift & 0xFF);
}

// "Alphabetic=Ideographic=Phonetic", as far as there are any.
std::string nameFrom(const Json& value, const std::string& name) {
    std::string text;
    std::size_t used = 0;
    for (const char* const group : {"Alphabetic", "Ideographic", "Phonetic"}) {
        if (group[0] != 'A') text += '=';
        const auto at = value.find(group);
        if (at == value.end() || at->is_null()) continue;
        if (!at->is_string()) throw JsonFault{name + " has a name that is no text"};
        text += at->get_ref<const std::string&>();
        used = text.size();
    }
    text.resize(used);
    return text;
}

std::string textFrom(DICT_VR vr, const Json& value, const std::string& name) {
    if (value.is_null()) return "";
    if (value.is_string()) return value.get<std::string>();
    if (vr == VR_PN && value.is_object()) return nameFrom(value, name);
    if (value.is_number() && (vr == VR_IS || vr == VR_DS)) return value.dump();
    throw JsonFault{name + " has a value that is no text"};
}

ix::Bytes attributesFrom(const Json& object, int depth);

void putValue(ix::Bytes& bytes, DICT_VR vr, const Json& value, const std::string& name, int depth) {
    switch (vr) {
        case VR_SQ:
            return ix::appendItem(bytes, value.is_null() ? ix::Bytes() : attributesFrom(value, depth + 1));
        case VR_AT:
            return putTagValue(bytes, value, name);
        case VR_US:
            return putNumberValue<std::uint16_t>(bytes, value, name);
        case VR_SS:
            return putNumberValue<std::int16_t>(bytes, value, name);
        case VR_UL:
            return putNumberValue<std::uint32_t>(bytes, value, name);
        case VR_SL:
            return putNumberValue<std::int32_t>(bytes, value, name);
        case VR_UV:
            return putNumberValue<std::uint64_t>(bytes, value, name);
        case VR_SV:
            return putNumberValue<std::int64_t>(bytes, value, name);
        case VR_FL:
            return putNumberValue<float>(bytes, value, name);
        case VR_FD:
            return putNumberValue<double>(bytes, value, name);
        default:
            bytes += textFrom(vr, value, name);
    }
}

bool isJoinedAsBytes(DICT_VR vr) {
    switch (vr) {
        case VR_SQ:
        case VR_AT:
        case VR_US:
        case VR_SS:
        case VR_UL:
        case VR_SL:
        case VR_UV:
        case VR_SV:
        case VR_FL:
        case VR_FD:
            return true;
        default:
            return false;
    }
}

// One member; without a VR it is none. What is in base64 or elsewhere is passed over.
struct JsonMember {
    DICT_VR vr = ix::kAbsent;
    ix::Bytes value;
};
JsonMember jsonMember(const std::string& name, const Json& element, int depth) {
    if (!element.is_object()) throw JsonFault{name + " is no object"};
    const auto vr = element.find("vr");
    const std::string letters = vr != element.end() && vr->is_string() ? vr->get<std::string>() : "";
    JsonMember member;
    if (letters.size() == 2)
        member.vr = orvkit::vrOfLetters(static_cast<unsigned char>(letters[0]),
                                        static_cast<unsigned char>(letters[1]));
    if (letters.size() != 2 || orvkit::vrRowOfAny(member.vr).letters[0] != letters[0])
        throw JsonFault{name + " has no VR that is known"};
    const auto values = element.find("Value");
    if (values == element.end()) {
        if (element.contains("InlineBinary") || element.contains("BulkDataURI")) member.vr = ix::kAbsent;
        return member;
    }
    if (!values->is_array()) throw JsonFault{name + " has a Value that is no array"};
    bool first = true;
    for (const Json& each : *values) {
        if (!first && !isJoinedAsBytes(member.vr)) member.value += '\\';
        first = false;
        putValue(member.value, member.vr, each, name, depth);
    }
    return member;
}

ix::Bytes attributesFrom(const Json& object, int depth) {
    if (!object.is_object()) throw JsonFault{"what should be a data set is no object"};
    if (depth > INDEX_NESTING) throw JsonFault{"it is nested too deep"};
    std::map<unsigned int, JsonMember> members;
    for (const auto& [name, element] : object.items()) {
        const auto tag = tagFrom(name);
        if (!tag) throw JsonFault{"'" + name.substr(0, 40) + "' is no tag"};
        if (*tag == T_0008_0005_specificCharacterSet || (*tag & 0xFFFF) == 0) continue;
        members[*tag] = jsonMember(name, element, depth);
    }
    ix::Bytes bytes;
    for (const auto& [tag, member] : members) {
        if (member.vr != ix::kAbsent) ix::append(bytes, tag, member.vr, member.value);
    }
    return bytes;
}

// One that cannot be told as a data set would spoil each answer that it is in.
ix::Bytes dataSetFrom(const Json& object) {
    ix::Bytes bytes = attributesFrom(object, 0);
    DcElemList dataset;
    try {
        ix::giveAttributes(bytes, "ISO_IR 192", dataset);
    } catch (const ix::Trouble&) {
        throw JsonFault{"its attributes make no data set"};
    }
    return bytes;
}

}  // namespace

bool attributesOfJson(const std::string& text, std::vector<ix::Bytes>& datasets, std::string& fault) {
    try {
        const Json all = Json::parse(text);
        if (!all.is_array()) {
            datasets.push_back(dataSetFrom(all));
        } else {
            for (const Json& each : all) datasets.push_back(dataSetFrom(each));
        }
        return true;
    } catch (const Json::exception& wrong) {
        fault = wrong.what();  // behind a name in brackets
        if (const std::size_t end = fault.find("] "); end != fault.npos) fault.erase(0, end + 2);
    } catch (const JsonFault& wrong) {
        fault = wrong.text;
    }
    return false;
}

}  // namespace services
