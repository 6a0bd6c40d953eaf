#include "image/jpeg_header.h"

#include <algorithm>
#include <string_view>

namespace orvkit::image::jpeg {

namespace {

unsigned int word(Bytes bytes, std::size_t at) {
    return static_cast<unsigned int>(bytes[at] << 8 | bytes[at + 1]);
}

bool standsAlone(unsigned char marker) {
    return marker == 0x01 || (marker >= restart0 && marker <= end);
}

bool isFrame(unsigned char marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != huffmanTables && marker != arithmeticTables &&
           marker != 0xC8;
}

bool startsWith(Bytes content, std::string_view text) {
    return content.size() >= text.size() &&
           std::equal(text.begin(), text.end(), content.begin(),
                      [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
}

}  // namespace

std::optional<Segment> Segments::next() {
    while (at_ + 2 <= stream_.size()) {
        if (stream_[at_] != 0xFF || stream_[at_ + 1] == 0xFF || stream_[at_ + 1] == 0) {
            ++at_;
            continue;
        }
        const unsigned char marker = stream_[at_ + 1];
        at_ += 2;
        if (standsAlone(marker)) return Segment{marker, {}};
        if (stream_.size() - at_ < 2 || word(stream_, at_) < 2 || word(stream_, at_) > stream_.size() - at_) {
            return {};
        }
        const Bytes content = stream_.subspan(at_ + 2, word(stream_, at_) - 2);
        at_ += content.size() + 2;
        return Segment{marker, content};
    }
    return {};
}

Fault readFrame(const Segment& segment, Frame& frame) {
    const Bytes content = segment.content;
    if (content.size() < 6 || content.size() < 6 + std::size_t{3} * content[5]) {
        return damaged("the frame header is cut short");
    }
    frame.process = segment.marker;
    frame.bits = content[0];
    frame.rows = word(content, 1);
    frame.columns = word(content, 3);
    frame.count = content[5];
    if (frame.count < 1 || frame.count > kMostComponents) {
        return damaged(std::to_string(frame.count) + " components");
    }
    for (unsigned int i = 0; i < frame.count; ++i) {
        const Bytes one = content.subspan(6 + std::size_t{3} * i, 3);
        frame.components[i] = {one[0], one[1] / 16u, one[1] % 16u, one[2]};
        const Component& component = frame.components[i];
        const auto sound = [](unsigned int factor) { return factor >= 1 && factor <= 4; };
        if (!sound(component.across) || !sound(component.down) || component.quantization > 3) {
            return damaged("a component of the frame makes no sense");
        }
    }
    return {};
}

Fault readScan(const Segment& segment, const Frame& frame, Scan& scan) {
    const Bytes content = segment.content;
    if (content.empty() || content[0] < 1 || content[0] > frame.count ||
        content.size() < 4 + std::size_t{2} * content[0]) {
        return damaged("a scan header makes no sense");
    }
    scan.count = content[0];
    for (unsigned int i = 0; i < scan.count; ++i) {
        const unsigned int id = content[1 + 2 * i];
        const auto* last = frame.components.begin() + frame.count;
        const auto* found =
            std::find_if(frame.components.begin(), last, [id](const Component& c) { return c.id == id; });
        const unsigned int tables = content[2 + 2 * i];
        if (found == last || tables / 16 > 3 || tables % 16 > 3) {
            return damaged("a scan of a component or tables that there are not");
        }
        scan.component[i] = static_cast<unsigned int>(found - frame.components.begin());
        scan.dcTable[i] = tables / 16;
        scan.acTable[i] = tables % 16;
    }
    const Bytes tail = content.subspan(1 + std::size_t{2} * scan.count, 3);
    scan.first = tail[0];
    scan.last = tail[1];
    scan.point = tail[2] % 16;
    return {};
}

Fault readHuffmanTables(Bytes content, HuffmanTables& tables) {
    while (!content.empty()) {
        const unsigned int place = content[0];
        if (content.size() < 17 || place / 16 > 1 || place % 16 > 3) {
            return damaged("a Huffman table makes no sense");
        }
        HuffmanTable table;
        unsigned int codes = 0;
        for (unsigned int i = 0; i < 16; ++i) {
            table.counts[i] = content[1 + i];
            table.size += table.counts[i];
            codes = codes * 2 + table.counts[i];
            if (codes > 2u << i) return damaged("a Huffman table has more codes than there can be");
        }
        if (table.size < 1 || table.size > 256 || content.size() - 17 < table.size) {
            return damaged("a Huffman table is cut short");
        }
        std::copy_n(content.begin() + 17, table.size, table.symbols.begin());
        tables[place / 16][place % 16] = table;
        content = content.subspan(17 + table.size);
    }
    return {};
}

Fault readHeaders(Bytes stream, Headers& headers) {
    Segments segments(stream);
    const std::optional<Segment> first = segments.next();
    if (!first || first->marker != begin) return damaged("no JPEG codestream");
    while (const std::optional<Segment> segment = segments.next()) {
        if (isFrame(segment->marker)) return readFrame(*segment, headers.frame);
        if (segment->marker == app0) headers.jfif |= startsWith(segment->content, "JFIF");
        if (segment->marker == app14 && startsWith(segment->content, "Adobe") &&
            segment->content.size() >= 12) {
            headers.adobe = segment->content[11];
        }
        if (segment->marker == scan || segment->marker == end) break;
    }
    return damaged("the codestream has no frame header");
}

bool isYcc(const Headers& headers, DcPhotometric says) {
    const auto& c = headers.frame.components;
    if (headers.adobe) return *headers.adobe != 0;
    if (c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B') return false;
    if (headers.jfif) return true;
    if (c[1].across < c[0].across || c[1].down < c[0].down) return true;
    return says != DcPhotometric::rgb;
}

namespace {

// The transfer syntax of a lossless codestream: that of first order, or of all predictors.
Fault losslessSyntax(Bytes stream, const Frame& frame, const char*& uid) {
    Segments segments(stream);
    while (const std::optional<Segment> segment = segments.next()) {
        if (segment->marker != scan) continue;
        Scan first;
        Fault fault = readScan(*segment, frame, first);
        uid = first.first == 1 ? "1.2.840.10008.1.2.4.70" : "1.2.840.10008.1.2.4.57";
        return fault;
    }
    return damaged("the codestream has no scan");
}

}  // namespace

Fault describe(Bytes stream, DcImageResult& found, const char*& uid) {
    Headers headers;
    if (Fault fault = readHeaders(stream, headers)) return fault;
    const Frame& frame = headers.frame;
    if (frame.bits < 2 || frame.bits > 16) return damaged(std::to_string(frame.bits) + " bits");
    DcImagePixels& pixels = found.pixels;
    pixels.rows = frame.rows;
    pixels.columns = frame.columns;
    pixels.samples = frame.count;
    pixels.bitsAllocated = frame.bits <= 8 ? 8 : 16;
    pixels.bitsStored = frame.bits;
    pixels.highBit = frame.bits - 1;
    found.precision = frame.bits;
    found.lossy = frame.process != lossless;
    const auto& c = frame.components;
    if (frame.count == 3) {
        const bool isHalved = c[1].across < c[0].across || c[1].down < c[0].down;
        const bool ycc = isYcc(headers, found.lossy ? DcPhotometric::ybrFull : DcPhotometric::rgb);
        pixels.photometric = !ycc       ? DcPhotometric::rgb
                             : isHalved ? DcPhotometric::ybrFull422
                                        : DcPhotometric::ybrFull;
    }
    if (frame.process == lossless) return losslessSyntax(stream, frame, uid);
    if (frame.process == baseline && frame.bits == 8) uid = "1.2.840.10008.1.2.4.50";
    if (frame.process == extended && (frame.bits == 8 || frame.bits == 12)) uid = "1.2.840.10008.1.2.4.51";
    return {};
}

}  // namespace orvkit::image::jpeg
