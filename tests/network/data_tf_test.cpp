#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <numeric>

#include "foundation/bytes.h"
#include "media/allocation_meter.h"
#include "network/pdu_access.h"
#include "network/pdus.h"
#include "orvkit/datatf.h"
#include "orvkit/file.h"
#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/temp_dir.h"

namespace {

constexpr DICT_UID kEncapsulated = UID_JPEG_BASELINE;
const Bytes kDelimiter{0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};

// One PDU as the peer sees it.
struct Fragment {
    int context;
    int control;
    Bytes data;
};

// What was sent, with every length checked.
std::vector<Fragment> fragmentsOf(const Bytes& bytes) {
    std::vector<Fragment> all;
    for (std::size_t at = 0; at < bytes.size();) {
        if (bytes.size() - at < 12) {
            ADD_FAILURE() << "a PDU of " << bytes.size() - at << " bytes";
            break;
        }
        const auto big = [&](std::size_t where) {
            return orvkit::loadAt<std::uint32_t>(&bytes[at + where], orvkit::ByteOrder::big);
        };
        const std::size_t length = big(6) - 2;
        EXPECT_EQ(bytes[at], 4);
        EXPECT_EQ(bytes[at + 1], 0);
        EXPECT_EQ(big(2), length + 6);
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at + 12);
        all.push_back(
            {bytes[at + 10], bytes[at + 11], Bytes(begin, begin + static_cast<std::ptrdiff_t>(length))});
        at += 12 + length;
    }
    return all;
}

// "3:24 0:100 2:7", control and size of each.
std::string shape(const std::vector<Fragment>& fragments) {
    std::string text;
    for (const Fragment& f : fragments) {
        text += (text.empty() ? "" : " ") + std::to_string(f.control) + ":" + std::to_string(f.data.size());
    }
    return text;
}

Bytes dataOf(const std::vector<Fragment>& fragments, int commandBit = 0) {
    Bytes all;
    for (const Fragment& f : fragments) {
        if ((f.control & 1) == commandBit) append(all, f.data);
    }
    return all;
}

// A message that can be told to fail its check.
class Message : public DcPduDataTf {
  public:
    explicit Message(DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT, unsigned int maxPduLen = 16384) {
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
    std::vector<Fragment> send(int expected = RESULT_OK) {
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
    struct Case {
        unsigned int maximum, size;
        const char* shape;
    };
    for (const Case& c : {Case{16384, 40000, "0:16352 0:16352 2:7296"}, Case{16384, 32704, "0:16352 2:16352"},
                          Case{33, 14, "0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 0:1 2:1"},
                          Case{31, 40000, "2:40000"}, Case{0xFFFFFFFF, 40000, "2:40000"}}) {
        Message message(UID_LITTLE_ENDIAN_EXPLICIT, c.maximum);
        message.addBytes(kTagBytes, c.size);
        const Bytes expected = frame(message, UID_LITTLE_ENDIAN_EXPLICIT);
        const auto fragments = message.send();
        EXPECT_EQ(shape(fragments), c.shape);
        EXPECT_EQ(dataOf(fragments), expected);
        EXPECT_EQ(fragments[0].context, 5);
    }
}

TEST(DataTf, CommandSaysWhetherDataFollows) {
    Message message(UID_BIG_ENDIAN_EXPLICIT, 64);
    message.addCommand();
    message.add(new DcElem(T_0000_0800_dataSetType, static_cast<unsigned short>(7)));
    for (int i = 0; i < 2; ++i) {  // as it is after a first time
        const auto alone = message.send();
        EXPECT_EQ(shape(alone), "3:20");
        EXPECT_EQ(alone.at(0).data, (Bytes{0, 0, 0, 1, 2, 0, 0, 0, 1, 0, 0, 0, 0, 8, 2, 0, 0, 0, 1, 1}));
    }
    message.add(new DcElem(T_0010_0010_patientsName, "A^B"));
    for (int i = 0; i < 2; ++i) {
        const auto both = message.send();
        EXPECT_EQ(shape(both), "3:20 2:12");
        EXPECT_EQ(dataOf(both, 1), (Bytes{0, 0, 0, 1, 2, 0, 0, 0, 1, 0, 0, 0, 0, 8, 2, 0, 0, 0, 2, 1}));
        EXPECT_EQ(dataOf(both), (Bytes{0, 0x10, 0, 0x10, 'P', 'N', 0, 4, 'A', '^', 'B', ' '}));
    }
    EXPECT_EQ(message.count(), 3);
    // Never cut, whatever the maximum.
    message.add(new DcElem(T_0000_0902_errorComment, std::string(64, 'x').c_str()));
    EXPECT_GT(message.send().at(0).data.size(), 64u);
}

TEST(DataTf, WhatMustNotGoOutIsRefusedBeforeTheFirstByte) {
    CaptureLog log;
    Message message(UID_LITTLE_ENDIAN_EXPLICIT, 32);
    EXPECT_TRUE(message.send(DATATF_READ).empty());
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduDataTf::write", "Empty Element List"));
    message.addCommand();
    message.verdict = 4711;
    EXPECT_TRUE(message.send(4711).empty());
    EXPECT_FALSE(orvkit::PduAccess::sent(message));
    EXPECT_EQ(message.count(), 2);
    message.verdict = RESULT_OK;
    EXPECT_EQ(shape(message.send()), "3:20") << "a command needs no room for fragments";
    EXPECT_TRUE(orvkit::PduAccess::sent(message));
    message.addBytes(kTagBytes, 100);
    EXPECT_EQ(log.take(), LogLines{});
    EXPECT_TRUE(message.send(DATATF_READ).empty());
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduDataTf::write", "Invalid Maximum PDU Length 32"));
    EXPECT_EQ(message.count(), 3);

    const char* const verify = "DcPduDataTf::verifyInfo";
    DcPduDataTf fresh;
    fresh.add(new DcElem(T_0010_0010_patientsName, "A"));
    EXPECT_EQ(fresh.write(), DATATF_READ);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, verify, "Invalid Transfer Syntax "));
    DcPduInfoTf info{1, 0, UID_CT_IMAGE_STORAGE, 16384};
    EXPECT_EQ(fresh.setInfo(info), DATATF_READ);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, verify, "Invalid Transfer Syntax CT Image Storage"));
    info = {1, 4, UID_LITTLE_ENDIAN_IMPLICIT, 16384};
    EXPECT_EQ(fresh.setInfo(info), DATATF_READ);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, verify, "Invalid message control bit 0x4"));
    info = {1, 3, UID_LITTLE_ENDIAN_IMPLICIT, 0};
    EXPECT_EQ(fresh.setInfo(info), DATATF_READ);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, verify, "Invalid Maximum PDU Length 0"));
}

