// Deflated data sets, with the codec over zlib registered: reading, writing, on the network, and what is no
// such stream.
#include "orvkit/deflate.h"

#include "encoding/codec.h"
#include "media/leaves.h"
#include "media/part10.h"
#include "media/sample_files.h"
#include "network/pair.h"
#include "platform/file.h"
#include "support/pdu_bytes.h"

namespace {

using orvkit::CodecPump;
using orvkit::DataSetCodec;

constexpr DICT_UID kDeflated = UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT;

const DataSetCodec& codec() {
    deflateRegister();
    return *orvkit::codecOf(kDeflated);
}

Bytes through(std::unique_ptr<orvkit::CodecStream> stream, const Bytes& in, std::size_t piece = SIZE_MAX) {
    orvkit::MemorySink out;
    CodecPump pump(std::move(stream), out);
    for (std::size_t at = 0; at < in.size(); at += std::min(piece, in.size() - at))
        (void)pump.push({in.data() + at, std::min(piece, in.size() - at)}, false);
    (void)pump.push({}, true);
    EXPECT_EQ(pump.fault(), orvkit::CodecFault::none);
    return {out.bytes().begin(), out.bytes().end()};
}
Bytes deflated(const Bytes& plain) {
    return through(codec().encoder(), plain);
}

// A file of which the data set is those bytes.
Bytes fileOf(const Bytes& packed) {
    return joined({part10(kDeflated).bytes(), packed});
}

Stream image(std::size_t pixels) {
    Stream s;
    s.ui(0x00080016, "1.2.840.10008.5.1.4.1.1.2").ui(0x00080018, "1.2.3");
    s.header(0x00081140, "SQ", Stream::undefined).item(16).ui(0x00081155, "1.2.3.4").endSequence();
    s.elem(0x00100010, "PN", "Deflated^Image").us(0x00280100, 16);
    std::string words(pixels, '\0');
    for (std::size_t i = 0; i < pixels; ++i) words[i] = static_cast<char>(i * i / 300);
    return s.elem(0x7FE00010, "OW", words).elem(0xFFFCFFFC, "OB", "pads");
}

int read(Bytes file, DcElemList& dataset) {
    DcDirMetaInfo meta;
    return dirReadFile(file.data(), static_cast<unsigned int>(file.size()), meta, dataset);
}

class Deflate : public testing::Test {
  protected:
    void SetUp() override { (void)codec(); }
    void TearDown() override {
        (void)deflateSetMaxSize(1ull << 31);
        elemListSetValueExceptionLevel(-1);
    }
    CaptureLog log_;
    TempDir temp_;
};

TEST_F(Deflate, PixelsAreNativeAndLeftInAFileOfTheirOwn) {
    const Stream plain = image(100001 * 2);
    const std::string path = makeFile(temp_, "in", fileOf(deflated(plain.bytes())));
    DcDirMetaInfo meta;
    DcElemList dataset;
    DcDirAround around;
    ASSERT_EQ(dirReadAroundPixels(path.c_str(), meta, dataset, around), RESULT_OK);
    EXPECT_EQ(meta.transferSyntax, kDeflated);
    EXPECT_EQ(around.xferSyn, kExplicit);
    DcElem* pixels = nullptr;
    DcBuf place;
    ASSERT_EQ(dataset.getElem(T_7fe0_0010_pixelData, &pixels), RESULT_OK);
    ASSERT_EQ(pixels->getValue(place), RESULT_OK);
    EXPECT_EQ(place.getType(), BUF_HANDLE);
    EXPECT_EQ(place.getLen(), 200002u);
    Bytes there(place.getLen());
    ASSERT_EQ(orvkit::platform::readAt(place.getHandle(), there.data(), there.size(), place.getOffset()),
              200002);
    EXPECT_TRUE(std::equal(there.begin(), there.end(), plain.bytes().begin() + place.getOffset()));

    // From there into each syntax; the deflated one is even, and gives the same again.
    DcElemList straight;
    ASSERT_EQ(read(fileOf(deflated(plain.bytes())), straight), RESULT_OK);
    const auto leaves = leavesOf(straight, kExplicit);
    for (const DICT_UID syntax : {kDeflated, kExplicit, kImplicit, UID_BIG_ENDIAN_EXPLICIT}) {
        meta.transferSyntax = syntax;
        const std::string out = temp_ / "out";
        ASSERT_EQ(dirWriteFile(out.c_str(), meta, dataset), RESULT_OK);
        EXPECT_EQ(std::filesystem::file_size(out) % 2, 0u);
        DcElemList back;
        ASSERT_EQ(dirReadFile(out.c_str(), meta, back), RESULT_OK);
        EXPECT_EQ(leavesOf(back, kExplicit).size(), leaves.size());
        EXPECT_TRUE(syntax != kDeflated || leavesOf(back, kExplicit) == leaves);
    }

    int offset = 0, length = 0;
    DcElemList front;
    ASSERT_EQ(dirReadNonPixelElem(path.c_str(), meta, front, &offset, &length), RESULT_OK);
    EXPECT_EQ(offset, -1);
    EXPECT_EQ(length, 200002);
    EXPECT_EQ(front.getElem(T_7fe0_0010_pixelData, &pixels), ELEM_NOT_FOUND);
    EXPECT_EQ(leavesOf(front, kExplicit).size(), 7u);
    EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Deflate, FilesInMemoryAreWrittenInTheirRoom) {
    DcElemList dataset;
    ASSERT_EQ(read(fileOf(deflated(image(30000).bytes())), dataset), RESULT_OK);
    const auto leaves = leavesOf(dataset, kExplicit);
    DcDirMetaInfo meta = metaFor(kDeflated);
    (void)dirCheckMetaInfo(meta);
    ASSERT_EQ(dirFileMetaInfoToElemList(meta, dataset), RESULT_OK);
    unsigned int size = 0;
    (void)dataset.getBufSize(size, static_cast<unsigned int*>(nullptr));
    Bytes file(size + 132);
    unsigned int length = 0;
    ASSERT_EQ(dirWriteFile(file.data(), length, dataset), RESULT_OK);
    EXPECT_LT(length, 30000u);
    file.resize(length);
    DcElemList back;
    ASSERT_EQ(read(file, back), RESULT_OK);
    EXPECT_EQ(leavesOf(back, kExplicit), leaves);

    // A header alone is no stream yet.
    DcElemList group;
    ASSERT_EQ(dirFileMetaInfoToElemList(meta, group), RESULT_OK);
    ASSERT_EQ(dirWriteFile(file.data(), length, group), RESULT_OK);
    file.resize(length);
    unsigned int begin = 0;
    ASSERT_EQ(dirReadFileMetaInfo(file.data(), length, meta, begin), RESULT_OK);
    EXPECT_EQ(begin, length);
}

// With what may stand around a stream, and in pieces of any size.
TEST_F(Deflate, StreamsWithAZlibHeaderAreReadAndTold) {
    const Bytes plain = image(500).bytes();
    const Bytes raw = deflated(plain);
    const Bytes stored = joined(
        {{0x01, static_cast<unsigned char>(plain.size() & 0xFF),
          static_cast<unsigned char>(plain.size() >> 8), static_cast<unsigned char>(~plain.size() & 0xFF),
          static_cast<unsigned char>(~(plain.size() >> 8) & 0xFF)},
         plain});
    const char* const header = "the deflated data set has a zlib header, which does not belong there";
    const struct {
        Bytes stream;
        std::string remark;
    } cases[] = {
        {raw, ""},
        {joined({raw, {0}}), ""},
        {stored, ""},
        {joined({{0x78, 0x9C}, raw}), header},
        {joined({{0x78, 0x01}, raw, {1, 2, 3, 4}}), header},
        {joined({{0x78, 0xDA}, raw, {1, 2, 3, 4, 0}}), header},
        {joined({raw, {7, 7, 7}}), "3 bytes stand behind the compressed data set, and are not read"}};
    for (const auto& c : cases) {
        DcElemList dataset;
        EXPECT_EQ(read(fileOf(c.stream), dataset), RESULT_OK);
        EXPECT_EQ(leavesOf(dataset, kExplicit).size(), 9u);
        const auto lines = log_.take();
        ASSERT_EQ(lines.size(), c.remark.empty() ? 0u : 1u);
        EXPECT_TRUE(c.remark.empty() || lines[0].text == "File '(memory)', " + c.remark) << c.remark;
        if (c.remark.find("behind") != std::string::npos) continue;
        for (const std::size_t piece : {1u, 2u, 3u, 7u})
            EXPECT_EQ(through(codec().decoder(), c.stream, piece), plain);
    }
    // Files that only say that they are deflated.
    DcElemList dataset;
    EXPECT_EQ(read(fileOf(plain), dataset), RESULT_OK);
    EXPECT_EQ(leavesOf(dataset, kExplicit).size(), 9u);
}

// One image, and nine samples.
TEST_F(Deflate, EveryTruncationKeepsWhatWasWhole) {
    elemListSetValueExceptionLevel(0);
    std::vector<Bytes> plain = {image(600).bytes()};
    for (const Sample& sample : samplesDirectory() != nullptr ? allSamples() : std::vector<Sample>()) {
        if (sample.folder() != "charset" || sample.transferSyntax != "1.2.840.10008.1.2.1") continue;
        const std::string content = readWhole(samplePath(sample.path));
        Bytes bytes(content.begin(), content.end());
        DcDirMetaInfo meta;
        unsigned int begin = 0;
        ASSERT_EQ(dirReadFileMetaInfo(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, begin), 0);
        plain.emplace_back(bytes.begin() + begin, bytes.end());
    }
    EXPECT_TRUE(plain.size() >= 10 || samplesDirectory() == nullptr) << plain.size();
    const std::size_t begin = part10(kDeflated).size();
    for (const Bytes& bytes : plain) {
        const Bytes file = fileOf(deflated(bytes));
        DcElemList whole;
        ASSERT_EQ(read(file, whole), RESULT_OK);
        const auto leaves = leavesOf(whole, kExplicit);
        std::size_t kept = 0;
        for (std::size_t n = begin + 2; n < file.size(); ++n) {
            const std::size_t before = kept;
            DcElemList dataset, around;
            Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(n));
            EXPECT_EQ(read(cut, dataset), ELEM_PACKED_STREAM);
            const auto left = leavesOf(dataset, kExplicit);
            ASSERT_LE(left.size(), leaves.size());
            kept = left.size();
            EXPECT_GE(kept + 3, before);  // the sequence that is cut may go, with its item
            for (std::size_t i = 0; i + 3 < left.size(); ++i) EXPECT_EQ(left[i], leaves[i]);
            // As the command reads it.
            DcDirMetaInfo meta;
            DcDirFound found;
            DcDirAround how;
            how.found = &found;
            EXPECT_EQ(dirReadAroundPixels(cut.data(), static_cast<unsigned int>(n), meta, around, how),
                      ELEM_PACKED_STREAM);
            const bool pixels =
                around.last() != nullptr && orvkit::ElemAccess::tag(*around.last()) == 0x7FE00010;
            EXPECT_LE(around.count() - dataset.count(), pixels ? 1 : 0);
            EXPECT_GE(around.count(), dataset.count());
        }
        EXPECT_GE(kept + 3, leaves.size());
        log_.clear();
    }
}

