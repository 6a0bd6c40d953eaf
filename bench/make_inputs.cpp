// Writes the large inputs that whole commands are compared on, in explicit little endian.
//     bench_make_inputs flat FILE COUNT      COUNT elements side by side
//     bench_make_inputs nested FILE COUNT    COUNT elements in the items of a sequence, four in each
//     bench_make_inputs pixels FILE BYTES    an image with that many bytes of noise
//     bench_make_inputs frames FILE COUNT    COUNT encapsulated frames of 540000 bytes, which are holes but
//     for the first
//                                            few: 10000 make 5 GiB, and take 40 MB of a disk
//     bench_make_inputs tabled FILE COUNT    the same with an Extended Offset Table
//     bench_make_inputs slices FILE COUNT    COUNT native frames of 2000 x 2500 pixels, 12 bits stored, as a
//     detector gives them
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include "orvkit/edition.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/keywords.h"
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

constexpr unsigned int kFrame = 540000;  // 600 rows, 450 columns, 2 bytes a pixel

void putNumber(std::ostream& out, unsigned long long value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.put(static_cast<char>(value >> 8 * i));
}
void putItem(std::ostream& out, unsigned int element, unsigned int length) {
    putNumber(out, 0xFFFE, 2);
    putNumber(out, element, 2);
    putNumber(out, length, 4);
}

void fillFrames(DcElemList& list, unsigned int count, bool tabled) {
    list.add(new DcElem(DcTag::NumberOfFrames, static_cast<int>(count)));
    list.add(new DcElem(DcTag::Rows, static_cast<unsigned short>(600)));
    list.add(new DcElem(DcTag::Columns, static_cast<unsigned short>(450)));
    list.add(new DcElem(DcTag::BitsAllocated, static_cast<unsigned short>(16)));
    if (!tabled) return;
    std::vector<unsigned long long> offsets(count);
    std::vector<unsigned long long> lengths(count, kFrame);
    for (std::size_t i = 0; i < count; ++i) offsets[i] = i * (kFrame + 8ull);
    for (const auto& [tag, table] : {std::pair(DcTag::ExtendedOffsetTable, &offsets),
                                     std::pair(DcTag::ExtendedOffsetTableLengths, &lengths)}) {
        auto* e = new DcElem(tag, nullptr, 0, UID_NONE, VR_OV, 0);
        e->addValue(table->data(), count * 8, UID_LITTLE_ENDIAN_EXPLICIT);
        list.add(e);
    }
}

// Behind a data set without pixels.
bool appendFrames(const char* path, unsigned int count) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary | std::ios::ate);
    putNumber(file, 0x00107FE0, 4);
    file.write("OB\0\0\xFF\xFF\xFF\xFF", 8);
    putItem(file, 0xE000, 0);
    for (unsigned int i = 0; i < count; ++i) {
        putItem(file, 0xE000, kFrame);
        file.write("\xFF\x4F\xFF\x51", 4);  // as JPEG 2000 begins
        putNumber(file, i, 4);
        file.seekp(kFrame - 8, std::ios::cur);
    }
    putItem(file, 0xE0DD, 0);
    return file.flush().good();
}

constexpr unsigned int kRows = 2000;
constexpr unsigned int kColumns = 2500;

void fillSlices(DcElemList& list, unsigned int count) {
    const std::pair<unsigned int, unsigned int> numbers[] = {
        {T_0028_0002_samplesPerPixel, 1},    {DcTag::Rows, kRows},         {DcTag::Columns, kColumns},
        {DcTag::BitsAllocated, 16},          {T_0028_0101_bitsStored, 12}, {T_0028_0102_highBit, 11},
        {T_0028_0103_pixelRepresentation, 0}};
    for (const auto& [tag, number] : numbers) list.add(new DcElem(tag, static_cast<unsigned short>(number)));
    list.add(new DcElem(T_0028_0004_photometricInterpretation, "MONOCHROME2"));
    list.add(new DcElem(DcTag::NumberOfFrames, static_cast<int>(count)));
}

// Slopes, an edge, and noise, which are others in each frame.
bool appendSlices(const char* path, unsigned int count) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary | std::ios::ate);
    putNumber(file, 0x00107FE0, 4);
    file.write("OW\0\0", 4);
    putNumber(file, 2ull * kRows * kColumns * count, 4);
    std::vector<unsigned short> frame(std::size_t{kRows} * kColumns);
    unsigned int noise = 1;
    for (unsigned int i = 0; i < count; ++i) {
        for (std::size_t at = 0; at < frame.size(); ++at) {
            noise = noise * 1664525u + 1013904223u;
            const double x = static_cast<double>(at % kColumns) / kColumns;
            const double y = static_cast<double>(at / kColumns) / kRows;
            const double body = 0.5 + 0.4 * std::sin(9 * x + i) * std::cos(7 * y);
            const double edge = std::hypot(x - 0.5, y - 0.5) < 0.3 ? 0.05 : 0;
            frame[at] = static_cast<unsigned short>((body + edge) * 4080 + (noise >> 28));
        }
        file.write(reinterpret_cast<const char*>(frame.data()),
                   static_cast<std::streamsize>(frame.size() * sizeof frame[0]));
    }
    return file.flush().good();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s flat|nested|pixels|frames|tabled|slices FILE COUNT\n", argv[0]);
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
    const bool tabled = std::strcmp(argv[1], "tabled") == 0;
    const bool frames = tabled || std::strcmp(argv[1], "frames") == 0;
    if (frames) dictSetEdition(DICT_EDITION_CURRENT);
    if (frames) fillFrames(list, count, tabled);
    const bool slices = std::strcmp(argv[1], "slices") == 0;
    if (slices) fillSlices(list, count);
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (frames) Dict.getUidDef("1.2.840.10008.1.2.4.90", meta.transferSyntax);
    const bool written = dirWriteFile(argv[2], meta, list) == 0 && (!frames || appendFrames(argv[2], count));
    return written && (!slices || appendSlices(argv[2], count)) ? 0 : 1;
}
