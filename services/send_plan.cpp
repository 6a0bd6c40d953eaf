#include "services/send_plan.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <system_error>

#include "orvkit/dict.h"
#include "orvkit/image.h"
#include "orvkit/result.h"
#include "services/association.h"
#include "services/conversion.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/source_file.h"

namespace services {
namespace {

namespace fs = std::filesystem;

constexpr DICT_UID kUncompressed[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT};
// One context each would be too many: the peer chooses.
constexpr const char* kLossless[] = {"jpeg-lossless", "jpegls", "j2k", "rle"};

bool isUncompressed(DICT_UID xferSyn) {
    return std::ranges::find(kUncompressed, xferSyn) != std::end(kUncompressed);
}

class Planner {
  public:
    Planner(SendPlan& plan, bool transcode) : plan_(plan), transcode_(transcode) {}

    void path(const std::string& path) {
        std::error_code error;
        if (!fs::is_directory(pathOf(path), error)) return file(path, false);
        const FolderContent content = walkFolder(path);
        const std::string prefix = path.back() == '/' ? path : path + "/";
        for (const std::string& name : content.files) file(prefix + name, true);
        for (const std::string& name : content.others) {
            fault(path, name + " is passed over: a symbolic link, or nothing that can be looked at");
        }
    }

  private:
    void file(const std::string& path, bool fromFolder) {
        FileIdentity object;
        int result = readIdentity(path, object, true);
        const bool odd = result == DIR_NOT_PART10 || result == DIR_META_INFO || result == DIR_READ_WRITE;
        if (odd && readOddFile(path, object, true) == RESULT_OK) result = RESULT_OK;
        if (result != RESULT_OK) return fault(path, resultText(result));
        if (object.sopClass == UID_MEDIA_STORAGE_DIR_STORAGE) {
            if (!fromFolder) fault(path, "a DICOMDIR is not sent: its records name files by their place");
            return;
        }
        if (object.xferSyn == UID_NONE) return fault(path, "the header names no usable transfer syntax");
        if (object.sopClass == UID_NONE || object.instance.empty()) {
            return fault(path, "neither its data set nor its header names a usable SOP class and instance");
        }
        if (object.size <= object.begin) return fault(path, "no data set follows its header");
        if (!object.difference.empty()) plan_.notes.emplace_back(path, object.difference);
        OutgoingFile file;
        file.path = path;
        file.sopClass = object.sopClass;
        file.xferSyn = object.xferSyn;
        file.size = object.size;
        file.odd = odd;
        plan_.bytes += file.size;
        ++plan_.files;
        groupFor(file).files.push_back(std::move(file));
    }

    void fault(const std::string& path, const std::string& why) { plan_.faults.emplace_back(path, why); }

    // A context is accepted in one of its syntaxes only: each that is needed has its own.
    SendGroup& groupFor(const OutgoingFile& file) {
        const auto [found, isNew] = place_.try_emplace({file.sopClass, file.xferSyn}, plan_.groups.size());
        if (!isNew) return plan_.groups[found->second];
        std::vector<DICT_UID> plain = fallbacksOf(file.xferSyn, transcode_);
        const auto packed = std::find_if_not(plain.begin(), plain.end(), isUncompressed);
        const std::vector<DICT_UID> lossless(packed, plain.end());
        plain.erase(packed, plain.end());
        const std::size_t needed = 1 + (plain.empty() ? 0 : 1) + (lossless.empty() ? 0 : 1);
        if (plan_.groups.empty() || plan_.groups.back().contexts.size() + needed > MSM_PROPOSAL_MAX) {
            plan_.groups.emplace_back();
            withFallback_.clear();
        }
        found->second = plan_.groups.size() - 1;
        SendGroup& group = plan_.groups.back();
        group.contexts.push_back(context(file.sopClass, {file.xferSyn}));
        if (plain.empty() || !withFallback_.insert(file.sopClass).second) return group;
        group.contexts.push_back(context(file.sopClass, plain));
        if (!lossless.empty()) group.contexts.push_back(context(file.sopClass, lossless));
        return group;
    }

    SendPlan& plan_;
    bool transcode_;
    std::map<std::pair<DICT_UID, DICT_UID>, std::size_t> place_;
    std::set<DICT_UID> withFallback_;  // classes of the last group
};

}  // namespace

std::vector<DICT_UID> fallbacksOf(DICT_UID xferSyn, bool transcode) {
    std::vector<DICT_UID> others;
    if (!isConvertible(xferSyn) && !(transcode && hasDecoder(xferSyn))) return others;
    std::ranges::copy_if(kUncompressed, std::back_inserter(others),
                         [xferSyn](DICT_UID other) { return other != xferSyn; });
    for (const char* const name : kLossless) {
        const DcImageCodec* const codec = imageFindCodec(name);
        DICT_UID syntax = UID_NONE;
        if (!transcode || codec == nullptr || !codec->encodes) continue;
        if (Dict.getUidDef(codec->uid, syntax) == RESULT_OK && syntax != xferSyn) others.push_back(syntax);
    }
    return others;
}

SendPlan planSend(const std::vector<std::string>& paths, bool transcode) {
    SendPlan plan;
    Planner planner(plan, transcode);
    for (const std::string& path : paths) planner.path(path);
    return plan;
}

}  // namespace services
