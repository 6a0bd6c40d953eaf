// A file as the dump sees it: what could be read, and what was wrong with it.
#ifndef ORVKIT_SERVICES_DUMP_FILE_H
#define ORVKIT_SERVICES_DUMP_FILE_H

#include <string>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/uids.h"

namespace services {

// Where the value of Pixel Data lies; its bytes are not read.
struct PixelPlace {
    DcElem* element = nullptr;  // stands for it in the data set, without a value; null when there is none
    long long offset = 0;       // in the file
    long long length = 0;       // without the closing delimiter
    bool encapsulated = false;  // of undefined length: a list of fragments
};

struct DumpedFile {
    enum class Kind { file, directory, unreadable };

    std::string path;
    Kind kind = Kind::file;
    DcElemList meta;
    DcElemList data;
    DICT_UID xferSyn = UID_NONE;
    PixelPlace pixels;
    std::vector<std::string> faults;  // one line each, to follow the path
};

// Reads everything of a file but the value of Pixel Data, as far as it goes: whatever fits the first read
// with four system calls. A directory is only recognised.
void readForDump(DumpedFile& file);

// "(0040,0275)[1].(0008,0100)" from tags with item numbers between them.
std::string pathText(const unsigned int* path, int length);

}  // namespace services

#endif
