#include "index/request.h"

#include <algorithm>
#include <iterator>
#include <limits>

#include "index/trouble.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

constexpr std::size_t kAny = std::numeric_limits<unsigned int>::max() / 2;
constexpr Bounds kUnbounded{kAny, kAny, kAny};

// What a request may say that is no key: of the whole request, or what only the one who answers knows.
constexpr unsigned int notKeys[] = {
    T_0008_0052_queryRetrieveLevel,    0x00080053,
    T_0008_0054_retrieveAeTitle,       T_0008_0056_instanceAvailability,
    T_0088_0130_storageMediaFileSetId, T_0088_0140_storageMediaFileSetUid,
};

bool isKey(unsigned int tag) {
    return std::find(std::begin(notKeys), std::end(notKeys), tag) == std::end(notKeys);
}

std::string upper(std::string_view text) {
    std::string result(text);
    for (char& c : result) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return result;
}

Level levelNamed(std::string_view text, INDEX_ROOT root) {
    const Level top = root == INDEX_ROOT_PATIENT ? Level::patient
                      : root == INDEX_ROOT_STUDY ? Level::study
                                                 : Level::image;
    const std::string name = upper(text);
    for (std::size_t i = numberOf(top); i < kLevels; ++i) {
        const auto level = static_cast<Level>(i);
        if (rowOf(level).name == name) return level;
    }
    fail(INDEX_KEYS, name.empty() ? "the level of the request is missing"
                                  : "there is no level " + name.substr(0, 16) + " in this information model");
}

std::string charsetOf(DcElemList& identifier) {
    std::string terms;
    for (int i = 0; i < identifier.getValueCount(T_0008_0005_specificCharacterSet); ++i) {
        char term[65] = "";
        (void)identifier.getValue(T_0008_0005_specificCharacterSet, term, sizeof term - 1, i);
        terms += (i == 0 ? "" : "\\") + std::string(term);
    }
    return terms;
}

// One value, no wild card.
void requireOne(const Request& request, Level level) {
    const LevelRow& row = rowOf(level);
    const Key* const key = request.key(row.unique);
    if (key == nullptr || key->values.size() != 1 || hasWildCards(key->values[0])) {
        fail(INDEX_KEYS, "the unique key of the level " + std::string(row.name) +
                             (key == nullptr || key->values.empty() ? " is missing" : " is to be one value"));
    }
}

void requireUpper(const Request& request, INDEX_ROOT root, unsigned int how) {
    if ((how & INDEX_RELATIONAL) != 0 || root == INDEX_ROOT_INSTANCE) return;
    for (std::size_t i = root == INDEX_ROOT_PATIENT ? 0 : 1; i < numberOf(request.level); ++i) {
        requireOne(request, static_cast<Level>(i));
    }
}

Bytes read(INDEX_ROOT root, DcElemList& identifier, Request& request) {
    Bytes attributes;
    if (!takeAttributes(identifier, kUnbounded, attributes)) fail(INDEX_KEYS, "the keys are nested too deep");
    request.level = levelNamed(valueOf(attributes, T_0008_0052_queryRetrieveLevel), root);
    request.charset = charsetOf(identifier);
    return attributes;
}

}  // namespace

const Key* Request::key(unsigned int tag) const {
    const auto at =
        std::find_if(narrowing.begin(), narrowing.end(), [tag](const Key& k) { return k.tag == tag; });
    return at != narrowing.end() ? &*at : nullptr;
}

Request makeRequest(INDEX_ROOT root, unsigned int how, DcElemList& identifier) {
    Request request;
    const Bytes attributes = read(root, identifier, request);
    for (Key& key : makeKeys(attributes, how)) {
        if (!isKey(key.tag)) continue;
        // Of the request it is the zone of its times, and of an answer that of the object's.
        if (key.tag == T_0008_0201_timezoneOffsetFromUtc) {
            if (request.level == Level::patient) continue;
            key.values.clear();
            key.empty = false;
        }
        if (levelOf(key.tag) > request.level) {
            request.unsupported.push_back(key.tag);
        } else {
            request.keys.push_back(std::move(key));
        }
    }
    request.narrowing = request.keys;
    if ((how & INDEX_TIMEZONE) != 0)
        request.offset = zoneOf(valueOf(attributes, T_0008_0201_timezoneOffsetFromUtc));
    if ((how & INDEX_DATE_TIME) != 0) request.pairs = takePairs(request.keys);
    requireUpper(request, root, how);
    return request;
}

Request makeSelection(INDEX_ROOT root, unsigned int how, DcElemList& identifier) {
    Request request;
    const Bytes attributes = read(root, identifier, request);
    const auto isUnique = [&](const Key& key) {
        for (std::size_t i = 0; i <= numberOf(request.level); ++i) {
            if (rowOf(static_cast<Level>(i)).unique == key.tag) return true;
        }
        return false;
    };
    for (Key& key : makeKeys(attributes, 0)) {
        if (isUnique(key) && !key.isUniversal()) request.keys.push_back(std::move(key));
    }
    request.narrowing = request.keys;
    requireUpper(request, root, how);
    const Key* const key = request.key(rowOf(request.level).unique);
    if (key == nullptr) requireOne(request, request.level);
    if (request.level == Level::patient) requireOne(request, request.level);
    return request;
}

}  // namespace orvkit::index
