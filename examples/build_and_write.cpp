// Builds a small secondary capture image and writes it as a DICOM file.
//     example_build_and_write FILE
#include <cstdio>

#include "orvkit/dict.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/tags.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    char study[65] = "";
    char series[65] = "";
    char instance[65] = "";
    Dict.genUid(study);
    Dict.genUid(series);
    Dict.genUid(instance);

    // Elements belong to the data set from the moment they are added; it keeps them in tag order.
    DcElemList dataset;
    dataset + new DcElem(T_0008_0016_sopClassUid, UID_SC_IMAGE_STORAGE);
    dataset + new DcElem(T_0008_0018_sopInstanceUid, instance);
    dataset + new DcElem(T_0008_0060_modality, "OT");
    dataset + new DcElem(T_0008_0064_conversionType, "WSD");
    dataset + new DcElem(T_0010_0010_patientsName, "Example^Ann");
    dataset + new DcElem(T_0010_0020_patientId, "4711");
    dataset + new DcElem(T_0020_000d_studyInstanceUid, study);
    dataset + new DcElem(T_0020_000e_seriesInstanceUid, series);
    dataset + new DcElem(T_0020_0013_instanceNumber, 1);

    constexpr unsigned short size = 64;
    unsigned char pixels[size * size];
    for (int i = 0; i < size * size; ++i) pixels[i] = static_cast<unsigned char>(i % size * 4);
    const unsigned short bits = 8;
    const unsigned short highBit = 7;
    const unsigned short samples = 1;
    const unsigned short isUnsigned = 0;
    dataset + new DcElem(T_0028_0002_samplesPerPixel, samples);
    dataset + new DcElem(T_0028_0004_photometricInterpretation, "MONOCHROME2");
    dataset + new DcElem(T_0028_0010_rows, size);
    dataset + new DcElem(T_0028_0011_columns, size);
    dataset + new DcElem(T_0028_0100_bitsAllocated, bits);
    dataset + new DcElem(T_0028_0101_bitsStored, bits);
    dataset + new DcElem(T_0028_0102_highBit, highBit);
    dataset + new DcElem(T_0028_0103_pixelRepresentation, isUnsigned);
    dataset + new DcElem(T_7fe0_0010_pixelData, pixels, sizeof pixels, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0);

    // SOP class and instance of the meta information are taken from the data set.
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    const int result = dirWriteFile(argv[1], meta, dataset);
    if (result != 0) std::fprintf(stderr, "%s: result %d\n", argv[1], result);
    return result == 0 ? 0 : 1;
}
