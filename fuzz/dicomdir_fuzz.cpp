// DICOMDIR files: read, copied, written and read again. What was written must come back whole.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "orvkit/dicomdir.h"
#include "orvkit/log.h"

namespace {

// A folder of this process.
const std::string& root() {
    // Never destroyed: needed at exit.
    static const std::string& path = *new std::string([] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        const char* const fast = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        std::string name = std::string(fast) + "/orvkit-fuzz-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        std::atexit([] {
            (void)std::remove((root() + "/DICOMDIR").c_str());
            (void)::rmdir(root().c_str());
        });
        return name;
    }());
    return path;
}

std::size_t countBelow(const DcDirRec& top) {
    std::size_t count = 0;
    const DcDirRec* r = top.first();
    while (r != nullptr) {
        ++count;
        if (r->first() != nullptr) {
            r = r->first();
            continue;
        }
        while (r != &top && r->next() == nullptr) r = r->parent();
        r = r != &top ? r->next() : nullptr;
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::string path = root() + "/DICOMDIR";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
    DcDirDicomDir set;
    (void)set.read(root().c_str());
    DcDirDicomDir copy(set);
    copy.setConsistencyFlag(DIR_FILESET_IS_CONSISTENT);
    DcDirRec* found = nullptr;
    (void)copy.getRefFileObj("IMG\\1", &found);
    if (countBelow(copy) != countBelow(set)) std::abort();
    if (copy.write() != 0) return 0;
    if (set.read() != 0 || countBelow(set) > countBelow(copy)) std::abort();
    (void)set.printNodeTree("/dev/null", "w");
    return 0;
}
