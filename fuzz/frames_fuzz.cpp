// Frames of hostile files: as they are found in the file, around pixels that stay there and in memory, by
// their runs and by reading; nothing is longer than the file.
#include "orvkit/frames.h"

#include <algorithm>

#include "fuzz/target.h"
#include "orvkit/edition.h"
#include "orvkit/file.h"
#include "orvkit/result.h"

namespace {

using fuzz::require;

constexpr unsigned int kMostFrames = 24;  // that are looked at
constexpr unsigned int kMostRuns = 64;

struct Frame {
    int result = RESULT_OK;
    std::string bytes;
    bool operator==(const Frame&) const = default;
};

std::string bytesOf(const DcFrameRun& run) {
    std::string bytes(static_cast<std::size_t>(run.length), '\0');
    if (run.data != nullptr) return {reinterpret_cast<const char*>(run.data), bytes.size()};
    const auto got = orvkit::platform::readAt(run.handle, bytes.data(), bytes.size(),
                                              static_cast<std::int64_t>(run.offset));
    require(got == static_cast<std::int64_t>(bytes.size()));
    return bytes;
}

Frame frameOf(const DcFrames& frames, unsigned int n, std::size_t fileSize) {
    DcFrame found;
    DcFrameRun runs[kMostRuns];
    Frame frame;
    frame.result = frames.find(n, found, runs, kMostRuns);
    require(found.length <= fileSize && found.firstBit < 8);
    frame.bytes.resize(static_cast<std::size_t>(found.length));
    unsigned long long length = 0;
    require(frames.read(n, frame.bytes.data(), frame.bytes.size(), length) == frame.result);
    require(length == found.length);
    if (frame.result != RESULT_OK && frame.result != FRAMES_CUT) return frame;
    if (length != 0) require(frames.read(n, frame.bytes.data(), length - 1, length) == FRAMES_ROOM);
    if (frames.foundBy() == FRAMES_BY_LAYOUT || found.runs > kMostRuns) return frame;
    std::string all;
    for (unsigned int i = 0; i < found.runs; ++i) all += bytesOf(runs[i]);
    require(all == frame.bytes);
    return frame;
}

// In the order that the input asks for. Tables of damaged files may prove wrong only by and by: from the
// second time on what is found is the same in any order.
std::vector<Frame> framesOf(const DcFrames& frames, bool backwards, std::size_t fileSize) {
    const unsigned int count = std::min(frames.count(), kMostFrames);
    std::vector<Frame> all(count);
    for (unsigned int i = 1; i <= count; ++i) {
        const unsigned int n = backwards ? count + 1 - i : i;
        all[n - 1] = frameOf(frames, n, fileSize);
    }
    require(frameOf(frames, 0, fileSize).result == FRAMES_NUMBER);
    require(frameOf(frames, frames.count() + 1, fileSize).result == FRAMES_NUMBER);
    return all;
}

// Of pixel data that stand twice lists keep the last, as they do with every element; a file is read up to the
// first alone.
bool pixelsStandOnce(const std::vector<unsigned char>& bytes) {
    static constexpr unsigned char group[] = {0xE0, 0x7F};
    static constexpr unsigned char swapped[] = {0x7F, 0xE0};
    const auto places = [&bytes](const unsigned char(&what)[2]) {
        unsigned int n = 0;
        for (auto at = bytes.begin(); (at = std::search(at, bytes.end(), what, what + 2)) != bytes.end();
             ++at)
            ++n;
        return n;
    };
    return places(group) + places(swapped) <= 1;
}

}  // namespace

// The first byte: 1 asks for the last frame first.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile input;
    if (size < 2) return 0;
    (void)dictSetEdition(DICT_EDITION_CURRENT);
    std::vector<unsigned char> bytes = fuzz::content(data, size);
    input.hold(bytes);
    const bool backwards = (data[0] & 1) != 0;

    DcFrames file;
    const int opened = file.open(input.path());
    if (opened != RESULT_OK) require(file.count() == 0 && file.foundBy() == FRAMES_BY_NONE);
    (void)framesOf(file, backwards, bytes.size());
    const std::vector<Frame> ofFile = framesOf(file, backwards, bytes.size());
    require(framesOf(file, !backwards, bytes.size()) == ofFile);

    DcDirMetaInfo meta;
    DcElemList whole, around;
    DcDirFound found;
    DcDirAround how;
    how.found = &found;
    const auto length = static_cast<unsigned int>(bytes.size());
    bool sound = pixelsStandOnce(bytes);  // what is told as a fault is read in more ways than one
    (void)elemListRegisterFaultCB(
        &sound, [](void* context, const DcElemFault&) { *static_cast<bool*>(context) = false; });
    sound = dirReadAnyFile(bytes.data(), length, meta, whole, found) == RESULT_OK && sound;
    sound = dirReadAroundPixels(input.path(), meta, around, how) == RESULT_OK && sound;
    (void)elemListRegisterFaultCB(nullptr, nullptr);
    for (const DcElemList* list : {&whole, &around}) {
        DcFrames frames;
        const int result = frames.open(*list);
        const std::vector<Frame> ofList = framesOf(frames, backwards, bytes.size());
        if (!sound || opened != RESULT_OK || result != RESULT_OK) continue;
        // In memory nothing tells fragments in an uncompressed syntax from native pixels.
        const bool told = list == &around || file.xferSyn() != UID_NONE;
        if (told && frames.tag() == file.tag()) require(ofList == ofFile);
    }
    return 0;
}
