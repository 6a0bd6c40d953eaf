#include "services/render_terminal.h"

#include <cstdio>

#include "orvkit/result.h"
#include "services/image_file.h"
#include "services/picture_file.h"
#include "services/report.h"
#include "services/terminal_picture.h"

namespace services {
namespace {

class Drawing {
  public:
    Drawing(const RenderRequest& request, bool forceSixels)
        : request_(request), options_(request.options), inSixels_(forceSixels || terminalHasSixels()) {
        options_.bits = 8;
        options_.threads = request.jobs;
        if (options_.boxWidth != 0) return;
        const TerminalBox box = terminalBox(inSixels_);
        options_.boxWidth = box.width;
        options_.boxHeight = box.height;
    }

    bool run() {
        std::vector<std::string> faults;
        const std::vector<PictureSource> sources = pictureSources(request_.paths, faults);
        for (const std::string& fault : faults) (void)complain("%s", fault.c_str());
        bool isGood = faults.empty();
        for (const PictureSource& source : sources) {
            if (drawFile(source, sources.size() > 1)) continue;
            isGood = false;
            if (!request_.keepGoing) break;
        }
        return isGood;
    }

  private:
    bool drawFile(const PictureSource& source, bool withName) {
        ImageFile image;
        const ImageFile::Kind kind = image.open(source.path);
        if (kind != ImageFile::Kind::image) {
            if (!source.wasNamed && kind != ImageFile::Kind::damaged) return true;
            return complain("%s: %s", source.path.c_str(), image.fault().c_str());
        }
        if (withName) std::printf("%s\n", source.path.c_str());
        const unsigned int one = request_.frame != 0 ? request_.frame : image.representative();
        const unsigned int last = request_.allFrames ? image.frames() : one;
        bool isGood = true;
        for (unsigned int frame = request_.allFrames ? 1 : one; frame <= last; ++frame) {
            isGood = drawFrame(image, source.path, frame) && isGood;
            if (!isGood && !request_.keepGoing) break;
        }
        return isGood;
    }

    bool drawFrame(ImageFile& image, const std::string& path, unsigned int frame) const {
        DcPicture picture;
        DcRenderFault fault;
        const bool isRead = image.read(frame);
        if (!isRead ||
            renderFrame(image.dataset(), image.pixels(), frame, options_, picture, &fault) != RESULT_OK) {
            return complain("%s: frame %u: %s", path.c_str(), frame,
                            isRead ? fault.text : image.fault().c_str());
        }
        const std::string text = inSixels_ ? sixels(picture) : halfBlocks(picture);
        return std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    }

    const RenderRequest& request_;
    DcRenderOptions options_;
    bool inSixels_;
};

}  // namespace

bool renderInTerminal(const RenderRequest& request, bool forceSixels) {
    return Drawing(request, forceSixels).run();
}

}  // namespace services
