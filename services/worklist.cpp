#include "services/worklist.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "index/trouble.h"
#include "orvkit/index.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/word_file.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace ix = orvkit::index;

constexpr std::size_t kMostWorklistFiles = 100'000;
constexpr std::uintmax_t kLargestWorklistFile = 4 << 20;  // bytes
constexpr std::size_t kMostStepBytes = 64 << 20;          // of a file, whose steps each have what they share
constexpr std::size_t kLongestFault = 200;
constexpr ix::Bounds kFileBounds{64 << 10, 4 << 10, 1 << 20};

bool looksLikeJson(const std::string& text) {
    const std::size_t at = text.find_first_not_of("\xEF\xBB\xBF \t\r\n");
    return at != std::string::npos && (text[at] == '{' || text[at] == '[');
}

// Each item of the sequence of steps becomes one of its own. False: they are too large.
bool splitSteps(const ix::Bytes& dataset, std::size_t& bytes, std::vector<WorklistStep>& steps) {
    const auto sequence = ix::attributeOf(dataset, T_0040_0100_scheduledProcedureStepSequence);
    if (!sequence.has_value() || sequence->vr != VR_SQ) return true;
    ix::ItemReader items(sequence->value);
    for (std::string_view item; items.next(item);) {
        ix::Bytes step;
        ix::appendItem(step, item);
        const std::string_view one = step;
        ix::Bytes whole;
        ix::AttributeReader reader(dataset);
        for (ix::Attribute attribute; reader.next(attribute);) {
            const bool isIt = attribute.tag == T_0040_0100_scheduledProcedureStepSequence;
            ix::append(whole, attribute.tag, attribute.vr, isIt ? one : attribute.value);
        }
        bytes += whole.size();
        if (bytes > kMostStepBytes) return false;
        steps.push_back(std::make_shared<const ix::Bytes>(std::move(whole)));
    }
    return true;
}

bool readDicomSteps(const std::string& path, std::vector<ix::Bytes>& datasets, std::string& fault) {
    DcDirMetaInfo meta;
    DcElemList dataset;
    DcDirAround around;
    if (const int result = dirReadAroundPixels(path.c_str(), meta, dataset, around); result != RESULT_OK) {
        fault = resultText(result);
        return false;
    }
    if (!ix::takeAttributes(dataset, kFileBounds, datasets.emplace_back())) fault = "it is nested too deep";
    return fault.empty();
}

}  // namespace

bool readWorklistFile(const std::string& path, std::vector<WorklistStep>& steps, std::string& fault) {
    std::string text;
    std::vector<ix::Bytes> datasets;
    if (!readText(path, text, fault)) return false;
    const bool good =
        looksLikeJson(text) ? attributesOfJson(text, datasets, fault) : readDicomSteps(path, datasets, fault);
    if (!good) return false;
    std::size_t bytes = 0;
    for (const ix::Bytes& each : datasets) {
        if (splitSteps(each, bytes, steps)) continue;
        fault = "its procedure steps, with what they share, are larger than 64 MB";
        return false;
    }
    if (steps.empty()) fault = "it has no scheduled procedure step (0040,0100)";
    return fault.empty();
}

// What cannot be looked at now stays as it was.
void Worklist::look() {
    std::error_code error;
    std::map<std::string, File> now;
    fs::directory_iterator entries = openFolder(pathOf(directory_), error);
    bool tooMany = false;
    for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
        const std::string name = nameOf(entries->path().filename());
        std::error_code gone;
        File file;
        if (name.starts_with('.') || !entries->is_regular_file(gone)) continue;
        if (now.size() >= kMostWorklistFiles) {
            tooMany = true;
            break;
        }
        file.time = entries->last_write_time(gone);
        file.size = entries->file_size(gone);
        if (gone) continue;
        const auto known = files_.find(name);
        if (known != files_.end() && known->second.time == file.time && known->second.size == file.size) {
            file.steps = std::move(known->second.steps);
        } else {
            read(name, entries->path(), file);
        }
        now.emplace(name, std::move(file));
    }
    if (error) {
        tell_("the worklist " + directory_ + " cannot be read: " + error.message());
        for (auto& [name, file] : now) files_.insert_or_assign(name, std::move(file));
        return;
    }
    if (tooMany && !tooMany_)
        tell_("of the worklist only " + std::to_string(kMostWorklistFiles) + " files are read");
    tooMany_ = tooMany;
    files_ = std::move(now);
}

void Worklist::read(const std::string& name, const fs::path& path, File& file) {
    std::string fault;
    if (file.size > kLargestWorklistFile) {
        fault = "it is larger than 4 MB";
    } else {
        try {
            if (!readWorklistFile(nameOf(path), file.steps, fault)) file.steps.clear();
        } catch (const ix::Trouble& trouble) {
            file.steps.clear();
            fault = trouble.text;
        }
    }
    if (!fault.empty())
        tell_(withEscapes("worklist file " + name + " is left out: " + fault.substr(0, kLongestFault)));
}

std::vector<WorklistStep> Worklist::steps() {
    std::vector<WorklistStep> all;
    const std::lock_guard lock(mutex_);
    look();
    for (const auto& [name, file] : files_) all.insert(all.end(), file.steps.begin(), file.steps.end());
    return all;
}

}  // namespace services
