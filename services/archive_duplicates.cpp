#include "services/archive_duplicates.h"

#include <algorithm>
#include <map>

#include "orvkit/tags.h"
#include "services/elements.h"
#include "services/tag_names.h"
#include "services/text.h"

namespace services {
namespace {

constexpr std::size_t kMostNamed = 8;

std::map<unsigned int, std::string> valuesOf(const ArchiveFile& object) {
    std::map<unsigned int, std::string> values;
    for (DcElem* element = object.dataset.first(); element != nullptr; element = element->next())
        (void)bytesOf(*element, values[tagOf(*element)]);
    return values;
}

// Tags that one of them has, or has otherwise.
std::vector<unsigned int> differing(const ArchiveFile& one, const ArchiveFile& other) {
    std::map<unsigned int, std::string> a = valuesOf(one);
    const std::map<unsigned int, std::string> b = valuesOf(other);
    std::vector<unsigned int> tags;
    for (const auto& [tag, value] : b) {
        const auto at = a.find(tag);
        if (at != a.end() && at->second == value) {
            a.erase(at);
        } else {
            a[tag];  // in order
        }
    }
    tags.reserve(a.size());
    for (const auto& [tag, value] : a) tags.push_back(tag);
    return tags;
}

std::string nameOfTag(unsigned int tag) {
    const std::string keyword = keywordOf(tag);
    return keyword.empty() ? tagText(tag) : keyword;
}

}  // namespace

bool KnownPaths::has(const std::string& path) const {
    return std::ranges::find(same, path) != same.end() || std::ranges::find(others, path) != others.end();
}

KnownPaths pathsOf(DcIndex& index, const ArchiveFile& object, const std::string& instance) {
    struct Context {
        std::string study;
        std::string series;
        KnownPaths known;
    } context{textOf(object.dataset, T_0020_000d_studyInstanceUid),
              textOf(object.dataset, T_0020_000e_seriesInstanceUid),
              {}};
    (void)index.lookUp(instance.c_str(), &context, [](void* all, const DcIndexInstance& one) {
        auto& wanted = *static_cast<Context*>(all);
        const bool same = wanted.study == one.study && wanted.series == one.series;
        (same ? wanted.known.same : wanted.known.others).emplace_back(one.path);
        return 0;
    });
    return context.known;
}

std::string differencesTo(const ArchiveFile& object, const ArchiveFile& other) {
    const std::vector<unsigned int> tags = differing(object, other);
    std::string text;
    if (object.xferSyn != other.xferSyn) text = ", Transfer Syntax";
    for (std::size_t i = 0; i < tags.size() && i < kMostNamed; ++i) text += ", " + nameOfTag(tags[i]);
    if (tags.size() > kMostNamed) text += " and " + std::to_string(tags.size() - kMostNamed) + " more";
    return "another " + (text.empty() ? "Pixel Data, or in another encoding" : text.substr(2));
}

}  // namespace services
