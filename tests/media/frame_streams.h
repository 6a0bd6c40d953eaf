// Data sets of images with frames, that tests build.
#ifndef ORVKIT_TESTS_MEDIA_FRAME_STREAMS_H
#define ORVKIT_TESTS_MEDIA_FRAME_STREAMS_H

#include "media/part10.h"
#include "orvkit/edition.h"
#include "orvkit/frames.h"
#include "orvkit/keywords.h"
#include "support/dataset.h"

struct CurrentEdition {
    CurrentEdition() { dictSetEdition(DICT_EDITION_CURRENT); }
    ~CurrentEdition() { dictSetEdition(DICT_EDITION_2008); }
};

// Numbers of `width` bytes in little endian.
inline std::string table(const std::vector<std::uint64_t>& entries, int width) {
    std::string s;
    for (const std::uint64_t entry : entries) {
        for (int i = 0; i < width; ++i) s += static_cast<char>(entry >> 8 * i);
    }
    return s;
}

struct Layout {
    std::string frames;  // as (0028,0008) tells it; "" for none
    unsigned int rows = 2, columns = 2, samples = 1, bits = 8;
    std::string photometric = "MONOCHROME2";
};
inline Stream head(const Layout& l, DICT_UID xferSyn = kExplicit) {
    Stream s(xferSyn);
    s.us(DcTag::SamplesPerPixel, l.samples)
        .elem(DcTag::PhotometricInterpretation, "CS", evenUid(l.photometric));
    if (!l.frames.empty())
        s.elem(DcTag::NumberOfFrames, "IS", evenUid(l.frames + (l.frames.size() % 2 ? " " : "")));
    return s.us(DcTag::Rows, l.rows).us(DcTag::Columns, l.columns).us(DcTag::BitsAllocated, l.bits);
}

#endif
