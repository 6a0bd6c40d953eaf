#include "fuzz/seeds.h"

#include "media/part10.h"
#include "orvkit/lzw.h"
#include "support/pdu_bytes.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t largestSample = 16384;
constexpr std::uint8_t modes = 4;

Stream image(DICT_UID syntax) {
    Stream s(syntax);
    s.elem(0x00080008, "CS", "ORIGINAL\\PRIMARY").ui(0x00080016, "1.2.840.10008.5.1.4.1.1.2");
    s.ui(0x00080018, "1.2.3").header(0x00081140, "SQ", 48).item(16).ui(0x00081155, "1.2.3.4");
    s.item(16).ui(0x00081155, "1.2.3.5").elem(0x00100010, "PN", "A^B^C ");
    s.elem(0x00181620, "IS", "1\\2\\3\\4 ").us(0x00280010, 4).us(0x00280100, 16);
    return s.elem(0x7FE00010, "OW", "\1\2\3\4\5\6\7\x8" + std::string(56, '\0'));
}

Stream commitment() {
    Stream s(UID_LITTLE_ENDIAN_IMPLICIT);
    s.ui(0x00081195, "1.2.3").header(0x00081199, "SQ", Stream::undefined);
    for (const char* const instance : {"1.2.3.4", "1.2.3.5"})
        s.item(Stream::undefined).ui(0x00081150, "1.2.3.4").ui(0x00081155, instance).endItem();
    return s.endSequence();
}

// A sequence and encapsulated pixel data.
Stream undefinedLengths() {
    Stream s;
    s.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined).ui(0x00081155, "1.2");
    s.endItem().endSequence().header(0x7FE00010, "OB", Stream::undefined).item(0);
    return s.item(2).raw("\xFF\xD8").endSequence();
}

// A file of encapsulated frames with tables of both kinds, of which `shift` makes one wrong.
Bytes frames(unsigned int shift) {
    Stream s;
    s.elem(0x00280008, "IS", "3 ").us(0x00280010, 2).us(0x00280011, 2).us(0x00280100, 8);
    s.header(0x7FE00001, "OV", 24).u32(0).u32(0).u32(12 + shift).u32(0).u32(22).u32(0);
    s.header(0x7FE00002, "OV", 24).u32(4).u32(0).u32(1).u32(0).u32(2).u32(0);
    s.header(0x7FE00010, "OB", Stream::undefined).item(12).u32(0).u32(12).u32(22);
    s.item(4).raw("aaaa").item(2).raw("bb").item(2).raw("cc").endSequence();
    return part10(metaGroup("1.2.840.10008.1.2.4.90"), s).bytes();
}

Bytes packed(const Bytes& plain) {
    Bytes bytes(2 * plain.size() + 64);
    unsigned char* end = bytes.data();
    auto length = static_cast<unsigned int>(bytes.size());
    lzwEncode(plain.data(), static_cast<unsigned int>(plain.size()), end, length);
    bytes.resize(length);
    return bytes;
}

// A request or its answer, followed by one PDU of each other type.
Bytes conversation(Association opening, const Bytes& more = {}) {
    opening.context = joined({opening.context, opening.context});
    append(opening.userInfo,
           joined({item(0x53, Bytes{0, 1, 0, 1}), item(0x56, Bytes{0, 3, '1', '.', '2', 1}), more}));
    return joined({opening.bytes(), pdu(4, joined({pdv(1, 3, {7, 8, 9}), pdv(1, 2, {}), pdv(1, 2, {7})})),
                   pdu(3, {0, 1, 2, 3}), pdu(5, Bytes(4)), pdu(6, Bytes(4)), pdu(7, {0, 0, 2, 1})});
}

// What only a tolerant reader takes.
Bytes negotiation() {
    return joined({item(0x57, Bytes{0, 1, '1', 0, 1, '2', 0, 6, 0, 1, '3', 0, 1, '4'}), item(0x99, "new"),
                   item(0x58, Bytes{2, 1, 0, 2, 'm', 'e', 0, 1, 'p'}), item(0x59, Bytes{0, 1, 'r'})});
}

// An image to be stored, in fragments, and a request for release.
Bytes storing() {
    Stream command(UID_LITTLE_ENDIAN_IMPLICIT);
    command.ui(0x00000002, kVerificationUid).us(0x00000100, 1).us(0x00000110, 9).us(0x00000800, 0x0102);
    Bytes all = pdu(4, pdv(1, 3, command.bytes()));
    append(all, inPieces(image(UID_LITTLE_ENDIAN_IMPLICIT).bytes(), 50));
    append(all, pdu(5, Bytes(4)));
    return all;
}

// Pixels of 8 and 12 bits, grey and in colours, for every codec there is; whose codestreams are hostile, made
// of what follows, or sound but for a few bytes.
void addPixels(std::vector<Bytes>& all) {
    constexpr std::uint8_t codecs = 24;
    constexpr std::uint8_t kinds[][2] = {{7, 0}, {11, 2}, {0x27, 1}, {0x4B, 2}};
    for (std::uint8_t codec = 0; codec < codecs; ++codec) {
        for (const auto& [bits, lies] : kinds) {
            for (unsigned int what = 0; what < 3; ++what) {
                const auto how = static_cast<std::uint8_t>(lies | what << 2);
                all.push_back({codec, 18, 13, bits, how, 80, 0, 40, 9, 0, 9, 0x55});
            }
        }
    }
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
    std::vector<Bytes> streams = {undefinedLengths().bytes(),
                                  commitment().bytes(),
                                  packed(Bytes(2000, 7)),
                                  conversation({}),
                                  conversation(acceptance()),
                                  conversation({}, negotiation()),
                                  conversation(acceptance(), negotiation()),
                                  storing(),
                                  frames(0),
                                  frames(1)};
    for (const DICT_UID syntax :
         {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        streams.push_back(image(syntax).bytes());
        streams.push_back(part10(syntax, image(syntax)).bytes());
    }
    streams.push_back(packed(image(UID_LITTLE_ENDIAN_IMPLICIT).bytes()));
    for (
        const char* text :
        {"045Y", "(0008,0016)", "20240115", "2024.01.15-", "20240115101530.250000+0100", "101530.5",
         "10:15-11:00", "Name^Given^M^Dr^Jr",
         "A B\n\"CT 2\" from 10.0.0.0/8,fd00::/8 certificate a.b may echo,store bytes 4G # c\n",
         "joe $y$j9T$F5Jx5fExrKuPp53xLKQ..1$tnSYvahCwPBHKZUspmcxMfb0.WiB9W.zEaKlOBL35rC\nann\n",
         R"({"sub":"ann","aud":["X","SITE"],"exp":1800000001.5,"nbf":1})", "eyJhbGciOiJub25lIn0.e30.e30",
         R"([{"00100010":{"vr":"PN","Value":[{"Alphabetic":"A^B"},null]},"00280010":{"vr":"US","Value":[4,5]},)"
         R"("00400100":{"vr":"SQ","Value":[{"00400001":{"vr":"AE","Value":["CT1"]}},null]}}])",
         "-----BEGIN PUBLIC KEY-----\n-----END", "\x1b$B^=A=B", "A\\B\\1.5e3"}) {
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
    addPixels(all);
    return all;
}

}  // namespace fuzz
