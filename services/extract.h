// What objects carry for others: documents, video streams, and the frames of images as they are stored.
#ifndef ORVKIT_SERVICES_EXTRACT_H
#define ORVKIT_SERVICES_EXTRACT_H

#include <string>
#include <vector>

namespace services {

struct ExtractRequest {
    std::vector<std::string> paths;  // files, and directories that are searched through
    std::string out;                 // a file where there is one thing to write; otherwise a directory
    bool outIsFile = false;
    unsigned int frame = 0;  // from 1; 0: all of them
    bool keepGoing = false;  // past what cannot be read
};

// Writes an encapsulated document (PS3.3 C.24.2) as the file that it was, a video as its one stream, and each
// frame of an image as its codestream, or its native bytes. Files appear whole or not at all. Faults go to
// standard error; false when there was any. In directories, files that carry nothing are passed over.
[[nodiscard]] bool extractFiles(const ExtractRequest& request);

}  // namespace services

#endif
