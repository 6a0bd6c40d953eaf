// DcFrames: the frames of pixel data (PS3.3 C.7.6.6, PS3.5 A.4), each found by its number without reading the
// others, in memory or in a file whose pixels stay on disk.
//
// Native frames stand at places that are calculated. Encapsulated ones are found by the Extended Offset Table
// (7FE0,0001) (PS3.3 C.7.6.3.1.8), else by the Basic Offset Table, else by one pass over the headers of all
// fragments, which is remembered. A table is not believed: its entries must be as many as the frames and
// ascend, and where an entry says that a frame is, an item must begin, and end where the next entry says.
// Where one does not, the pass is made and the frames are those that it finds (LOG_NOTICE, and
// tablesRefused).
//
// Several threads may find and read frames of one object at once; opening and closing is one thread's affair.
// Nothing is held but what is said at open, and no number of a data set makes the object hold or read more
// than there is. All lengths and offsets count bytes and have 64 bits on every platform.
#ifndef ORVKIT_FRAMES_H
#define ORVKIT_FRAMES_H

#include <cstddef>

#include "orvkit/elemlist.h"
#include "orvkit/export.h"
#include "orvkit/uids.h"

namespace orvkit {
struct OpenFrames;
}

// What the data set says about its frames; 0 for what it does not say.
struct DcFrameLayout {
    unsigned int frames = 0;   // (0028,0008), as it is told; 1 where it is absent or no positive number
    unsigned int rows = 0;     // (0028,0010)
    unsigned int columns = 0;  // (0028,0011)
    unsigned int samplesPerPixel = 0;  // (0028,0002); 1 where it is absent
    unsigned int bitsAllocated = 0;    // (0028,0100); 32 and 64 in float and double pixel data without it
    char photometric[17] = {};         // (0028,0004)
};

// Bytes of a frame that stand together.
struct DcFrameRun {
    const unsigned char* data = nullptr;  // where they are in memory; null where they are in a file
    int handle = -1;                      // of that file; the object's own, open until close()
    unsigned long long offset = 0;        // in that file; in memory: from the beginning of the value
    unsigned long long length = 0;
};

// What a frame is.
struct DcFrame {
    // The bytes that read() gives. For an encapsulated frame those of its fragments, without their headers;
    // without the padding byte where the table of lengths (7FE0,0002) says so.
    unsigned long long length = 0;
    unsigned int runs = 0;
    // Of a native frame of one bit a pixel that begins inside of a byte: the bit where it begins, counted
    // from the lowest (PS3.5 8.1.1). The runs begin with that byte.
    unsigned int firstBit = 0;
};

// How the frames are found.
enum FRAMES_BY : int {
    FRAMES_BY_NONE = 0,            // nothing is open
    FRAMES_BY_LAYOUT = 1,          // native: by calculation
    FRAMES_BY_EXTENDED_TABLE = 2,  // (7FE0,0001)
    FRAMES_BY_BASIC_TABLE = 3,
    FRAMES_BY_PASS = 4,  // over the headers of all fragments, made when the first frame is asked for
};

class ORVKIT_API DcFrames {
  public:
    DcFrames() noexcept;
    DcFrames(const DcFrames&) = delete;
    DcFrames& operator=(const DcFrames&) = delete;
    DcFrames(DcFrames&& other) noexcept;
    DcFrames& operator=(DcFrames&& other) noexcept;
    ~DcFrames();

    // The pixel data of a file: the value of (7FE0,0010), (7FE0,0008) or (7FE0,0009), whichever it has first.
    // The headers of the elements in front of it are walked over; no value is read but the few of
    // DcFrameLayout, and the file stays open. Reads what dirReadAroundPixels reads when it is given a
    // DcDirFound; a deflated data set is inflated into a file without a name.
    // FRAMES_NO_PIXELS, FRAMES_LAYOUT, ELEM_NO_MEMORY, ELEM_XFER_SYNTAX or the codes of dirReadFileMetaInfo.
    int open(const char* path) noexcept;
    // That of a data set, or of one in a sequence item, such as an icon. The element stays the data set's:
    // neither may change while this is open. Files that its buffers name are opened here. Pixel data that
    // the library's own syntax (UID_ORVKIT5_LZW) packs has no frames that can be told apart:
    // ELEM_XFER_SYNTAX. Fragments in an uncompressed syntax are known as such where they were left on disk
    // (dirReadAroundPixels); in memory they are taken for native pixels. FRAMES_NO_PIXELS, FRAMES_LAYOUT,
    // ELEM_NO_MEMORY, DIR_OPEN.
    int open(const DcElemList& dataset) noexcept;
    // The same, for native pixels of another layout than the data set says.
    int open(const DcElemList& dataset, const DcFrameLayout& layout) noexcept;
    // Gives up everything; also done by opening again and by the destructor.
    void close() noexcept;

    // Frames that can be asked for: as many as the data set says, and no more than the value has room for,
    // at one bit of a native frame and at the eight bytes of an item for an encapsulated one. A last one that
    // is cut counts. 0 while nothing is open.
    unsigned int count() const noexcept;
    const DcFrameLayout& layout() const noexcept;
    // That of the pixel data: frames are in its byte order. UID_NONE for fragments in a stream whose syntax
    // knows none.
    DICT_UID xferSyn() const noexcept;
    // The tag of the element that holds the pixels; 0 while nothing is open.
    unsigned int tag() const noexcept;
    // How frames are found as far as is known by now.
    FRAMES_BY foundBy() const noexcept;
    // 1 when there was a table of offsets or lengths that proved to be wrong.
    int tablesRefused() const noexcept;

    // Where a frame is; frames count from 1, as in (0008,1160). `runs` receives the first `room` of its runs
    // and may be null: DcFrame::runs says how many there are, for another call.
    // FRAMES_NUMBER there is no such frame; FRAMES_CUT it is not all there: the runs are those of what is;
    // FRAMES_NOT_APART there are fewer fragments than frames, as in video, or more of them and nothing that
    // tells where frames begin; DIR_FILE_SIZE the headers of so many fragments exceed dirSetMaxFileSize;
    // DIR_READ_WRITE, ELEM_NO_MEMORY.
    int find(unsigned int frame, DcFrame& found, DcFrameRun* runs = nullptr,
             unsigned int room = 0) const noexcept;
    // Reads a frame into `buffer`, which has `room` bytes; `length` receives how many it has, also when
    // there is no room for them, which is FRAMES_ROOM. Nothing is converted, but a frame that begins inside
    // of a byte is moved to begin with the buffer, and bits behind its end are 0. FRAMES_CUT: what is there
    // has been read, and `length` tells how much. The other codes are those of find; DIR_NULL_ARGUMENT.
    int read(unsigned int frame, void* buffer, unsigned long long room,
             unsigned long long& length) const noexcept;

  private:
    orvkit::OpenFrames* own_;
};

#endif