TEST_F(Deflate, ABombEndsAtTheLimit) {
    Stream front = image(20);
    Bytes bomb = Stream(front).header(0xFFFEFFFE, "OB", 64u << 20).bytes();
    bomb.resize(bomb.size() + (64u << 20));
    const Bytes packed = fileOf(deflated(bomb));
    EXPECT_LT(packed.size(), bomb.size() / 900);
    const std::string path = makeFile(temp_, "bomb", packed);
    DcDirMetaInfo meta;
    DcDirAround around;
    ASSERT_EQ(deflateSetMaxSize(0), DIR_FILE_SIZE);
    ASSERT_EQ(deflateSetMaxSize(1 << 20), RESULT_OK);
    DcElemList list[4];
    EXPECT_EQ(dirReadFile(path.c_str(), meta, list[0]), DIR_FILE_SIZE);
    EXPECT_EQ(dirReadAroundPixels(path.c_str(), meta, list[1], around), DIR_FILE_SIZE);
    for (int i = 0; i < 2; ++i) EXPECT_GE(leavesOf(list[i], kExplicit).size(), 9u) << "what was whole";
    log_.clear();
    (void)deflateSetMaxSize(1ull << 31);
    const FileSizeLimit limit(1 << 20);
    EXPECT_EQ(dirReadFile(path.c_str(), meta, list[2]), DIR_FILE_SIZE);
    EXPECT_EQ(log_.lines().at(0).text,
              "File '" + path + "', the compressed data set becomes larger than 1048576 bytes");
    EXPECT_EQ(dirReadAroundPixels(path.c_str(), meta, list[3], around), DIR_FILE_SIZE);
    EXPECT_GE(leavesOf(list[3], kExplicit).size(), 9u) << "what is within the limit of what is held";
}

