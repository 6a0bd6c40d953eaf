#include "services/render_run.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

#include "orvkit/result.h"
#include "services/image_file.h"
#include "services/paths.h"
#include "services/picture_file.h"
#include "services/progress.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

class RenderRun {
  public:
    explicit RenderRun(const RenderRequest& request)
        : request_(request),
          sources_(pictureSources(request.paths, faults_)),
          progress_("Rendering", sources_.size()) {}

    bool run() {
        for (const std::string& fault : faults_) (void)complain("%s", fault.c_str());
        isGood_ = faults_.empty();
        if (!request_.outIsFile && !makeFolder(request_.out)) return false;
        const std::size_t threads = std::min<std::size_t>(request_.jobs, sources_.size());
        std::vector<std::thread> others;
        for (std::size_t i = 1; i < threads; ++i) others.emplace_back([this] { work(); });
        work();
        for (std::thread& other : others) other.join();
        progress_.clear();
        if (isGood_ && written_ == 0) return complain("no image was found");
        return isGood_;
    }

  private:
    void work() {
        while (!isOver_) {
            const std::size_t at = next_++;
            if (at >= sources_.size()) return;
            renderFile(sources_[at]);
            const std::lock_guard lock(mutex_);
            progress_.step();
        }
    }

    void renderFile(const PictureSource& source) {
        ImageFile image;
        const ImageFile::Kind kind = image.open(source.path);
        if (kind != ImageFile::Kind::image) {
            const bool isOther = kind == ImageFile::Kind::notDicom || kind == ImageFile::Kind::noImage;
            if (source.wasNamed || !isOther) fail(source.path + ": " + image.fault());
            return;
        }
        if (!request_.allFrames) {
            const unsigned int frame = request_.frame != 0 ? request_.frame : image.representative();
            renderFrameOf(image, source, frame, targetOf(source, 0));
            return;
        }
        const bool isOne = image.frames() == 1;
        const unsigned int last = image.hasCodec() ? image.frames() : 1;  // what is missing is told once
        for (unsigned int frame = 1; frame <= last && !isOver_; ++frame) {
            renderFrameOf(image, source, frame, targetOf(source, isOne ? 0 : frame));
        }
    }

    void renderFrameOf(ImageFile& image, const PictureSource& source, unsigned int frame,
                       const std::string& target) {
        const auto failed = [&](const std::string& why) {
            fail(source.path + ": frame " + std::to_string(frame) + ": " + why);
        };
        if (!image.read(frame)) return failed(image.fault());
        DcRenderOptions options = request_.options;
        if (sources_.size() == 1) options.threads = request_.jobs;
        DcPicture picture;
        DcRenderFault fault;
        if (renderFrame(image.dataset(), image.pixels(), frame, options, picture, &fault) != RESULT_OK) {
            return failed(fault.text);
        }
        std::string bytes;
        std::string why;
        if (!encodePicture(picture, request_.format, request_.quality, bytes, why)) return failed(why);
        deliver(source, target, bytes);
    }

    // A frame of its own in a name where there are several; 0 for none.
    std::string targetOf(const PictureSource& source, unsigned int frame) const {
        char number[16] = "";
        if (frame != 0) std::snprintf(number, sizeof number, "-%04u", frame);
        const fs::path out = pathOf(request_.out);
        if (request_.outIsFile) {
            return nameOf(out.parent_path() / pathOf(nameOf(out.stem()) + number + nameOf(out.extension())));
        }
        fs::path name = pathOf(source.name);
        const std::string extension = nameOf(name.extension());
        if (extension == ".dcm" || extension == ".DCM") name.replace_extension();
        return nameOf(out / name) + number + "." + request_.extension;
    }

    void deliver(const PictureSource& source, const std::string& target, const std::string& bytes) {
        const std::lock_guard lock(mutex_);
        progress_.clear();
        if (!targets_.insert(target).second) {
            return failLocked(source.path + ": another picture is " + target + " already");
        }
        if (!request_.outIsFile && !makeFolder(nameOf(pathOf(target).parent_path()))) return endLocked();
        if (!writePicture(target, bytes)) return endLocked();
        ++written_;
    }
    static bool makeFolder(const std::string& path) {
        std::error_code error;
        fs::create_directories(pathOf(path), error);
        return !error || complain("%s: %s", path.c_str(), error.message().c_str());
    }

    void fail(const std::string& text) {
        const std::lock_guard lock(mutex_);
        progress_.clear();
        failLocked(text);
    }
    void failLocked(const std::string& text) {
        if (!isOver_) (void)complain("%s", text.c_str());
        isGood_ = false;
        if (!request_.keepGoing) isOver_ = true;
    }
    // Where nothing can be written, nothing more is tried.
    void endLocked() {
        isGood_ = false;
        isOver_ = true;
    }

    const RenderRequest& request_;
    std::vector<std::string> faults_;
    std::vector<PictureSource> sources_;
    std::mutex mutex_;  // of what follows, of writing and of complaints
    Progress progress_;
    std::set<std::string> targets_;
    std::size_t written_ = 0;
    bool isGood_ = true;
    std::atomic<bool> isOver_ = false;
    std::atomic<std::size_t> next_ = 0;
};

}  // namespace

bool renderFiles(const RenderRequest& request) {
    return RenderRun(request).run();
}

}  // namespace services
