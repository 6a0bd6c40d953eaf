// A file beyond 4 GByte: what is in it is made of holes, so that it is made at once and takes no room.
#ifndef ORVKIT_TESTS_MEDIA_LARGE_FILE_H
#define ORVKIT_TESTS_MEDIA_LARGE_FILE_H

#include "media/frame_streams.h"

namespace large_file {

inline constexpr unsigned int kHole = 0x1E000000;
inline constexpr unsigned int kHoles = 9;
inline constexpr std::uint64_t kLast = std::uint64_t{kHoles} * (kHole + 8);  // the item of the last frame
inline const std::string kText = "the last frame !";
inline constexpr std::uint64_t kPixels = 8 + kLast + 8 + 16;  // bytes of the value
inline constexpr unsigned int kPadding = 0xFFFCFFFC;          // an element behind it

// Ten frames, of which the last one begins beyond 4 GByte. Gives where their value begins.
inline std::uint64_t make(const std::string& path, bool tabled, Stream data = Stream()) {
    data.add(head({.frames = "10"}));
    std::vector<std::uint64_t> offsets, lengths(kHoles, kHole);
    for (unsigned int i = 0; i <= kHoles; ++i) offsets.push_back(i * std::uint64_t{kHole + 8});
    lengths.push_back(kText.size() - 1);
    if (tabled) {
        data.elem(DcTag::ExtendedOffsetTable, "OV", table(offsets, 8));
        data.elem(DcTag::ExtendedOffsetTableLengths, "OV", table(lengths, 8));
    }
    data.header(0x7FE00010, "OB", Stream::undefined).item(0);
    const Stream front = part10(metaGroup("1.2.840.10008.1.2.4.90"), data);
    writeWhole(path, front.text());
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const auto put = [&](std::uint64_t at, const Stream& s) {
        file.seekp(static_cast<std::streamoff>(front.size() + at));
        file << s.text();
    };
    for (unsigned int i = 0; i < kHoles; ++i) put(offsets[i], Stream().item(kHole));
    put(kLast, Stream()
                   .item(static_cast<unsigned int>(kText.size()))
                   .raw(kText)
                   .endSequence()
                   .elem(kPadding, "OB", "pads"));
    return front.size() - 8;
}

}  // namespace large_file

#endif