// A sink that is full, and no memory for the stream itself.
TEST_F(Deflate, WhatCannotBeTakenEndsThePump) {
    struct Full final : orvkit::ByteSink {
        [[nodiscard]] bool put(std::span<const unsigned char> bytes) override {
            return (room -= static_cast<std::int64_t>(bytes.size())) >= 0;
        }
        std::int64_t room = 100000;
    } full;
    const Bytes packed = deflated(Bytes(300000));
    CodecPump pump(codec().decoder(), full);
    EXPECT_EQ(pump.push(packed, true), orvkit::CodecFault::refused);
    EXPECT_EQ(CodecPump(nullptr, full).push(packed, true), orvkit::CodecFault::memory);
    // What stands behind the end is not taken.
    orvkit::MemorySink all;
    CodecPump whole(codec().decoder(), all, 300000);
    EXPECT_EQ(whole.push(joined({packed, {9, 9}}), true), orvkit::CodecFault::none);
    EXPECT_EQ(whole.taken(), packed.size());
    CodecPump more(codec().decoder(), all, 299999);
    EXPECT_EQ(more.push(packed, true), orvkit::CodecFault::tooLarge);
    EXPECT_EQ(more.given(), 299999u);
}

TEST_F(Deflate, WithoutTheCodecItIsAsItWas) {
    EXPECT_EQ(orvkit::codecOf(UID_JPIP_REFERENCED_DEFLATE), &codec());
    orvkit::registerCodec(orvkit::Packing::deflated, nullptr);
    EXPECT_EQ(orvkit::codecOf(UID_JPIP_REFERENCED_DEFLATE), nullptr);
    DcElemList dataset;
    EXPECT_EQ(read(fileOf({1, 0, 0, 0xFF, 0xFF}), dataset), ELEM_XFER_SYNTAX);
    log_.expect(LOG_ERROR, "dirReadFile",
                "File '(memory)', the data set is deflated (1.2.840.10008.1.2.1.99)");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([] { deflateRegister(); });
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(read(fileOf({1, 0, 0, 0xFF, 0xFF}), dataset), RESULT_OK);
}

TEST_F(Deflate, MessagesArriveAsTheyWereSent) {
    const auto syntaxes = sopList({UID_CT_IMAGE_STORAGE}, {kDeflated});
    std::vector<Leaf> got;
    Provider provider(syntaxes, [&](DcMsm& msm) {
        for (Message request; receive(msm, request) == MSM_MESSAGE;) got = leavesOf(*request, kExplicit);
    });
    User user(provider.port());
    ASSERT_EQ(user.open(syntaxes), MSM_ACCEPTED);
    DcCmdCStoreRq request;
    request.add(new DcElem(T_0000_0002_affectedSopClassUid, UID_CT_IMAGE_STORAGE));
    request.add(new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.3"));
    Bytes plain = image(400000).bytes();
    auto length = static_cast<unsigned int>(plain.size());
    ASSERT_EQ(request.DcElemList::parse(plain.data(), length, kExplicit), RESULT_OK);
    ASSERT_EQ(user.write(1, &request), RESULT_OK);
    (void)user.release();
    provider.join();
    EXPECT_EQ(got, leavesOf(request, kExplicit));
}

}  // namespace
