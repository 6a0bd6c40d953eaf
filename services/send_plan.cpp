#include "services/send_plan.h"

#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/association.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

constexpr unsigned int kPreamble = 132;  // with "DICM"

// A UID of the file meta information, added to the dictionary when that does not know it.
DICT_UID known(DcElemList& meta, unsigned int tag, DICT_UID_TYPE type) {
    char uid[65] = "";
    DICT_UID value = UID_NONE;
    if (meta.getValue(tag, uid, 64) != RESULT_OK || uid[0] == '\0') return UID_NONE;
    if (Dict.getUidDef(uid, value) == RESULT_OK) return value;
    return Dict.add(uid, nullptr, &value, type) == RESULT_OK ? value : UID_NONE;
}

// For a file with a UID that the dictionary does not know: its meta information is read once more, as text.
void readUnknownUids(OutgoingFile& file, unsigned int end) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(orvkit::platform::openStream(file.path.c_str(), "rb"),
                                                       &std::fclose);
    std::vector<unsigned char> bytes(end);
    if (in == nullptr || end <= kPreamble || std::fread(bytes.data(), 1, end, in.get()) != end) return;
    DcElemList meta;
    unsigned int length = end - kPreamble;
    (void)meta.decode(bytes.data() + kPreamble, length, UID_LITTLE_ENDIAN_EXPLICIT);
    file.sopClass = known(meta, T_0002_0002_mediaStorageSopClassUid, UID_TYPE_SOP);
    file.xferSyn = known(meta, T_0002_0010_transferSyntaxUid, UID_TYPE_XFER_SYN);
}

class Planner {
  public:
    explicit Planner(SendPlan& plan) : plan_(plan) {}

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
        OutgoingFile file;
        file.path = path;
        DcDirMetaInfo meta;
        unsigned int end = 0;
        const int result = dirReadFileMetaInfo(path.c_str(), meta, end);
        if (result != RESULT_OK) return fault(path, resultText(result));
        file.sopClass = meta.sopClassUid;
        file.xferSyn = meta.transferSyntax;
        if (file.sopClass == UID_NONE || file.xferSyn == UID_NONE) readUnknownUids(file, end);
        if (file.sopClass == UID_MEDIA_STORAGE_DIR_STORAGE) {
            if (!fromFolder) fault(path, "a DICOMDIR is not sent: its records name files by their place");
            return;
        }
        if (file.sopClass == UID_NONE || meta.sopInstanceUid[0] == '\0') {
            return fault(path, "the header names no usable SOP class and instance");
        }
        if (file.xferSyn == UID_NONE) return fault(path, "the header names no usable transfer syntax");
        std::error_code error;
        const std::uintmax_t size = fs::file_size(pathOf(path), error);
        if (error) return fault(path, error.message());
        if (size <= end) return fault(path, "no data set follows its header");
        file.size = size;
        plan_.bytes += size;
        ++plan_.files;
        groupFor(file).files.push_back(std::move(file));
    }

    void fault(const std::string& path, const std::string& why) { plan_.faults.emplace_back(path, why); }

    // One context for every transfer syntax of a SOP class: a context is accepted in one of its syntaxes
    // only.
    SendGroup& groupFor(const OutgoingFile& file) {
        const auto [found, isNew] = place_.try_emplace({file.sopClass, file.xferSyn}, plan_.groups.size());
        if (!isNew) return plan_.groups[found->second];
        if (plan_.groups.empty() || plan_.groups.back().contexts.size() == MSM_PROPOSAL_MAX) {
            plan_.groups.emplace_back();
        }
        found->second = plan_.groups.size() - 1;
        plan_.groups.back().contexts.push_back(context(file.sopClass, {file.xferSyn}));
        return plan_.groups.back();
    }

    SendPlan& plan_;
    std::map<std::pair<DICT_UID, DICT_UID>, std::size_t> place_;
};

}  // namespace

SendPlan planSend(const std::vector<std::string>& paths) {
    SendPlan plan;
    Planner planner(plan);
    for (const std::string& path : paths) planner.path(path);
    return plan;
}

}  // namespace services
