// What an MP4 file says of the video in it (ISO 14496-12).
#ifndef ORVKIT_SERVICES_MP4_H
#define ORVKIT_SERVICES_MP4_H

#include <cstdint>
#include <string>

namespace services {

struct Mp4Video {
    const char* syntax =
        nullptr;  // the transfer syntax for its codec, profile and level (PS3.5 8.2.7, 8.2.10)
    unsigned int rows = 0;
    unsigned int columns = 0;
    unsigned int frames = 0;
    double rate = 0;  // frames a second
};

// Reads the boxes of the first track that is a video; "" or what is wrong.
std::string readMp4(int handle, std::int64_t size, Mp4Video& video);

}  // namespace services

#endif
