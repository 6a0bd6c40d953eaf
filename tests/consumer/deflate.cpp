// Uses the installed component: IN is written deflated to OUT, and read back.
#include "orvkit/deflate.h"

#include "orvkit/file.h"

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    deflateRegister();
    DcDirMetaInfo meta;
    DcElemList dataset, back;
    if (dirReadFile(argv[1], meta, dataset) != 0) return 1;
    meta.transferSyntax = UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT;
    if (dirWriteFile(argv[2], meta, dataset) != 0 || dirReadFile(argv[2], meta, back) != 0) return 1;
    return back.count() == dataset.count() ? 0 : 1;
}
