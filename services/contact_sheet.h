// One picture of all that is there: a small one for each series, with what it is.
#ifndef ORVKIT_SERVICES_CONTACT_SHEET_H
#define ORVKIT_SERVICES_CONTACT_SHEET_H

#include <string>
#include <vector>

#include "orvkit/render.h"

namespace services {

struct SheetRequest {
    std::vector<std::string> paths;  // files, and directories that are searched through
    DcRenderOptions options;         // of the small pictures; their size is the sheet's affair
    unsigned int tile = 192;         // pixels along a side of a small picture, 32 to 1024
    bool keepGoing = false;          // past what cannot be shown, with an empty place
    unsigned int jobs = 1;           // threads
};

// Each series is shown by its middle image, and that by its representative frame. Faults go to standard
// error; false when there was any, or nothing to show. With `keepGoing` there is a sheet all the same.
[[nodiscard]] bool makeSheet(const SheetRequest& request, DcPicture& sheet);

}  // namespace services

#endif
