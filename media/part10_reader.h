// The parts of a Part 10 file in front of its data set (PS3.10 7.1).
#ifndef ORVKIT_MEDIA_PART10_READER_H
#define ORVKIT_MEDIA_PART10_READER_H

#include <cstdint>

#include "encoding/codec.h"
#include "encoding/walk.h"
#include "media/file_prefix.h"
#include "orvkit/file.h"

namespace orvkit {

// A file, or a block of memory, on its way into a record and a data set.
struct Part10 {
    ByteSource& source;
    const char* path;  // null for memory
    DcDirMetaInfo& meta;
    DcElemList* group = nullptr;          // receives the elements of group 0002
    std::uint64_t end = 0;                // where the data set begins
    char syntaxText[65] = "";             // the transfer syntax as the file names it
    DcDirFound* found = nullptr;          // not null: also what is no Part 10 file by the letter
    const DataSetCodec* codec = nullptr;  // of a data set that is to be unpacked
    Mode mode = {};                       // of the data set, from settleSyntax

    const char* name() const { return path != nullptr ? path : "(memory)"; }
};

// Reads preamble and meta information; every failure is logged under "dirReadFileMetaInfo".
// DIR_NOT_PART10, DIR_READ_WRITE, DIR_META_INFO, ELEM_NO_MEMORY.
int readMeta(Part10& p);

// Opens the file of `p`, of which `file` is the source, and does the same; `firstRead` bytes are read at
// once. `statReporter` tells of a file that is not there. From then on no more than a data set may have is
// held of it. DIR_OPEN, DIR_STAT, DIR_NULL_ARGUMENT, and the codes of readMeta.
int beginFile(FilePrefix& file, Part10& p, const char* statReporter, std::size_t firstRead);

// The syntax to read the data set in: that of the meta information, or, where it is not known, the one that
// the first element looks like; sets the mode. For a data set that is compressed as a whole `p` receives the
// codec, and the syntax is that of what it unpacks; ELEM_XFER_SYNTAX (LOG_ERROR) where nobody brought one.
int settleSyntax(Part10& p, const char* reporter, DICT_UID& xferSyn);

// A DICOMDIR in implicit VR is read (LOG_NOTICE).
void tellImplicitDirectory(const char* reporter, const char* path);

}  // namespace orvkit

#endif
