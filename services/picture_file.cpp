#include "services/picture_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "orvkit/result.h"
#include "platform/file.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/whole_file.h"

namespace services {

bool encodePicture(const DcPicture& picture, PICTURE_FORMAT format, int quality, std::string& bytes,
                   std::string& fault) {
    DcRenderFault told;
    bytes.clear();
    const auto append = [](void* to, const unsigned char* from, unsigned long long length) {
        static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(from),
                                              static_cast<std::size_t>(length));
        return true;
    };
    if (pictureWrite(picture, format, quality, append, &bytes, &told) == RESULT_OK) return true;
    fault = told.text;
    return false;
}

bool writePicture(const std::string& path, const std::string& bytes) {
    WholeFile file(path);
    if (!file.ok()) return false;
    if (!orvkit::platform::writeAll(file.handle(), bytes.data(), bytes.size())) {
        return complain("%s: cannot be written: %s", path.c_str(), std::strerror(errno));
    }
    return file.commit(false);  // it can be made again: nothing waits for the disk
}

bool savePicture(const std::string& path, const DcPicture& picture, PICTURE_FORMAT format, int quality) {
    std::string bytes;
    std::string fault;
    if (!encodePicture(picture, format, quality, bytes, fault))
        return complain("%s: %s", path.c_str(), fault.c_str());
    return writePicture(path, bytes);
}

std::vector<PictureSource> pictureSources(const std::vector<std::string>& paths,
                                          std::vector<std::string>& faults) {
    std::vector<PictureSource> all;
    std::error_code error;
    for (const std::string& path : paths) {
        if (!std::filesystem::is_directory(pathOf(path), error)) {
            all.push_back({path, nameOf(pathOf(path).filename()), true});
            continue;
        }
        FolderContent content = walkFolder(path);
        for (std::string& name : content.files)
            all.push_back({nameOf(pathOf(path) / pathOf(name)), std::move(name), false});
        for (const std::string& other : content.others) faults.push_back(path + ": " + other);
    }
    return all;
}

}  // namespace services
