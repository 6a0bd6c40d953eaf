// Uses every floor of the installed library: log, dictionary, data set with a sequence, file.
#include <cstdio>
#include <cstring>

#include "orvkit/orvkit.h"

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    DcElemList dataset;
    dataset.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    dataset.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    dataset.add(new DcElem(T_0010_0010_patientsName, "Consumer^Package"));
    auto* sequence = new DcElemSq(T_0008_1140_referencedImageSequence);
    auto* item = new DcElemSqItem;
    *item + new DcElem(T_0008_1155_referencedSopInstanceUid, "1.2.3.4");
    sequence->add(item);
    dataset.add(sequence);

    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (dirWriteFile(argv[1], meta, dataset) != 0) return 1;

    DcDirMetaInfo metaBack;
    DcElemList back;
    char name[65] = "";
    DcElemSq* sequenceBack = nullptr;
    if (dirReadFile(argv[1], metaBack, back) != 0 || back.getValue(T_0010_0010_patientsName, name, 64) != 0 ||
        std::strcmp(name, "Consumer^Package") != 0 ||
        back.getElem(T_0008_1140_referencedImageSequence, &sequenceBack) != 0 ||
        sequenceBack->first() == nullptr) {
        return 1;
    }
    std::puts("written and read back with the installed library");
    return 0;
}
