#include "services/render_run.h"

#include <cstdio>
#include <filesystem>

#include "orvkit/result.h"
#include "services/file_run.h"
#include "services/image_file.h"
#include "services/paths.h"
#include "services/picture_file.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

class RenderRun {
  public:
    explicit RenderRun(const RenderRequest& request)
        : request_(request),
          run_("Rendering", request.paths, request.out, request.outIsFile, request.keepGoing) {}

    bool run() {
        if (!run_.run(request_.jobs, [this](const PictureSource& source) { renderFile(source); }))
            return false;
        return run_.delivered() > 0 || complain("no image was found");
    }

  private:
    void renderFile(const PictureSource& source) {
        ImageFile image;
        const ImageFile::Kind kind = image.open(source.path);
        if (kind != ImageFile::Kind::image) {
            const bool isOther = kind == ImageFile::Kind::notDicom || kind == ImageFile::Kind::noImage;
            if (source.wasNamed || !isOther) run_.fail(source.path + ": " + image.fault());
            return;
        }
        if (!request_.allFrames) {
            const unsigned int frame = request_.frame != 0 ? request_.frame : image.representative();
            renderFrameOf(image, source, frame, targetOf(source, 0));
            return;
        }
        const bool isOne = image.frames() == 1;
        const unsigned int last = image.hasCodec() ? image.frames() : 1;  // what is missing is told once
        for (unsigned int frame = 1; frame <= last && !run_.isOver(); ++frame) {
            renderFrameOf(image, source, frame, targetOf(source, isOne ? 0 : frame));
        }
    }

    void renderFrameOf(ImageFile& image, const PictureSource& source, unsigned int frame,
                       const std::string& target) {
        const auto failed = [&](const std::string& why) {
            run_.fail(source.path + ": frame " + std::to_string(frame) + ": " + why);
        };
        if (!image.read(frame)) return failed(image.fault());
        DcRenderOptions options = request_.options;
        if (run_.count() == 1) options.threads = request_.jobs;
        DcPicture picture;
        DcRenderFault fault;
        if (renderFrame(image.dataset(), image.pixels(), frame, options, picture, &fault) != RESULT_OK) {
            return failed(fault.text);
        }
        std::string bytes;
        std::string why;
        if (!encodePicture(picture, request_.format, request_.quality, bytes, why)) return failed(why);
        run_.deliver(source, target, [&] { return writePicture(target, bytes); });
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

    const RenderRequest& request_;
    FileRun run_;
};

}  // namespace

bool renderFiles(const RenderRequest& request) {
    return RenderRun(request).run();
}

}  // namespace services
