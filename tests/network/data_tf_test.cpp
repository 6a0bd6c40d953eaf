
#include <numeric>

#include "network/pdu_access.h"
#include "network/pdus.h"
#include "orvkit/datatf.h"
#include "orvkit/file.h"
#include "platform/file.h"
#include "support/allocation_meter.h"
#include "support/dataset.h"
#include "support/temp_dir.h"

namespace {

constexpr DICT_UID kEncapsulated = UID_JPEG_BASELINE;

// One PDU as the peer sees it.
struct Fragment {
    int context, control;
    Bytes data;
};
using Fragments = std::vector<Fragment>;

// What was sent, with every length checked.
Fragments fragmentsOf(const Bytes& bytes) {
    Fragments all;
    orvkit::ByteReader in(bytes, orvkit::ByteOrder::big);
    while (in.remaining() > 0 && !in.failed()) {
        EXPECT_EQ(in.u16(), 0x0400);
        const unsigned int length = in.u32();
        EXPECT_EQ(in.u32(), length - 4);
        const int context = in.u8();
        const int control = in.u8();
        const auto data = in.bytes(length - 6);
        all.push_back({context, control, Bytes(data.begin(), data.end())});
    }
    EXPECT_FALSE(in.failed());
    return all;
}

// "3:24 0:100 2:7", control and size of each.
std::string shape(const Fragments& fragments) {
    std::string text;
    for (const Fragment& f : fragments)
        text += (text.empty() ? "" : " ") + std::to_string(f.control) + ":" + std::to_string(f.data.size());
    return text;
}

Bytes dataOf(const Fragments& fragments, int commandBit = 0) {
    Bytes all;
    for (const Fragment& f : fragments) {
        if ((f.control & 1) == commandBit) append(all, f.data);
    }
    return all;
}

// A message that can be told to fail its check.
class DataMessage : public DcPduDataTf {
  public:
    explicit DataMessage(DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT, unsigned int maxPduLen = 16384) {
        DcPduInfoTf info{5, 0, xferSyn, maxPduLen};
        EXPECT_EQ(setInfo(info), RESULT_OK);
    }
    void addCommand() { add(new DcElem(T_0000_0100_commandField, static_cast<unsigned short>(1))); }
    // An element whose encoding has that many bytes in explicit little endian.
    void addBytes(unsigned int tag, unsigned int size) {
        Bytes bytes(size - 12);
        std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(tag));
        add(new DcElem(tag, bytes.data(), size - 12, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0));
    }
    Fragments send(int expected = RESULT_OK) {
        SocketPair sockets;
        setSockConv(sockets.ours());
        return fragmentsOf(sockets.received([&] { EXPECT_EQ(write(), expected); }));
    }

    int verdict = RESULT_OK;

  protected:
    int elemListVerify() override { return verdict; }
};

constexpr unsigned int kTagBytes = 0x00111010;
constexpr unsigned int kTagTrailing = 0x7FE11010;

void addPixels(DcElemList& list, const char* path, int offset, unsigned int length,
               DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT) {
    auto* e = new DcElem(T_7fe0_0010_pixelData, nullptr, 0u, UID_NONE, VR_OX, 0);
    EXPECT_EQ(e->addValue(path, offset, length, xferSyn), RESULT_OK);
    list.add(e);
}

TEST(DataTf, DataGoesOutInFragmentsBelowTheMaximum) {
    const struct {
        unsigned int maximum, size;
        const char* shape;
    } cases[] = {{16384, 40000, "0:16352 0:16352 2:7296"},
                 {16384, 32704, "0:16352 2:16352"},
                 {33, 14, "0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 2:1"},
                 {31, 40000, "2:40000"},
                 {0xFFFFFFFF, 40000, "2:40000"}};
    for (const auto& c : cases) {
        DataMessage message(UID_LITTLE_ENDIAN_EXPLICIT, c.maximum);
        message.addBytes(kTagBytes, c.size);
        const Bytes expected = frame(message, UID_LITTLE_ENDIAN_EXPLICIT);
        const auto fragments = message.send();
        EXPECT_EQ(shape(fragments), c.shape);
        EXPECT_EQ(dataOf(fragments), expected);
        EXPECT_EQ(fragments[0].context, 5);
    }
}

