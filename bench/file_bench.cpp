// Part 10 files: reading small ones, headers of large ones, and pixels on their way through memory or past
// it, with ratios to bare system calls and copies timed in the same run. Files are made in the temporary
// directory.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/log.h"
#include "orvkit/scan.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"

namespace {

namespace fs = std::filesystem;

double seconds(int rounds, const std::function<void()>& work) {
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

void report(const char* what, double time, const char* unit, double scale, double reference, const char* of) {
    std::printf("%-46s %9.2f %-10s %6.2f x %s\n", what, time * scale, unit, time / reference, of);
}

void fill(DcElemList& list, int elements) {
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    list.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    for (int i = 0; i < elements; ++i) {
        const auto tag =
            0x00091001u + static_cast<unsigned int>(i / 200) * 0x20000 + static_cast<unsigned int>(i % 200);
        char value[] = "value 000000";
        std::snprintf(value, sizeof value, "value %06d", i % 1000000);
        list.add(new DcElem(tag, value, 12, UID_LITTLE_ENDIAN_EXPLICIT, VR_LO, 0));
    }
}

DcDirMetaInfo metaFor(DICT_UID xferSyn) {
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = xferSyn;
    return meta;
}

// An image whose pixels are a hole in the file.
void makeSparse(const std::string& path, unsigned int pixelBytes) {
    DcElemList list;
    fill(list, 100);
    unsigned char none[4] = {};
    list.add(new DcElem(T_7fe0_0010_pixelData, none, 4, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
    DcDirMetaInfo meta = metaFor(UID_LITTLE_ENDIAN_EXPLICIT);
    dirWriteFile(path.c_str(), meta, list);
    const auto size = fs::file_size(path);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(size - 8));
    file.write(reinterpret_cast<const char*>(&pixelBytes), 4);
    file.close();
    fs::resize_file(path, size - 4 + pixelBytes);
}

// An image of noise.
void makeDense(const std::string& path, unsigned int pixelBytes) {
    std::vector<unsigned char> pixels(pixelBytes);
    unsigned int state = 1;
    for (auto& p : pixels) p = static_cast<unsigned char>((state = state * 1664525 + 1013904223) >> 24);
    DcElemList list;
    fill(list, 100);
    list.add(
        new DcElem(T_7fe0_0010_pixelData, pixels.data(), pixelBytes, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
    DcDirMetaInfo meta = metaFor(UID_LITTLE_ENDIAN_EXPLICIT);
    dirWriteFile(path.c_str(), meta, list);
}

void smallFiles(const std::string& directory) {
    constexpr int files = 1000;
    std::vector<std::string> paths;
    DcElemList list;
    fill(list, 60);
    for (int i = 0; i < files; ++i) {
        paths.push_back(directory + "/small" + std::to_string(i));
        DcDirMetaInfo meta = metaFor(UID_LITTLE_ENDIAN_EXPLICIT);
        dirWriteFile(paths.back().c_str(), meta, list);
    }
    std::vector<char> block(32768);
    const double bare = seconds(7, [&] {
        for (const auto& path : paths) {
            struct stat status;
            const int handle = open(path.c_str(), O_RDONLY);
            if (fstat(handle, &status) != 0 || read(handle, block.data(), block.size()) < 0) std::abort();
            close(handle);
        }
    });
    const double whole = seconds(7, [&] {
        for (const auto& path : paths) {
            DcDirMetaInfo meta;
            DcElemList dataset;
            if (dirReadFile(path.c_str(), meta, dataset) != 0) std::abort();
        }
    });
    const double metaOnly = seconds(7, [&] {
        for (const auto& path : paths) {
            DcDirMetaInfo meta;
            unsigned int end;
            if (dirReadFileMetaInfo(path.c_str(), meta, end) != 0) std::abort();
        }
    });
    report("dirReadFile, small file", whole / files, "us", 1e6, bare / files, "open fstat read close");
    report("dirReadFileMetaInfo, small file", metaOnly / files, "us", 1e6, bare / files,
           "open fstat read close");
}

void largeHeader(const std::string& directory) {
    const std::string path = directory + "/sparse";
    makeSparse(path, 500000000);
    std::vector<char> block(32768);
    const double bare = seconds(50, [&] {
        const int handle = open(path.c_str(), O_RDONLY);
        if (read(handle, block.data(), block.size()) < 0) std::abort();
        close(handle);
    });
    const double header = seconds(50, [&] {
        DcDirMetaInfo meta;
        DcElemList dataset;
        int offset;
        int length;
        if (dirReadNonPixelElem(path.c_str(), meta, dataset, &offset, &length) != 0 || length != 500000000)
            std::abort();
    });
    report("dirReadNonPixelElem, 500 MB image", header, "us", 1e6, bare, "open read close");
}

void pixels(const std::string& directory) {
    constexpr unsigned int size = 200000000;
    const std::string path = directory + "/dense";
    const std::string out = directory + "/out";
    makeDense(path, size);
    std::vector<char> from(size, 1);
    std::vector<char> to(size, 2);
    const double copy = seconds(5, [&] { std::memcpy(to.data(), from.data(), size); });
    const double whole = seconds(5, [&] {
        DcDirMetaInfo meta;
        DcElemList dataset;
        if (dirReadFile(path.c_str(), meta, dataset) != 0) std::abort();
    });
    report("dirReadFile, 200 MB image", whole, "ms", 1e3, copy, "memcpy");

    DcDirMetaInfo meta;
    DcElemList dataset;
    int offset = 0;
    int length = 0;
    dirReadNonPixelElem(path.c_str(), meta, dataset, &offset, &length);
    dataset.add(new DcElem(T_7fe0_0010_pixelData, path.c_str(), offset, static_cast<unsigned int>(length),
                           UID_LITTLE_ENDIAN_EXPLICIT));
    const double copied = seconds(3, [&] {
        fs::remove(out);
        fs::copy_file(path, out);
    });
    for (const auto& [xferSyn, name] :
         {std::pair(UID_LITTLE_ENDIAN_IMPLICIT, "dirWriteFile, 200 MB on disk, implicit"),
          std::pair(UID_BIG_ENDIAN_EXPLICIT, "dirWriteFile, 200 MB on disk, swapped")}) {
        const double written = seconds(3, [&] {
            fs::remove(out);
            meta.transferSyntax = xferSyn;
            if (dirWriteFile(out.c_str(), meta, dataset) != 0) std::abort();
        });
        report(name, written, "ms", 1e3, copied, "copy_file");
    }
}

void scanning() {
    for (const int elements : {100000, 1000000}) {
        DcElemList list;
        fill(list, elements);
        unsigned int size = 0;
        list.getBufSize(size, static_cast<unsigned int*>(nullptr));
        std::vector<unsigned char> bytes(size);
        list.frame(bytes.data(), size, UID_LITTLE_ENDIAN_EXPLICIT);
        std::vector<unsigned char> to(size);
        const double copy = seconds(5, [&] { std::memcpy(to.data(), bytes.data(), size); });
        const double walk = seconds(5, [&] {
            unsigned int offset;
            if (utilGetElemOffset(bytes.data(), size, UID_LITTLE_ENDIAN_EXPLICIT, 0xFFFCFFFC, offset) == 0)
                std::abort();
        });
        const std::string what = "utilGetElemOffset past " + std::to_string(elements) + " elements";
        report(what.c_str(), walk / elements, "ns/element", 1e9, copy / elements, "memcpy");
    }
}

}  // namespace

int main() {
    for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION}) logActivate(level, LOG_OFF);
    char name[] = "/tmp/orvkit-bench-XXXXXX";
    const std::string directory = mkdtemp(name);
    smallFiles(directory);
    largeHeader(directory);
    pixels(directory);
    scanning();
    fs::remove_all(directory);
    return 0;
}
