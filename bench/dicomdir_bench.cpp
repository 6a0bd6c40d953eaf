// DICOMDIR: reading, making and writing file sets of many images, with what a record costs in memory. With
// two arguments, a folder of Part 10 files with valid File IDs and a number, makes the DICOMDIR of that
// folder as often: for comparison with other tools.
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "orvkit/dicomdir.h"
#include "orvkit/log.h"

namespace fs = std::filesystem;

namespace {

std::size_t heldBytes() {
    return ::mallinfo2().uordblks;
}

double seconds(const std::function<void()>& work, int rounds) {
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

void addText(DcDirRec& r, unsigned int tag, const std::string& text) {
    r.add(new DcElem(tag, text.c_str()));
}

// Patients of one study of one series of 100 images.
void fill(DcDirDicomDir& set, int images) {
    DcDirRec* series = nullptr;
    for (int i = 0; i < images; ++i) {
        const std::string number = std::to_string(i);
        if (i % 100 == 0) {
            DcDirRec* const patient = set.add(new DcDirRec(DIR_REC_PATIENT));
            addText(*patient, 0x00100010, "Name^Given");
            addText(*patient, 0x00100020, "ID" + number);
            DcDirRec* const study = patient->add(new DcDirRec(DIR_REC_STUDY));
            addText(*study, 0x00080020, "20240115");
            addText(*study, 0x00080030, "101530");
            addText(*study, 0x0020000D, "1.2.3.4.5." + number);
            addText(*study, 0x00200010, "S" + number);
            series = study->add(new DcDirRec(DIR_REC_SERIES));
            addText(*series, 0x00080060, "CT");
            addText(*series, 0x0020000E, "1.2.3.4.6." + number);
            addText(*series, 0x00200011, "1");
        }
        DcDirRec* const image = series->add(new DcDirRec(DIR_REC_IMAGE));
        addText(*image, 0x00041500, "IMG\\I" + number);
        addText(*image, 0x00041510, "1.2.840.10008.5.1.4.1.1.2");
        addText(*image, 0x00041511, "1.2.3.4.7." + number);
        addText(*image, 0x00041512, "1.2.840.10008.1.2.1");
        addText(*image, 0x00200013, std::to_string(i % 100 + 1));
    }
}

void run(const std::string& root, int images) {
    const std::size_t before = heldBytes();
    const auto set = std::make_unique<DcDirDicomDir>();
    const double make = seconds([&] { fill(*set, images); }, 1);
    const std::size_t memory = heldBytes() - before;
    const int records = images + 3 * ((images + 99) / 100);
    const double write = seconds([&] { (void)set->write(root.c_str()); }, 3);
    const double read = seconds([&] { DcDirDicomDir again(root.c_str()); }, 3);
    DcDirRec* found = nullptr;
    const double find = seconds(
        [&] {
            for (int i = 0; i < images; ++i) {
                if (set->getRefFileObj(("IMG/I" + std::to_string(i)).c_str(), &found) != 0) std::abort();
            }
        },
        1);
    std::printf(
        "%8d images: make %7.1f ms  write %7.1f ms  read %7.1f ms  find all %6.1f ms  %4.0f bytes/record "
        "(file %4.0f)\n",
        images, make * 1e3, write * 1e3, read * 1e3, find * 1e3, static_cast<double>(memory) / records,
        static_cast<double>(fs::file_size(root + "/DICOMDIR")) / records);
}

// ---- the DICOMDIR of a folder -----------------------------------------------------------------------------

std::string text(DcElemList& list, unsigned int tag) {
    char value[256] = "";
    (void)list.getValue(tag, value, 255, 0);
    return value;
}

struct Level {
    DIR_REC type;
    unsigned int key;
    std::vector<unsigned int> tags;
};

const std::vector<Level>& levels() {
    static const std::vector<Level> all = {
        {DIR_REC_PATIENT, 0x00100020, {0x00100010, 0x00100020}},
        {DIR_REC_STUDY, 0x0020000D, {0x00080020, 0x00080030, 0x00080050, 0x00081030, 0x0020000D, 0x00200010}},
        {DIR_REC_SERIES, 0x0020000E, {0x00080060, 0x0020000E, 0x00200011}},
    };
    return all;
}

int makeFolder(const std::string& root) {
    (void)std::remove((root + "/DICOMDIR").c_str());
    DcDirDicomDir set(root.c_str());
    std::map<std::string, DcDirRec*> known;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file()) continue;
        const std::string id = fs::relative(entry.path(), root).string();
        DcDirMetaInfo meta;
        DcElemList dataset;
        if (dirReadNonPixelElem(entry.path().c_str(), meta, dataset, nullptr, nullptr) != 0) continue;
        DcDirRec* parent = &set;
        std::string key;
        const auto copyTags = [&dataset](DcDirRec& r, const std::vector<unsigned int>& tags) {
            for (const unsigned int tag : tags) addText(r, tag, text(dataset, tag));
        };
        for (const Level& level : levels()) {
            key += "\n" + text(dataset, level.key);
            DcDirRec*& at = known[key];
            if (at == nullptr) {
                at = parent->add(new DcDirRec(level.type));
                copyTags(*at, level.tags);
            }
            parent = at;
        }
        DcDirRec* const image = parent->add(new DcDirRec(DIR_REC_IMAGE));
        if (image->setRefFile(id.c_str()) != 0) return 1;
        copyTags(*image, {0x00200013});
    }
    return set.write();
}

}  // namespace

int main(int argc, char** argv) {
    for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION}) logActivate(level, LOG_OFF);
    if (argc == 3) {
        int result = 0;
        const double best = seconds([&] { result |= makeFolder(argv[1]); }, std::atoi(argv[2]));
        std::printf("DICOMDIR of %s: %.1f ms, result %d\n", argv[1], best * 1e3, result);
        return result != 0;
    }
    std::string root = (fs::temp_directory_path() / "orvkit-bench-XXXXXX").string();
    if (::mkdtemp(root.data()) == nullptr) return 1;
    for (const int images : {1000, 10000, 100000, 1000000}) run(root, images);
    fs::remove_all(root);
    return 0;
}
