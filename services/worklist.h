// The modality worklist behind `orvkit serve --worklist` (PS3.4 K): procedure steps from files in a
// directory, DICOM files or the DICOM JSON model (PS3.18 F), read again when they change.
#ifndef ORVKIT_SERVICES_WORKLIST_H
#define ORVKIT_SERVICES_WORKLIST_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "index/attributes.h"
#include "services/provider.h"

namespace services {

// A scheduled procedure step: the attributes of its file, with this one step in (0040,0100).
using WorklistStep = std::shared_ptr<const orvkit::index::Bytes>;

// The steps in a file. False: `fault` tells why it has none.
[[nodiscard]] bool readWorklistFile(const std::string& path, std::vector<WorklistStep>& steps,
                                    std::string& fault);
// The data sets of the DICOM JSON model, an object or an array of them, as attributes. False: see `fault`.
[[nodiscard]] bool attributesOfJson(const std::string& text, std::vector<orvkit::index::Bytes>& datasets,
                                    std::string& fault);

class Worklist {
  public:
    using Tell = std::function<void(const std::string& line)>;

    // `most` results of one query are told; 0: all. A file that cannot be used is told once, until it
    // changes.
    Worklist(std::string directory, unsigned int most, Tell tell)
        : directory_(std::move(directory)), most_(most), tell_(std::move(tell)) {}

    // Has the server answer queries for it. False, with a complaint, when the directory cannot be read.
    [[nodiscard]] bool serve(StoreServer& server);
    // What there is now, in the order of the names of files. From any thread.
    std::vector<WorklistStep> steps();
    unsigned int most() const { return most_; }

  private:
    struct File {
        std::filesystem::file_time_type time;
        std::uintmax_t size = 0;
        std::vector<WorklistStep> steps;
    };
    void look();
    void read(const std::string& name, const std::filesystem::path& path, File& file);

    std::string directory_;
    unsigned int most_;
    Tell tell_;
    std::mutex mutex_;
    std::map<std::string, File> files_;
    bool tooMany_ = false;
};

}  // namespace services

#endif
