// Reads a DICOM file and prints the patient's name, the image size, and then everything as a tree.
//     example_read_and_print FILE
#include <cstdio>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/tags.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    DcDirMetaInfo meta;
    DcElemList dataset;  // owns the elements that are read into it
    // The pixels stay in the file; dirReadFile would read them too.
    const int result = dirReadNonPixelElem(argv[1], meta, dataset, nullptr, nullptr);
    if (result != 0) {
        std::fprintf(stderr, "%s: result %d\n", argv[1], result);
        return 1;
    }

    char name[325];
    if (dataset.getValue(T_0010_0010_patientsName, name, 324) == 0) std::printf("Patient: %s\n", name);
    unsigned short rows = 0;
    unsigned short columns = 0;
    if (dataset.getValue(T_0028_0010_rows, rows) == 0 &&
        dataset.getValue(T_0028_0011_columns, columns) == 0) {
        std::printf("Image:   %u x %u\n", columns, rows);
    }
    std::fflush(stdout);
    return dataset.printNodeList("/dev/stdout", "a", PRINT_NODE_TREE) == 0 ? 0 : 1;
}
