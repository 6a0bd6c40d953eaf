// Writes the large inputs that whole commands are compared on, in explicit little endian.
//     bench_make_inputs flat FILE COUNT      COUNT elements side by side
//     bench_make_inputs nested FILE COUNT    COUNT elements in the items of a sequence, four in each
//     bench_make_inputs pixels FILE BYTES    an image with that many bytes of noise
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/log.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"

namespace {

DcElem* text(unsigned int tag, unsigned int number) {
    char value[32];
    const int length = std::snprintf(value, sizeof value, "value %06u", number);
    return new DcElem(tag, value, static_cast<unsigned int>(length), UID_LITTLE_ENDIAN_EXPLICIT, VR_LO, 0);
}

void fillFlat(DcElemList& list, unsigned int count) {
    constexpr unsigned int inGroup = 200;
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int group = 0x1001 + 2 * (i / inGroup);
        list.add(text((group << 16) | (0x1000 + i % inGroup), i));
    }
}

void fillNested(DcElemList& list, unsigned int count) {
    auto* sequence = new DcElemSq(T_0040_0275_requestAttributesSequence);
    for (unsigned int i = 0; i < count; i += 4) {
        auto* item = new DcElemSqItem;
        *item + text(T_0040_0007_scheduledProcedureStepDescription, i);
        *item + text(T_0040_0009_scheduledProcedureStepId, i + 1);
        *item + text(T_0040_1001_requestedProcedureId, i + 2);
        *item + text(T_0040_1002_reasonForTheRequestedProcedure, i + 3);
        sequence->add(item);
    }
    list.add(sequence);
}

void fillPixels(DcElemList& list, unsigned int bytes) {
    std::vector<unsigned int> noise(bytes / sizeof(unsigned int));
    unsigned int state = 1;
    for (unsigned int& word : noise) word = state = state * 1664525 + 1013904223;
    const unsigned short bits = 16;
    list.add(new DcElem(T_0028_0100_bitsAllocated, bits));
    list.add(new DcElem(T_7fe0_0010_pixelData, noise.data(), bytes, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s flat|nested|pixels FILE COUNT\n", argv[0]);
        return 2;
    }
    logActivate(LOG_NOTICE, LOG_OFF);
    dirSetMaxFileSize(0x7FFFFFFF);
    const auto count = static_cast<unsigned int>(std::strtoul(argv[3], nullptr, 10));
    DcElemList list;
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_SC_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    if (std::strcmp(argv[1], "flat") == 0) fillFlat(list, count);
    if (std::strcmp(argv[1], "nested") == 0) fillNested(list, count);
    if (std::strcmp(argv[1], "pixels") == 0) fillPixels(list, count);
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    return dirWriteFile(argv[2], meta, list) == 0 ? 0 : 1;
}
