// Where the meta information and the data set lie in what is no Part 10 file by the letter.
#ifndef ORVKIT_MEDIA_ANY_FILE_H
#define ORVKIT_MEDIA_ANY_FILE_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "encoding/walk.h"
#include "orvkit/file.h"

namespace orvkit {

struct Located {
    bool meta = false;        // meta information begins there, else the data set
    std::uint64_t begin = 0;  // in the source
    Mode mode = Mode::explicitLittle();
};

// Nothing when the bytes look like no DICOM. `found` receives preamble and zeros.
std::optional<Located> locate(ByteSource& source, DcDirFound& found);

// The elements of a meta group in implicit VR, as they are with letters; `end` receives where they stop.
// False when one of them runs past the end.
bool explicitMeta(ByteSource& source, std::uint64_t begin, std::uint64_t& end,
                  std::vector<unsigned char>& bytes);

// What a data set at `begin` looks like; UID_NONE when it looks like none. `named` is believed as long as it
// is possible.
DICT_UID syntaxByLooks(ByteSource& source, std::uint64_t begin, DICT_UID named);

// Whether nothing but zeros is left from there on; such as fill up the rest of a file are no elements.
bool onlyZerosFrom(ByteSource& source, std::uint64_t offset);

// Where a data set in memory ends: in front of such zeros, or with the source.
std::uint64_t endBeforeZeros(ByteSource& source, std::uint64_t begin, DICT_UID xferSyn);

}  // namespace orvkit

#endif
