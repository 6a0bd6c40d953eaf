// RLE (PS3.5 Annex G): a frame's bytes by weight, the most significant first, each such plane packed alone.
#include <algorithm>
#include <array>
#include <cstring>

#include "image/codec.h"

namespace orvkit::image {

namespace {

constexpr std::size_t kHeader = 64;
constexpr unsigned int kMostSegments = 15;
constexpr std::size_t kMostRun = 128;
constexpr std::size_t kChunk = 4096;  // samples of a plane that are unpacked before the next plane is

using Segments = std::array<Bytes, kMostSegments>;

std::size_t word(Bytes stream, std::size_t index) {
    const unsigned char* at = stream.data() + 4 * index;
    return at[0] | std::size_t{at[1]} << 8 | std::size_t{at[2]} << 16 | std::size_t{at[3]} << 24;
}

unsigned int segmentsOf(const DcImagePixels& pixels) {
    return pixels.samples * (pixels.bitsAllocated / 8);
}
std::size_t planeOf(const DcImagePixels& pixels) {
    return std::size_t{pixels.rows} * pixels.columns;
}

Fault split(const DcImagePixels& says, Bytes stream, Segments& segments) {
    const unsigned int wanted = segmentsOf(says);
    if (wanted < 1 || wanted > kMostSegments) {
        return {IMAGE_CANNOT_HOLD, std::to_string(says.samples) + " samples of " +
                                       std::to_string(says.bitsAllocated) + " bits a pixel"};
    }
    if (stream.size() < kHeader) return damaged("header cut short");
    if (word(stream, 0) != wanted) {
        return {IMAGE_DIFFERS, "the codestream has " + std::to_string(word(stream, 0)) + " segments, " +
                                   std::to_string(wanted) + " were expected"};
    }
    for (unsigned int i = 0; i < wanted; ++i) {
        const std::size_t begin = word(stream, 1 + i);
        const std::size_t end = i + 1 < wanted ? word(stream, 2 + i) : stream.size();
        if (begin < kHeader || begin > end || end > stream.size()) {
            return damaged("offset of segment " + std::to_string(i + 1) + " out of bounds");
        }
        segments[i] = stream.subspan(begin, end - begin);
        if (segments[i].size() < planeOf(says) / (kMostRun / 2)) {
            return damaged("segment " + std::to_string(i + 1) + " is too short for the frame");
        }
    }
    return {};
}

Fault inspect(const DcImagePixels& says, Bytes stream, Header& header) {
    Segments segments;
    header = {says.rows, says.columns, says.samples, says.bitsStored, says.isSigned, false};
    return split(says, stream, segments);
}

// Unpacks a segment piece by piece: runs and literals may reach from one piece into the next.
class Unpacker {
  public:
    explicit Unpacker(Bytes in = {}) : in_(in) {}

    // False when the segment ends before `out` is full.
    bool fill(Room out) {
        while (!out.empty()) {
            if (left_ == 0 && !next()) return false;
            const std::size_t n = std::min(left_, out.size());
            if (isRun_) {
                std::memset(out.data(), in_.front(), n);
            } else {
                if (in_.size() < n) return false;
                std::memcpy(out.data(), in_.data(), n);
                in_ = in_.subspan(n);
            }
            left_ -= n;
            if (isRun_ && left_ == 0) in_ = in_.subspan(1);
            out = out.subspan(n);
        }
        return true;
    }

  private:
    bool next() {
        unsigned int code = 0x80;  // says nothing, by definition
        while (code == 0x80) {
            if (in_.size() < 2) return false;
            code = in_.front();
            in_ = in_.subspan(1);
        }
        isRun_ = code > 0x80;
        left_ = isRun_ ? 257 - code : code + 1;
        return true;
    }