TEST(DataTf, CommandSaysWhetherDataFollows) {
    DataMessage message(UID_BIG_ENDIAN_EXPLICIT, 64);
    message.addCommand();
    message.add(new DcElem(T_0000_0800_dataSetType, static_cast<unsigned short>(7)));
    const auto commandWith = [](unsigned char type) {
        return Bytes{0, 0, 0, 1, 2, 0, 0, 0, 1, 0, 0, 0, 0, 8, 2, 0, 0, 0, type, 1};
    };
    for (int i = 0; i < 2; ++i) EXPECT_EQ(dataOf(message.send(), 1), commandWith(1));
    message.add(new DcElem(T_0010_0010_patientsName, "A^B"));
    for (int i = 0; i < 2; ++i) {  // as it is after a first time
        const auto both = message.send();
        EXPECT_EQ(shape(both), "3:20 2:12");
        EXPECT_EQ(dataOf(both), joined({{0, 0x10, 0, 0x10, 'P', 'N', 0, 4, 'A', '^', 'B', ' '}}));
        EXPECT_EQ(dataOf(both, 1), commandWith(2));
    }
    EXPECT_EQ(message.count(), 3);
}

TEST(DataTf, WhatMustNotGoOutIsRefusedBeforeTheFirstByte) {
    const CaptureLog log;
    DataMessage message(UID_LITTLE_ENDIAN_EXPLICIT, 32);
    EXPECT_TRUE(message.send(DATATF_READ).empty()) << "no elements";
    message.addCommand();
    message.verdict = 4711;
    EXPECT_TRUE(message.send(4711).empty());
    EXPECT_FALSE(orvkit::PduAccess::sent(message));
    EXPECT_EQ(message.count(), 2);
    message.verdict = RESULT_OK;
    EXPECT_EQ(shape(message.send()), "3:20") << "a command needs no room for fragments";
    EXPECT_TRUE(orvkit::PduAccess::sent(message));
    message.addBytes(kTagBytes, 100);
    EXPECT_TRUE(message.send(DATATF_READ).empty());
    EXPECT_EQ(log.lines().back().text, "Invalid Maximum PDU Length 32");
    EXPECT_EQ(message.count(), 3);

    DcPduDataTf fresh;
    for (DcPduInfoTf info : {DcPduInfoTf{1, 0, UID_NONE, 16384},
                             {1, 0, UID_CT_IMAGE_STORAGE, 16384},
                             {1, 4, UID_LITTLE_ENDIAN_IMPLICIT, 16384},
                             {1, 3, UID_LITTLE_ENDIAN_IMPLICIT, 0}}) {
        EXPECT_EQ(fresh.setInfo(info), DATATF_READ);
    }
    DcPduInfoTf sound{1, 3, UID_LITTLE_ENDIAN_IMPLICIT, 16384};
    EXPECT_EQ(DcPduDataTf().setInfo(sound), RESULT_OK);
    fresh.add(new DcElem(T_0010_0010_patientsName, "A"));
    EXPECT_EQ(fresh.write(), DATATF_READ) << "checked again";
}

// Large pixels in memory are sent from where they are, and nobody can tell.
TEST(DataTf, LargePixelsAreNotCopied) {
    Bytes pixels(1000000);
    std::iota(pixels.begin(), pixels.end(), '\0');
    const struct {
        DICT_UID stream, held;
        bool trailing;
    } cases[] = {{UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, false},
                 {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, true},
                 {UID_BIG_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, false},
                 {kEncapsulated, kEncapsulated, true}};
    for (const auto& c : cases) {
        const bool orderDiffers =
            (c.stream == UID_BIG_ENDIAN_EXPLICIT) != (c.held == UID_BIG_ENDIAN_EXPLICIT);
        for (const unsigned int maximum : {16384u, 0xFFFFFFFFu}) {
            DataMessage message(c.stream, maximum);
            message.add(new DcElem(0x7FE00000, 0u));  // a group length
            message.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
            message.add(new DcElem(T_7fe0_0010_pixelData, pixels.data(), 1000000, c.held, VR_OX, 0));
            if (c.trailing) message.addBytes(kTagTrailing, 20);
            const Bytes expected = frame(message, c.stream);
            const auto fragments = message.send();
            EXPECT_TRUE(dataOf(fragments) == expected) << c.stream << ' ' << maximum;

            CaptureLog log;
            SocketPair gone(Bytes{});
            message.setSockConv(gone.ours());
            AllocationMeter meter;
            EXPECT_EQ(message.write(), DATATF_SOCKET);
            EXPECT_EQ(log.take().at(0).text.substr(0, 13), "Buffer size -");
            EXPECT_EQ(meter.peak() > 100000, orderDiffers) << c.stream;
        }
    }
}

