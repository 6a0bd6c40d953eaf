// The header of a Part 10 file: what a file set says of it.
#ifndef ORVKIT_SERVICES_SOURCE_FILE_H
#define ORVKIT_SERVICES_SOURCE_FILE_H

#include <cstdint>
#include <string>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"

class DcDirRec;

namespace services {

struct SourceFile {
    enum class Kind { dicom, notDicom, damaged };

    std::string path;
    DcDirMetaInfo meta;  // with the SOP class and instance of the data set
    DcElemList dataset;  // without Pixel Data
    bool hasPixels = false;
    std::uint64_t pixelOffset = 0;  // in the file
    std::uint64_t pixelLength = 0;  // bytes that are there
    std::string fault;              // why it is damaged, or what is wrong with it all the same

    // The first value, "" without one.
    std::string text(unsigned int tag) { return textOf(dataset, tag); }
    // As the data set tells them; where it does not, as the meta information does.
    std::string sopClass();
    std::string sopInstance();

    static std::string textOf(DcElemList& list, unsigned int tag);
};

// Reads everything up to Pixel Data.
SourceFile::Kind readSource(const std::string& path, SourceFile& file);

// The first value of an element of a record, "" without one.
std::string textOf(const DcDirRec& record, unsigned int tag);

}  // namespace services

#endif