    Bytes in_;
    std::size_t left_ = 0;
    bool isRun_ = false;
};

// Where a plane's bytes stand in a frame.
struct Places {
    std::size_t first;
    std::size_t step;
};
Places placesOf(const DcImagePixels& pixels, unsigned int segment) {
    const unsigned int width = pixels.bitsAllocated / 8;
    const unsigned int sample = segment / width;
    const unsigned int weight = width - 1 - segment % width;
    if (pixels.planar) return {sample * width * planeOf(pixels) + weight, width};
    return {std::size_t{sample} * width + weight, std::size_t{pixels.samples} * width};
}

using Chunks = std::array<std::array<unsigned char, kChunk>, kMostSegments>;

template <unsigned int step>
void weave(const Chunks& chunks, std::size_t count, unsigned char* to) {
    for (std::size_t i = 0; i < count; ++i) {
        // Two bytes are a word, its most significant byte first among the segments; three are a pixel.
        for (unsigned int s = 0; s < step; ++s) to[step * i + s] = chunks[step == 2 ? 1 - s : s][i];
    }
}

void place(const DcImagePixels& says, const Chunks& chunks, std::size_t at, std::size_t count, Room frame) {
    const unsigned int segments = segmentsOf(says);
    if (segments == 2 && says.samples == 1) return weave<2>(chunks, count, frame.data() + 2 * at);
    if (segments == 3 && !says.planar) return weave<3>(chunks, count, frame.data() + 3 * at);
    for (unsigned int s = 0; s < segments; ++s) {
        const Places places = placesOf(says, s);
        unsigned char* to = frame.data() + places.first + at * places.step;
        for (std::size_t i = 0; i < count; ++i) to[i * places.step] = chunks[s][i];
    }
}

Fault cutShort(unsigned int segment) {
    return damaged("segment " + std::to_string(segment + 1) + " ends before the frame is complete");
}

Fault decode(DecodeJob& job) {
    Segments segments;
    if (Fault fault = split(job.says, job.stream, segments)) return fault;
    const unsigned int count = segmentsOf(job.says);
    const std::size_t plane = planeOf(job.says);
    if (job.says.bitsAllocated == 8 && (job.says.planar || count == 1)) {
        for (unsigned int s = 0; s < count; ++s) {
            if (!Unpacker(segments[s]).fill(job.samples.subspan(s * plane, plane))) return cutShort(s);
        }
        return {};
    }
    std::array<Unpacker, kMostSegments> unpackers;
    for (unsigned int s = 0; s < count; ++s) unpackers[s] = Unpacker(segments[s]);
    Chunks chunks;
    for (std::size_t at = 0; at < plane; at += kChunk) {
        const std::size_t n = std::min(kChunk, plane - at);
        for (unsigned int s = 0; s < count; ++s) {
            if (!unpackers[s].fill(Room(chunks[s]).first(n))) return cutShort(s);
        }
        place(job.says, chunks, at, n, job.samples);
    }
    return {};
}

void packLiteral(Bytes bytes, std::vector<unsigned char>& out) {
    while (!bytes.empty()) {
        const std::size_t n = std::min(bytes.size(), kMostRun);
        out.push_back(static_cast<unsigned char>(n - 1));
        out.insert(out.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
        bytes = bytes.subspan(n);
    }
}

// Two equal bytes among others cost as much as a run and as a literal: a run begins with three.
void packRow(Bytes row, std::vector<unsigned char>& out) {
    std::size_t literal = 0;
    std::size_t at = 0;
    while (at < row.size()) {
        std::size_t end = at + 1;
        while (end < row.size() && end - at < kMostRun && row[end] == row[at]) ++end;
        const std::size_t run = end - at;
        if (run > 2 || (run == 2 && literal == at)) {
            packLiteral(row.subspan(literal, at - literal), out);
            out.push_back(static_cast<unsigned char>(257 - run));
            out.push_back(row[at]);
            literal = end;
        }
        at = end;
    }
    packLiteral(row.subspan(literal), out);
}

void packPlane(const DcImagePixels& pixels, Bytes frame, Places places, std::vector<unsigned char>& out) {
    Scratch row(pixels.columns);
    const unsigned char* from = frame.data() + places.first;
    for (unsigned int r = 0; r < pixels.rows; ++r) {
        for (unsigned char& byte : row) {
            byte = *from;
            from += places.step;
        }
        packRow(row, out);
    }
}

Fault encode(EncodeJob& job) {
    const unsigned int segments = segmentsOf(job.pixels);
    if (segments < 1 || segments > kMostSegments) {
        return {IMAGE_CANNOT_HOLD, "cannot hold " + std::to_string(job.pixels.samples) + " samples of " +
                                       std::to_string(job.pixels.bitsAllocated) + " bits a pixel"};
    }
    const std::size_t begin = job.out.size();
    job.out.resize(begin + kHeader);
    const auto put = [&](unsigned int index, std::size_t value) {
        for (unsigned int i = 0; i < 4; ++i) {
            job.out[begin + std::size_t{4} * index + i] = static_cast<unsigned char>(value >> (8 * i));
        }
    };
    put(0, segments);
    for (unsigned int s = 0; s < segments; ++s) {
        put(1 + s, job.out.size() - begin);
        packPlane(job.pixels, job.samples, placesOf(job.pixels, s), job.out);
        if ((job.out.size() - begin) % 2 != 0) job.out.push_back(0);
    }
    return {};
}

}  // namespace

const Coder kRle{inspect, decode, encode};

}  // namespace orvkit::image