class PixelsOnDisk : public testing::Test {
  protected:
    PixelsOnDisk() {
        bytes_.resize(3 + 100000);
        std::iota(bytes_.begin(), bytes_.end(), '\0');
        writeWhole(path_, bytes_);
    }
    Bytes pixels(unsigned int length) const { return bytesOf(bytes_.substr(3, length)); }

    TempDir dir_;
    const std::string path_ = dir_ / "pixels";
    std::string bytes_;
};

TEST_F(PixelsOnDisk, NativePixelsFollowTheirHeader) {
    Message message;
    message.addBytes(kTagBytes, 20);
    addPixels(message, path_.c_str(), 3, 40000);
    const auto fragments = message.send();
    EXPECT_EQ(shape(fragments), "0:32 0:16352 0:16352 2:7296");
    EXPECT_EQ(dataOf(fragments), joined({frame(message, UID_LITTLE_ENDIAN_EXPLICIT), pixels(40000)}));

    message.addBytes(kTagTrailing, 20);
    const auto trailed = message.send();
    EXPECT_EQ(shape(trailed), "0:32 0:16352 0:16352 0:7296 2:20");
    EXPECT_EQ(message.count(), 3);
    EXPECT_EQ(dataOf(message.send()), dataOf(trailed)) << "once more";
}