class PixelsOnDisk : public testing::Test {
  protected:
    PixelsOnDisk() {
        bytes_.resize(3 + 300000);
        std::iota(bytes_.begin(), bytes_.end(), '\0');
        writeWhole(path_, bytes_);
    }
    Bytes pixels(unsigned int length) const { return bytesOf(bytes_.substr(3, length)); }

    TempDir dir_;
    const std::string path_ = dir_ / "pixels";
    std::string bytes_;
};

TEST_F(PixelsOnDisk, FollowTheirHeaderAndPrecedeWhatTrails) {
    DataMessage message;
    message.addBytes(kTagBytes, 20);
    addPixels(message, path_.c_str(), 3, 40000);
    const auto fragments = message.send();
    EXPECT_EQ(shape(fragments), "0:32 0:16352 0:16352 2:7296");
    EXPECT_EQ(dataOf(fragments), joined({frame(message, UID_LITTLE_ENDIAN_EXPLICIT), pixels(40000)}));
    message.addBytes(kTagTrailing, 20);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(shape(message.send()), "0:32 0:16352 0:16352 0:7296 2:20");
    EXPECT_EQ(message.count(), 3);

    DataMessage encapsulated(kEncapsulated);
    addPixels(encapsulated, path_.c_str(), 3, 100, kEncapsulated);
    EXPECT_EQ(shape(encapsulated.send()), "0:12 0:100 2:8");

    // Without a byte: the last fragment is marked, and what has no length of its own has its delimiter.
    for (const auto& [own, stream, sent] :
         {std::tuple(UID_LITTLE_ENDIAN_EXPLICIT, kEncapsulated, "2:12"),
          {kEncapsulated, kEncapsulated, "0:12 2:8"},
          {UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT, UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT, "0:12 2:8"}}) {
        DataMessage empty(stream);
        addPixels(empty, path_.c_str(), 3, 0, own);
        EXPECT_EQ(shape(empty.send()), sent);
    }
}

