// Icon images of directory records (PS3.3 C.7.6.1.1.6).
#ifndef ORVKIT_SERVICES_ICON_H
#define ORVKIT_SERVICES_ICON_H

#include <string>

class DcElemSq;

namespace services {

struct SourceFile;

inline constexpr unsigned int iconSize = 64;  // rows and columns

// An Icon Image Sequence for an image with native pixel data: 8 bits of grey, the image in the middle. One
// frame is read, the representative one or the first. Null when there can be none; `why` says why not, and
// stays empty for encapsulated pixel data and files without pixels, which have no icon by intention.
DcElemSq* makeIcon(SourceFile& source, std::string& why);

}  // namespace services

#endif
