// A file as the dump sees it: what could be read, and what was wrong with it.
#ifndef ORVKIT_SERVICES_DUMP_FILE_H
#define ORVKIT_SERVICES_DUMP_FILE_H

#include <string>
#include <vector>

#include "orvkit/elemlist.h"
#include "services/charset.h"

namespace services {

struct DumpedFile {
    enum class Kind { file, directory, unreadable };

    std::string path;
    Kind kind = Kind::file;
    const Charset* charset = nullptr;  // of all its text, whatever the file names; null: what it names
    DcElemList meta;
    DcElemList data;                  // Pixel Data refers to its bytes in a file
    std::vector<std::string> faults;  // one line each, to follow the path
    std::string note;                 // how it was found, where it is no Part 10 file by the letter; or ""
    std::string remark;               // what is odd, and was read all the same
};

// Reads everything of a file but the value of Pixel Data, as far as it goes: whatever fits the first read
// with four system calls. A directory is only recognised.
void readForDump(DumpedFile& file);

// "(0040,0275)[1].(0008,0100)" from tags with item numbers between them.
std::string pathText(const unsigned int* path, int length);

}  // namespace services

#endif
