// Pictures of many files on several threads.
#ifndef ORVKIT_SERVICES_RENDER_RUN_H
#define ORVKIT_SERVICES_RENDER_RUN_H

#include <string>
#include <vector>

#include "orvkit/render.h"

namespace services {

struct RenderRequest {
    std::vector<std::string> paths;  // files, and directories that are searched through
    std::string out;                 // a file, or a directory
    bool outIsFile = true;
    PICTURE_FORMAT format = PICTURE_PNG;
    std::string extension = "png";
    int quality = 90;        // of JPEG
    unsigned int frame = 0;  // from 1; 0: the one that stands for the image
    bool allFrames = false;
    DcRenderOptions options;
    bool keepGoing = false;  // past what cannot be shown
    unsigned int jobs = 1;   // threads
};

// Writes a picture for each frame asked for. Faults go to standard error; false when there was any. In
// directories, files that are no images are passed over.
[[nodiscard]] bool renderFiles(const RenderRequest& request);

}  // namespace services

#endif
