// Pictures into files that appear whole or not at all.
#ifndef ORVKIT_SERVICES_PICTURE_FILE_H
#define ORVKIT_SERVICES_PICTURE_FILE_H

#include <string>
#include <vector>

#include "orvkit/render.h"

namespace services {

// The bytes of the file; false: `fault` says why.
[[nodiscard]] bool encodePicture(const DcPicture& picture, PICTURE_FORMAT format, int quality,
                                 std::string& bytes, std::string& fault);
// False, with a complaint, when the file cannot be written. One at a time in a process.
[[nodiscard]] bool writePicture(const std::string& path, const std::string& bytes);
// Both.
[[nodiscard]] bool savePicture(const std::string& path, const DcPicture& picture, PICTURE_FORMAT format,
                               int quality);

// A file that may hold an image.
struct PictureSource {
    std::string path;
    std::string name;       // below the directory that was given, or the file's own
    bool wasNamed = false;  // by the user: not found in a directory
};
// The files that the paths stand for, those of directories by name. Complaints of what cannot be looked at go
// to `faults`.
std::vector<PictureSource> pictureSources(const std::vector<std::string>& paths,
                                          std::vector<std::string>& faults);

}  // namespace services

#endif
