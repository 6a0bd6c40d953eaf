// What the two halves of sending a message share: the message (data_tf_write.cpp), and what comes from files
// (data_tf_disk.cpp).
#ifndef ORVKIT_NETWORK_DATA_TF_OWN_H
#define ORVKIT_NETWORK_DATA_TF_OWN_H

#include <cstdint>

#include "orvkit/datatf.h"
#include "platform/file.h"

// A run of bytes in a file, and the unit whose byte order is not the stream's (1 for none).
struct DcPduDataTf::DiskPart {
    int file;
    std::int64_t offset;
    std::uint64_t length;
    unsigned int swap;
};

struct DcPduDataTf::DataFile {
    orvkit::platform::FileHandle handle;
    unsigned int begin = 0;
    std::uint64_t length = 0;
};

namespace orvkit {

// A regular file, or nothing.
platform::FileHandle openRegular(const char* path);

// Of a PDU of `whole` bytes only some went out.
int failSending(std::uint64_t whole, std::uint64_t sent);

}  // namespace orvkit

#endif