TEST_F(PixelsOnDisk, EncapsulatedPixelsEndWithADelimiter) {
    Message message(kEncapsulated);
    addPixels(message, path_.c_str(), 3, 100, kEncapsulated);
    const auto fragments = message.send();
    EXPECT_EQ(shape(fragments), "0:12 0:100 2:8");
    EXPECT_EQ(fragments.at(0).data, (Bytes{0xE0, 0x7F, 0x10, 0, 'O', 'B', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(fragments.at(1).data, pixels(100));
    EXPECT_EQ(fragments.at(2).data, kDelimiter);
    message.addBytes(kTagTrailing, 20);
    EXPECT_EQ(shape(message.send()), "0:12 0:100 0:8 2:20");
}

TEST_F(PixelsOnDisk, HandlesAreReadWhereverTheyStand) {
    const int handle = ::open(path_.c_str(), O_RDONLY);
    ASSERT_GE(handle, 0);
    ::lseek(handle, 77, SEEK_SET);
    Message message;
    auto* e = new DcElem(T_7fe0_0010_pixelData, nullptr, 0u, UID_NONE, VR_OX, 0);
    EXPECT_EQ(e->addValue(handle, 3, 50, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    EXPECT_EQ(e->addValue(handle, 53, 50, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    message.add(e);
    const auto fragments = message.send();
    EXPECT_EQ(shape(fragments), "0:12 0:50 2:50");
    EXPECT_EQ(dataOf(fragments), joined({frame(message, UID_LITTLE_ENDIAN_EXPLICIT), pixels(100)}));
    EXPECT_EQ(::lseek(handle, 0, SEEK_CUR), 77);
    ::close(handle);
}

TEST_F(PixelsOnDisk, WordsTakeTheByteOrderOfTheStream) {
    // An odd fragment size: words stand across fragments and across the blocks that are read at once.
    for (const unsigned int maximum : {16385u, 400001u}) {
        Message message(UID_BIG_ENDIAN_EXPLICIT, maximum);
        message.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
        addPixels(message, path_.c_str(), 3, 100000);
        Bytes swapped = pixels(100000);
        for (std::size_t i = 0; i < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
        EXPECT_EQ(dataOf(message.send()), joined({frame(message, UID_BIG_ENDIAN_EXPLICIT), swapped}));
    }
    Message odd(UID_BIG_ENDIAN_EXPLICIT, 33);
    odd.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    addPixels(odd, path_.c_str(), 3, 100);
    Bytes swapped = pixels(100);
    for (std::size_t i = 0; i < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    EXPECT_EQ(dataOf(odd.send()), joined({frame(odd, UID_BIG_ENDIAN_EXPLICIT), swapped}));
}

TEST_F(PixelsOnDisk, NothingToFollowEndsTheMessageAtOnce) {
    Message message;
    message.addBytes(kTagBytes, 20);
    addPixels(message, path_.c_str(), 0, 0);
    EXPECT_EQ(shape(message.send()), "2:32");
}

TEST_F(PixelsOnDisk, FailuresAreToldAndLeaveTheListWhole) {
    CaptureLog log;
    Message message;
    message.addCommand();
    message.addBytes(kTagTrailing, 20);
    const std::string none = dir_ / "none";
    writeWhole(none, "");
    const auto with = [&](const char* path, int offset, unsigned int length, const char* sent,
                          const char* reporter, const std::string& text) {
        addPixels(message, path, offset, length);
        if (path == none) std::filesystem::remove(none);
        log.clear();
        EXPECT_EQ(shape(message.send(DATATF_READ)), sent);
        EXPECT_TRUE(log.tookOnly(LOG_ERROR, reporter, text)) << text;
        EXPECT_EQ(message.count(), 4);
    };
    with(none.c_str(), 0, 10, "3:20 0:12", "DcPduDataTf::writeData", "error opening pixel data file " + none);
    with(path_.c_str(), 0, 100004, "3:20 0:12 0:16352 0:16352 0:16352 0:16352 0:16352 0:16352",
         "DcPduDataTf::writeDataDisk", "error reading disk buffer, block #6, block length 16352");
    with(path_.c_str(), -16, 10, "3:20 0:12", "DcPduDataTf::writeDataDisk",
         "seek error, offset 0xfffffff0 (-16)");

    Message other;
    auto* e = new DcElem(kTagBytes, nullptr, 0u, UID_NONE, VR_OB, 0);
    e->addValue(path_.c_str(), 0, 10, UID_LITTLE_ENDIAN_EXPLICIT);
    other.add(e);
    EXPECT_TRUE(other.send(DATATF_READ).empty());
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduDataTf::writeData",
                             "Element (0011,1010) - only Pixel Data can be sent from disk"));
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

    Message message(kEncapsulated);
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
    EXPECT_EQ(shape(message.send(DIR_NOT_PART10)), "3:20");
    EXPECT_TRUE(log.has(LOG_ERROR, reporter, "failed to read file meta info for " + path));
    message.add(new DcElem(T_0006_0007_fileReference, nullptr, 0u, UID_NONE, VR_ST, 0));
    log.clear();
    EXPECT_EQ(shape(message.send(ELEM_EMPTY_VALUE)), "3:20");
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, reporter, "failed to get filename"));
}

TEST(DataTf, PeerThatIsGoneIsToldAndTheListStays) {
    CaptureLog log;
    Message message;
    message.addCommand();
    message.addBytes(kTagBytes, 100);
    SocketPair sockets;
    sockets.closePeer();
    message.setSockConv(sockets.ours());
    EXPECT_EQ(message.write(), DATATF_SOCKET);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduDataTf::writeBuf", "Buffer size - 0x20, sent - 0x0"));
    EXPECT_EQ(message.count(), 3);
    EXPECT_EQ(shape(message.send()), "3:20 2:100");
}

// ---- reading
// ------------------------------------------------------------------------------------------------

// The rest of a PDU, behind its type.
int readRest(DcPduDataTf& message, const Bytes& bytes, int dumpFd = -1) {
    SocketPair sockets(bytes);
    message.setSockConv(sockets.ours());
    PDU_TYPE type;
    const int result = message.readType(type, PDU_BLOCK_POLL);
    return result != RESULT_OK ? result : message.read(dumpFd, PDU_BLOCK_POLL);
}

TEST(DataTf, EveryValueBecomesABuffer) {
    TempDir dir;
    const int dump = ::open((dir / "dump").c_str(), O_CREAT | O_RDWR, 0600);
    Message message;
    EXPECT_EQ(message.firstBuf(), nullptr);
    const Bytes bytes = pdu(4, joined({pdv(1, 3, {1, 2, 3}), pdv(9, 0, {}), pdv(7, 2, {4, 5})}));
    EXPECT_EQ(readRest(message, bytes, dump), RESULT_OK);
    ASSERT_NE(message.firstBuf(), nullptr);
    EXPECT_EQ(message.firstBuf()->next(), message.lastBuf());
    EXPECT_EQ(message.firstBuf()->getLen(), 3u);
    EXPECT_EQ(static_cast<unsigned char*>(message.lastBuf()->getBuf())[1], 5);
    DcPduInfoTf info;
    EXPECT_EQ(message.getInfo(info), RESULT_OK);
    EXPECT_EQ(info.presCtxId * 10 + info.msgCtrl, 72);
    EXPECT_EQ(readWhole(dir / "dump"), "\1\2\3\4\5");
    EXPECT_EQ(readRest(message, pdu(4, {})), RESULT_OK) << "no value at all";
    EXPECT_EQ(orvkit::PduAccess::buffers(message)->count(), 2);
    ::close(dump);

    // What cannot be written down is not silently lost.
    CaptureLog log;
    const int full = ::open("/dev/full", O_WRONLY);
    if (full < 0) return;
    EXPECT_EQ(readRest(message, bytes, full), DATATF_READ);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduDataTf::read",
                             "Error writing 0x3 (3) received bytes, disk may be full"));
    ::close(full);
}

TEST(DataTf, LargeValuesArriveWhole) {
    Bytes data(5000001);
    std::iota(data.begin(), data.end(), static_cast<unsigned char>(0));
    const Bytes bytes = pdu(4, pdv(1, 2, data));
    SocketPair sockets;
    DcPduDataTf message(sockets.ours());
    std::thread peer([&] { sockets.send(bytes); });
    PDU_TYPE type;
    EXPECT_EQ(message.readType(type, PDU_BLOCK_WAIT), RESULT_OK);
    EXPECT_EQ(message.read(-1, PDU_BLOCK_WAIT), RESULT_OK);
    peer.join();
    ASSERT_EQ(message.firstBuf()->getLen(), data.size());
    EXPECT_EQ(std::memcmp(message.firstBuf()->getBuf(), data.data(), data.size()), 0);
}

TEST(DataTf, MalformedValuesAreRefusedByName) {
    struct Case {
        Bytes bytes;
        const char* text;
    };
    Bytes small = pdv(1, 2, {1, 2});
    small[3] = 1;
    Bytes tail = pdu(4, joined({pdv(1, 0, {1}), Bytes(5)}));
    for (const Case& c :
         {Case{pdu(4, {0, 0, 0, 5, 1, 2, 9, 9}), "pdv length 0x5 (5) exceeds pdu length 0x8 (8)"},
          Case{pdu(4, {0xFF, 0xFF, 0xFF, 0xFF, 1, 2}),
               "pdv length 0xffffffff (-1) exceeds pdu length 0x6 (6)"},
          Case{pdu(4, small), "Unable to allocate 0xffffffff (-1) bytes of memory"},
          Case{tail, "pdv length 0x6 (6) exceeds pdu length 0xc (12)"}}) {
        CaptureLog log;
        DcPduDataTf message;
        EXPECT_EQ(readRest(message, c.bytes), DATATF_READ);
        EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcPduDataTf::read", c.text)) << c.text;
    }
}

TEST(DataTf, ReadingSurvivesEveryTruncation) {
    CaptureLog log;
    const Bytes whole = pdu(4, joined({pdv(1, 3, {1, 2, 3}), pdv(7, 2, {4, 5})}));
    for (std::size_t n = 2; n < whole.size(); ++n) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n));
        DcPduDataTf early;
        EXPECT_EQ(readRest(early, cut), DATATF_READ) << n;
        if (n < 6) continue;
        DcPduDataTf shorter;
        const bool between = n == 6 || n == 15;
        EXPECT_EQ(readRest(shorter, pdu(4, Bytes(cut.begin() + 6, cut.end()))),
                  between ? RESULT_OK : DATATF_READ)
            << n;
    }
}

TEST(DataTf, AnnouncedLengthCostsNoMemory) {
    CaptureLog log;
    Bytes bytes{4, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xF0, 1, 0};
    bytes.resize(60000);
    AllocationMeter meter;
    DcPduDataTf message;
    EXPECT_EQ(readRest(message, bytes), DATATF_READ);
    EXPECT_EQ(log.take(), LogLines{});
    EXPECT_LT(meter.peak(), 1200000u);
}

}  // namespace
