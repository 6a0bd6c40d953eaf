// What object a Part 10 file holds: its SOP class, instance and transfer syntax from the first bytes, or all
// of its header.
#ifndef ORVKIT_SERVICES_SOURCE_FILE_H
#define ORVKIT_SERVICES_SOURCE_FILE_H

#include <cstdint>
#include <string>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/uids.h"
#include "services/elements.h"

namespace services {

struct FileIdentity {
    // Class and instance are those of the data set, which is what a receiver gets; where it names none, or
    // cannot be read (deflated, without the codec), those of the header. UID_NONE and "" when neither names
    // one that is usable.
    DICT_UID sopClass = UID_NONE;
    std::string instance;
    DICT_UID xferSyn = UID_NONE;
    std::uint64_t size = 0;   // of the file, in bytes
    std::uint64_t begin = 0;  // of the data set, in the file
    std::string difference;   // what the header names otherwise, in words; "" when nothing
};

// One read of 4 KiB, and a second one only where the header, or what stands in front of the instance, is
// longer; Pixel Data is not read. 0, or the code of dirReadFileMetaInfo. With `learn`, UIDs that the
// dictionary does not know are added to it, which must be no other thread's then (dict.h).
[[nodiscard]] int readIdentity(const std::string& path, FileIdentity& identity, bool learn);

// Of a data set without a header that can be used, or with one of odd form: what dirReadAnyFile finds. The
// identity's size is that of the file, and nothing is known of its beginning. RESULT_OK, or the code of what
// failed.
int readOddFile(const std::string& path, FileIdentity& identity, bool learn);

// What a file set says of a file.
struct SourceFile {
    enum class Kind { dicom, notDicom, damaged };

    std::string path;
    DcDirMetaInfo meta;  // with the SOP class and instance of the data set
    DcElemList dataset;  // without Pixel Data
    bool hasPixels = false;
    bool isPacked = false;          // its data set is compressed: the pixels are nowhere in the file
    std::uint64_t pixelOffset = 0;  // in the file
    std::uint64_t pixelLength = 0;  // bytes that are there
    std::string fault;              // why it is damaged, or what is wrong with it all the same

    std::string text(unsigned int tag) const { return textOf(dataset, tag); }
    // As the data set tells them; where it does not, as the meta information does.
    std::string sopClass() const;
    std::string sopInstance() const;
};

// Reads everything up to Pixel Data.
[[nodiscard]] SourceFile::Kind readSource(const std::string& path, SourceFile& file);

}  // namespace services

#endif