TEST_F(PixelsOnDisk, WordsTakeTheByteOrderOfTheStream) {
    // Odd fragment sizes: words stand across fragments and across the blocks that are read at once. The last
    // has fragments that go out in pieces.
    for (const auto& [maximum, size] :
         {std::pair(16385u, 100000u), {400001u, 100000u}, {33u, 100u}, {200032u, 300000u}}) {
        DataMessage message(UID_BIG_ENDIAN_EXPLICIT, maximum);
        message.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
        addPixels(message, path_.c_str(), 3, size);
        Bytes swapped = pixels(size);
        for (std::size_t i = 0; i < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
        EXPECT_EQ(dataOf(message.send()), joined({frame(message, UID_BIG_ENDIAN_EXPLICIT), swapped}));
    }
}

TEST_F(PixelsOnDisk, FailuresAreToldAndLeaveTheListWhole) {
    CaptureLog log;
    DataMessage message;
    message.addCommand();
    message.addBytes(kTagTrailing, 20);
    const std::string none = dir_ / "none";
    const struct {
        const std::string& path;
        int offset;
        unsigned int length;
        const char* sent;
        std::string text;
    } rows[] = {{none, 0, 10, "", "error opening pixel data file " + none},
                {path_, 200000, 100004, "3:20 0:12 0:16352 0:16352 0:16352 0:16352 0:16352 0:16352",
                 "error reading disk buffer, block #6, block length 16352"},
                {path_, -16, 10, "3:20 0:12", "seek error, offset 0xfffffff0 (-16)"}};
    for (const auto& row : rows) {
        writeWhole(none, "");
        addPixels(message, row.path.c_str(), row.offset, row.length);
        std::filesystem::remove(none);
        log.clear();
        EXPECT_EQ(shape(message.send(DATATF_READ)), row.sent);
        EXPECT_EQ(log.lines().at(0).text, row.text);
        EXPECT_EQ(message.count(), 4);
    }
    // Large fragments go out in pieces; one for which the file is too short does not begin.
    for (const auto& [fragment, sent] :
         {std::pair(300004u, "0:12"), {300003u, "0:12 0:300003"}, {150000u, "0:12 0:150000 0:150000"}}) {
        DataMessage cut(UID_LITTLE_ENDIAN_EXPLICIT, fragment + 32);
        addPixels(cut, path_.c_str(), 0, 400000);
        EXPECT_EQ(shape(cut.send(DATATF_READ)), sent);
    }
    // What cannot go out from disk is refused before the command goes.
    DataMessage nested;
    nested.addCommand();
    auto* const sequence = new DcElemSq(T_0008_1140_referencedImageSequence);
    auto* const item = new DcElemSqItem;
    addPixels(item->getElemList(), path_.c_str(), 3, 8);
    sequence->add(item);
    nested.add(sequence);
    EXPECT_TRUE(nested.send(DATATF_READ).empty());
}

// A length that is cut to 32 bits is four, for which the file has enough.
TEST_F(PixelsOnDisk, BeyondFourGByteKeepTheirPlaceAndLength) {
    if (!keepsHoles(dir_ / "holes")) GTEST_SKIP() << "the file system keeps no holes";
    constexpr std::uint64_t far = 5ull << 30;
    std::filesystem::resize_file(path_, far);
    std::ofstream(path_, std::ios::binary | std::ios::app) << "last";
    for (const auto& [length, result, sent] :
         {std::tuple(4ull, RESULT_OK, "0:12 0:4 2:8"), {4 + (1ull << 32), DATATF_READ, "0:12"}}) {
        DcBuf place(path_.c_str(), 0, 0, kEncapsulated);
        ASSERT_EQ(place.setPlace64(far, length), RESULT_OK);
        DataMessage message(kEncapsulated);
        auto* const pixels = new DcElem(T_7fe0_0010_pixelData, nullptr, 0u, UID_NONE, VR_OX, 0);
        ASSERT_EQ(pixels->addValue(&place), RESULT_OK);
        message.add(pixels);
        const auto fragments = message.send(result);
        EXPECT_EQ(shape(fragments), sent);
        EXPECT_TRUE(result != RESULT_OK || fragments[1].data == bytesOf("last"));
    }
}

TEST(DataTf, FileReferenceSendsTheDataSetAsItLies) {
    TempDir dir;
    const std::string path = dir / "file";
    DcElemList list;
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3"));
    Bytes pixels(300000, 7);
    list.add(new DcElem(T_7fe0_0010_pixelData, pixels.data(), 300000, kEncapsulated, VR_OB, 0));
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = kEncapsulated;
    ASSERT_EQ(dirWriteFile(path.c_str(), meta, list), RESULT_OK);

    DataMessage message(kEncapsulated);
    message.addCommand();
    message.add(new DcElem(T_0006_0007_fileReference, path.c_str()));
    message.add(new DcElem(T_0010_0010_patientsName, "NOT^SENT"));
    const auto fragments = message.send();
    EXPECT_EQ(dataOf(fragments), frame(list, kEncapsulated));
    EXPECT_EQ(fragments.size(), 1u + (dataOf(fragments).size() + 16351) / 16352);
    EXPECT_EQ(fragments.back().control, 2);
    EXPECT_EQ(message.count(), 4);

    CaptureLog log;
    const char* const reporter = "DcPduDataTf::writeDataFileName";
    writeWhole(path, "no file of this kind");
    EXPECT_EQ(shape(message.send(DIR_NOT_PART10)), "") << "not even the command";
    ASSERT_EQ(dirWriteFile(path.c_str(), meta, list), RESULT_OK);
    unsigned int end = 0;
    ASSERT_EQ(dirReadFileMetaInfo(path.c_str(), meta, end), RESULT_OK);
    std::filesystem::resize_file(path, end);
    EXPECT_EQ(shape(message.send(DATATF_READ)), "");
    EXPECT_TRUE(log.has(LOG_ERROR, reporter, "no data set in file " + path));
    EXPECT_TRUE(log.has(LOG_ERROR, reporter, "failed to read file meta info for " + path));

    // One beyond 4 GByte, of which the peer wants no more than the beginning: that is not all.
    if (!keepsHoles(dir / "holes")) return;
    std::filesystem::resize_file(path, end + (1ull << 32) + 2);
    DataMessage large(kEncapsulated);
    large.add(new DcElem(T_0006_0007_fileReference, path.c_str()));
    SocketPair sockets;
    large.setSockConv(sockets.ours());
    Bytes begun;
    std::thread peer([&] {
        EXPECT_TRUE(orvkit::platform::waitReadable(sockets.peer(), 10000));
        begun = sockets.arrived();
        sockets.closePeer();
    });
    EXPECT_EQ(large.write(), DATATF_SOCKET);
    peer.join();
    EXPECT_EQ(begun.at(11), 0);
}

int readRest(DcPduDataTf& message, const Bytes& bytes, int dumpFd = -1) {
    return readFrom(message, bytes, dumpFd);
}

// Length and last byte of each buffer.
using Buffers = std::vector<std::pair<unsigned int, int>>;
Buffers heldBy(const DcPduDataTf& message) {
    Buffers all;
    for (const DcBuf* b = message.firstBuf(); b != nullptr; b = b->next())
        all.emplace_back(b->getLen(), static_cast<const unsigned char*>(b->getBuf())[b->getLen() - 1]);
    return all;
}

TEST(DataTf, EveryValueBecomesABuffer) {
    TempDir dir;
    orvkit::platform::FileHandle dump = orvkit::platform::createWrite((dir / "dump").c_str());
    DataMessage message;
    const Bytes bytes = pdu(4, joined({pdv(1, 3, {1, 2, 3}), pdv(9, 0, {}), pdv(7, 2, {4, 5})}));
    EXPECT_EQ(readRest(message, bytes, dump.get()), RESULT_OK);
    EXPECT_EQ(heldBy(message), (Buffers{{3, 3}, {2, 5}}));
    DcPduInfoTf info;
    EXPECT_EQ(message.getInfo(info), RESULT_OK);
    EXPECT_EQ(info.presCtxId * 10 + info.msgCtrl, 72);
    EXPECT_EQ(readWhole(dir / "dump"), "\1\2\3\4\5");
    EXPECT_EQ(readRest(message, pdu(4, {})), RESULT_OK) << "no value at all";
    EXPECT_EQ(orvkit::PduAccess::buffers(message)->count(), 2);

    // Small values share buffers from the 65th on; at the borders of each limit. Each value is full of its
    // number.
    const struct {
        std::vector<std::size_t> values;
        std::vector<unsigned int> lengths;  // of the buffers behind the first 64
    } cases[] = {{{}, {}},
                 {{2}, {2}},
                 {{2, 3}, {5}},
                 {{4096, 4096}, {8192}},
                 {{2, 4097, 3}, {2, 4097, 3}},
                 {std::vector<std::size_t>(16, 4096), {65536}},
                 {std::vector<std::size_t>(17, 4096), {65536, 4096}}};
    for (const auto& c : cases) {
        Bytes body;
        for (int i = 0; i < 64; ++i) append(body, pdv(1, 0, {1}));
        unsigned char n = 0;
        for (const std::size_t size : c.values) append(body, pdv(1, 0, Bytes(size, ++n)));
        DataMessage sharing;
        EXPECT_EQ(readRest(sharing, pdu(4, body)), RESULT_OK);
        const Buffers held = heldBy(sharing);
        ASSERT_EQ(held.size(), 64 + c.lengths.size());
        for (std::size_t i = 0; i < held.size(); ++i)
            EXPECT_EQ(held[i].first, i < 64 ? 1 : c.lengths[i - 64]);
        EXPECT_EQ(held.back().second, c.values.empty() ? 1 : n);
    }
    // A PDU that breaks off: every whole value stays, also of those that share a buffer.
    Bytes many;
    for (int i = 0; i < 71; ++i) append(many, pdv(1, 0, Bytes(4, 'v')));
    Bytes cut = pdu(4, many);
    cut.resize(cut.size() - 2);
    DataMessage broken;
    EXPECT_EQ(readRest(broken, cut), DATATF_READ);
    unsigned int length = 0;
    for (const auto& [size, last] : heldBy(broken)) length += size;
    EXPECT_EQ(length, 280u);
}

TEST(DataTf, MalformedValuesAreRefusedByName) {
    Bytes small = pdv(1, 2, {1, 2});
    small[3] = 1;
    const std::pair<Bytes, const char*> cases[] = {
        {{0, 0, 0, 5, 1, 2, 9, 9}, "pdv length 0x5 (5) exceeds pdu length 0x8 (8)"},
        {{0xFF, 0xFF, 0xFF, 0xFF, 1, 2}, "pdv length 0xffffffff (-1) exceeds pdu length 0x6 (6)"},
        {small, "Unable to allocate 0xffffffff (-1) bytes of memory"},
        {joined({pdv(1, 0, {1}), Bytes(5)}), "pdv length 0x6 (6) exceeds pdu length 0xc (12)"}};
    for (const auto& [body, text] : cases) {
        CaptureLog log;
        DcPduDataTf message;
        EXPECT_EQ(readRest(message, pdu(4, body)), DATATF_READ);
        log.expect(LOG_ERROR, "DcPduDataTf::read", text);
    }
}

}  // namespace
