#include "fuzz/seeds.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/lzw.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t largestSample = 16384;
constexpr std::uint8_t modes = 4;

void fill(DcElemList& list) {
    static unsigned char pixels[64] = {1, 2, 3, 4, 5, 6, 7, 8};
    list.add(new DcElem(T_0008_0008_imageType, "ORIGINAL\\PRIMARY"));
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    list.add(new DcElem(T_0010_0010_patientsName, "A^B^C"));
    list.add(new DcElem(T_0018_1620_verticesOfThePolygonalShutter, "1\\2\\3\\4"));
    auto* sequence = new DcElemSq(T_0008_1140_referencedImageSequence);
    for (const char* uid : {"1.2.3.4", "1.2.3.5"}) {
        auto* item = new DcElemSqItem;
        *item + new DcElem(T_0008_1155_referencedSopInstanceUid, uid);
        sequence->add(item);
    }
    list.add(sequence);
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(4)));
    list.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    list.add(new DcElem(T_7fe0_0010_pixelData, pixels, sizeof pixels, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
}

Bytes framed(DICT_UID syntax) {
    DcElemList list;
    fill(list);
    unsigned int size = 0;
    list.getBufSize(size, TAG_LIST_END);
    Bytes bytes(size);
    list.frame(bytes.data(), size, syntax);
    bytes.resize(size);
    return bytes;
}

// Undefined lengths are read but never written: a sequence and encapsulated pixel data, by hand.
Bytes undefinedLengths() {
    return {0x08, 0x00, 0x40, 0x11, 'S',  'Q',  0,    0,    0xFF, 0xFF, 0xFF, 0xFF,              // SQ
            0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF,                                      // item
            0x08, 0x00, 0x55, 0x11, 'U',  'I',  4,    0,    '1',  '.',  '2',  0,                 // UI
            0xFE, 0xFF, 0x0D, 0xE0, 0,    0,    0,    0,    0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0,  // ends
            0xE0, 0x7F, 0x10, 0x00, 'O',  'B',  0,    0,    0xFF, 0xFF, 0xFF, 0xFF,              // pixels
            0xFE, 0xFF, 0x00, 0xE0, 0,    0,    0,    0,                 // offset table
            0xFE, 0xFF, 0x00, 0xE0, 2,    0,    0,    0,    0xFF, 0xD8,  // fragment
            0xFE, 0xFF, 0xDD, 0xE0, 0,    0,    0,    0};
}

Bytes packed(const Bytes& plain) {
    Bytes bytes(2 * plain.size() + 64);
    unsigned char* end = bytes.data();
    auto length = static_cast<unsigned int>(bytes.size());
    lzwEncode(plain.data(), static_cast<unsigned int>(plain.size()), end, length);
    bytes.resize(length);
    return bytes;
}

Bytes wholeFile(DICT_UID syntax) {
    DcElemList list;
    fill(list);
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = syntax;
    meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    std::copy_n("1.2.3", 6, meta.sopInstanceUid);
    dirCheckMetaInfo(meta);
    dirFileMetaInfoToElemList(meta, list);
    unsigned int size = 0;
    list.getBufSize(size, TAG_LIST_END);
    Bytes bytes(size + 132);
    dirWriteFile(bytes.data(), size, list);
    bytes.resize(size);
    return bytes;
}

void put(Bytes& to, std::size_t v, int size) {
    while (size-- > 0) to.push_back(static_cast<std::uint8_t>(v >> (8 * size)));
}

// An item of an association PDU, or, with a length field of four bytes, a PDU.
Bytes item(int type, const Bytes& content, int lengthSize = 2) {
    Bytes all{static_cast<std::uint8_t>(type), 0};
    put(all, content.size(), lengthSize);
    all.insert(all.end(), content.begin(), content.end());
    return all;
}

Bytes item(int type, const std::string& text) {
    return item(type, Bytes(text.begin(), text.end()));
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

// A request or its answer, followed by one PDU of each other type.
Bytes conversation(int type) {
    const bool request = type == 1;
    Bytes fixed{0, 1, 0, 0};
    fixed.resize(36, 'A');
    fixed.resize(68);
    const Bytes syntaxes = joined({item(0x40, "1.2.840.10008.1.2"), item(0x40, "1.2.840.10008.1.2.1")});
    const Bytes context = request
                              ? item(0x20, joined({{1, 0, 0, 0}, item(0x30, "1.2.840.10008.1.1"), syntaxes}))
                              : item(0x21, joined({{1, 0, 0, 0}, item(0x40, "1.2.840.10008.1.2")}));
    const std::string uid = "1.2.840.10008.1.1";
    const Bytes role = joined({{0, 17}, Bytes(uid.begin(), uid.end()), {1, 0}});
    const Bytes user =
        joined({item(0x51, Bytes{0, 0, 0x40, 0}), item(0x52, "1.2.3"), item(0x53, Bytes{0, 1, 0, 1}),
                item(0x54, role), item(0x55, "V1"), item(0x56, "any")});
    const Bytes values{0, 0, 0, 5, 1, 3, 7, 8, 9, 0, 0, 0, 2, 1, 2, 0, 0, 0, 3, 1, 2, 7};
    return joined(
        {item(type, joined({fixed, item(0x10, "1.2.840.10008.3.1.1.1"), context, context, item(0x50, user)}),
              4),
         item(4, values, 4), item(3, {0, 1, 2, 3}, 4), item(5, {0, 0, 0, 0}, 4), item(6, {0, 0, 0, 0}, 4),
         item(7, {0, 0, 2, 1}, 4)});
}

Bytes fragment(std::uint8_t control, const Bytes& data) {
    Bytes value;
    put(value, data.size() + 2, 4);
    value.insert(value.end(), {1, control});
    value.insert(value.end(), data.begin(), data.end());
    return item(4, value, 4);
}

// An image to be stored, in fragments, and a request for release.
Bytes storing() {
    DcElemList command;
    command + new DcElem(T_0000_0002_affectedSopClassUid, UID_VERIFICATION);
    command + new DcElem(T_0000_0100_commandField, static_cast<unsigned short>(1));
    command + new DcElem(T_0000_0110_messageId, static_cast<unsigned short>(9));
    command + new DcElem(T_0000_0800_dataSetType, static_cast<unsigned short>(0x0102));
    unsigned int size = 0;
    (void)command.getBufSize(size, static_cast<unsigned int*>(nullptr));
    Bytes encoded(size);
    (void)command.frame(encoded.data(), size, UID_LITTLE_ENDIAN_IMPLICIT);
    encoded.resize(size);
    Bytes all = fragment(3, encoded);
    const Bytes data = framed(UID_LITTLE_ENDIAN_IMPLICIT);
    for (std::size_t at = 0; at < data.size(); at += 50) {
        const std::size_t end = std::min(at + 50, data.size());
        const Bytes piece(data.begin() + static_cast<std::ptrdiff_t>(at),
                          data.begin() + static_cast<std::ptrdiff_t>(end));
        const Bytes one = fragment(end == data.size() ? 2 : 0, piece);
        all.insert(all.end(), one.begin(), one.end());
    }
    return joined({all, item(5, {0, 0, 0, 0}, 4)});
}

void addSamples(const std::string& directory, std::vector<Bytes>& all) {
    std::error_code error;
    std::vector<fs::path> paths;
    for (fs::recursive_directory_iterator it(directory, error), end; !error && it != end;
         it.increment(error)) {
        const bool data =
            it->is_regular_file() && it->path().extension() != ".tsv" && it->path().extension() != ".md";
        if (data && it->file_size() <= largestSample) paths.push_back(it->path());
    }
    std::sort(paths.begin(), paths.end());
    for (const fs::path& path : paths) {
        std::ifstream file(path, std::ios::binary);
        Bytes bytes(std::istreambuf_iterator<char>(file), {});
        DcDirMetaInfo meta;
        unsigned int begin = 0;
        if (dirReadFileMetaInfo(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, begin) == 0 &&
            begin < bytes.size()) {
            all.emplace_back(bytes.begin() + begin, bytes.end());
        }
        all.push_back(std::move(bytes));
    }
}

}  // namespace

std::vector<Bytes> seeds(const std::string& sampleDirectory) {
    std::vector<Bytes> streams = {framed(UID_LITTLE_ENDIAN_IMPLICIT),    framed(UID_LITTLE_ENDIAN_EXPLICIT),
                                  framed(UID_BIG_ENDIAN_EXPLICIT),       undefinedLengths(),
                                  wholeFile(UID_LITTLE_ENDIAN_IMPLICIT), wholeFile(UID_BIG_ENDIAN_EXPLICIT)};
    streams.push_back(packed(streams[0]));
    streams.push_back(packed(Bytes(2000, 7)));
    streams.push_back(conversation(1));
    streams.push_back(conversation(2));
    streams.push_back(storing());
    for (const char* text : {"045Y", "(0008,0016)", "20240115", "2024.01.15-", "20240115101530.250000+0100",
                             "101530.5", "10:15-11:00", "Name^Given^M^Dr^Jr", "\x1b$B^=A=B", "A\\B\\1.5e3"}) {
        const std::string bytes(text);
        streams.emplace_back(bytes.begin(), bytes.end());
    }
    if (!sampleDirectory.empty()) addSamples(sampleDirectory, streams);

    std::vector<Bytes> all;
    for (const Bytes& stream : streams) {
        for (std::uint8_t mode = 0; mode < modes; ++mode) {
            all.push_back({mode});
            all.back().insert(all.back().end(), stream.begin(), stream.end());
        }
    }
    return all;
}

}  // namespace fuzz
