// Objects made of files of other kinds: pictures, documents, videos.
#ifndef ORVKIT_SERVICES_IMPORT_OBJECT_H
#define ORVKIT_SERVICES_IMPORT_OBJECT_H

#include <string>
#include <vector>

namespace services {

struct ImportRequest {
    std::vector<std::string> files;
    std::string out;  // a file where there is one object, otherwise a directory
    bool outIsFile = true;
    std::vector<std::string> keys;  // "Tag=value": what the objects are to say
    std::string like;               // an object of whose patient and study they are; "" none
};

// Makes an object of each file, all of one study: secondary captures of pictures (PNG, JPEG whose codestream
// is kept, TIFF of one or more pages, PNM), encapsulated documents (PDF, CDA, STL) and video images (MP4 with
// H.264 or H.265, MPEG-2). What the standard asks for (PS3.3 type 1 and 2) is there, is made, or is missed by
// name. Files appear whole or not at all. Faults go to standard error; false when there was any.
[[nodiscard]] bool importFiles(const ImportRequest& request);

}  // namespace services

#endif
