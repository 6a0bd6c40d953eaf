// Construction, storage, raw buffers and sizes of elements.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "dataset/elem_access.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"
#include "orvkit/util.h"
#include "support/capture_log.h"

namespace {

std::string textAt(DcElem& e, int index) {
    char buffer[128];
    e.resetValueCounter();
    return e.getValue(buffer, 127, index) == RESULT_OK ? buffer : "<none>";
}

DcBuf* memory(const char* text, DICT_UID xferSyn = UID_NONE) {
    const auto length = static_cast<unsigned int>(std::strlen(text));
    void* block = utilNew(static_cast<int>(length));
    std::memcpy(block, text, length);
    return new DcBuf(block, length, xferSyn);
}

class Level {
  public:
    explicit Level(int level) { elemListSetValueExceptionLevel(level); }
    ~Level() { elemListSetValueExceptionLevel(-1); }
};

}  // namespace

TEST(Elem, GroupLengthIsAlwaysOneUnsignedLong) {
    DcElem e(0x00080000u, nullptr, 0u, UID_NONE, VR_LO, 0);
    EXPECT_EQ(e.getVr(), VR_UL);
    EXPECT_EQ(e.getVm(), 1);
    unsigned int value = 7;
    EXPECT_EQ(e.getValue(value, 0), RESULT_OK);
    EXPECT_EQ(value, 0u);
}

TEST(Elem, GroupDecidesTransferSyntax) {
    char v[] = "AB";
    EXPECT_EQ(DcElem(0x00000002u, v, 2u, UID_BIG_ENDIAN_EXPLICIT, VR_UI, 0).getXferSyn(),
              UID_LITTLE_ENDIAN_IMPLICIT);
    EXPECT_EQ(DcElem(0x00020010u, v, 2u, UID_BIG_ENDIAN_EXPLICIT, VR_UI, 0).getXferSyn(),
              UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(DcElem(0x00041500u, v, 2u, UID_BIG_ENDIAN_EXPLICIT, VR_CS, 0).getXferSyn(),
              UID_LITTLE_ENDIAN_EXPLICIT);
}

TEST(Elem, UnknownTagTakesRawBuffersOnly) {
    DcElem e(0x00091077u, nullptr, 0u, UID_NONE, VR_IM, 0);
    EXPECT_EQ(e.getVr(), VR_UNKNOWN);
    EXPECT_EQ(e.getVm(), 1);
    EXPECT_EQ(e.addValue("ab", 2u, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    EXPECT_EQ(e.getValueCount(), 1);
}

TEST(Elem, SequenceVrIsRefusedWithoutDcElemSq) {
    CaptureLog log;
    DcElem e(0x00081140u, nullptr, 0u, UID_NONE, VR_IM, 0);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::initialize",
                             "SQ Element (0008,1140) must be constructed with DcElemSq"));
    EXPECT_EQ(e.getValueCount(), 0);
}

TEST(Elem, FullElementKeepsItsNewestValues) {
    for (const int level : {-1, 0}) {
        const Level guard(level);
        DcElem e(0x00181149u, nullptr, 0u, UID_NONE, VR_IM, 0);  // IS, 1-2
        ASSERT_EQ(e.getVm(), -2);
        for (const char* v : {"1", "22", "333", "4"}) EXPECT_EQ(e.addValue(v), RESULT_OK);
        EXPECT_EQ(e.getValueCount(), level == 0 ? 4 : 2);
        EXPECT_EQ(textAt(e, e.getValueCount() - 1), "4");
        EXPECT_EQ(textAt(e, e.getValueCount() - 2), "333");
    }
}

TEST(Elem, ValuesGrowShrinkAndStayApart) {
    DcElem e(0x00080008u, nullptr, 0u, UID_NONE, VR_IM, 0);  // CS, 1-n
    std::vector<std::string> model;
    for (int i = 0; i < 40; ++i) {
        model.push_back(std::string(static_cast<std::size_t>(i % 16), 'A') + "Z");
        ASSERT_EQ(e.addValue(model.back().c_str()), RESULT_OK);
    }
    for (int i = 0; i < 40; i += 3) {
        model[static_cast<std::size_t>(i)] = std::string(static_cast<std::size_t>(15 - i % 15), 'B');
        ASSERT_EQ(e.changeValue(model[static_cast<std::size_t>(i)].c_str(), i), RESULT_OK);
    }
    for (int i = 0; i < 40; ++i) EXPECT_EQ(textAt(e, i), model[static_cast<std::size_t>(i)]) << i;
    CaptureLog log;
    EXPECT_EQ(e.addValue("X", 40), ELEM_INVALID_INDEX);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::addValueFmtBuf", "Invalid index value"));
    EXPECT_EQ(e.addValue("X", -2), ELEM_INVALID_INDEX);
    e.deleteAllValues();
    EXPECT_EQ(e.addValue("X", 0), RESULT_OK);
    EXPECT_EQ(e.getValueCount(), 1);
}

TEST(Elem, DeepCopiesEndInNullAndBelongToTheCaller) {
    DcElem e(0x00080008u, "AB\\C");
    DICT_VR_SIZE size;
    int vrLength = 0;
    EXPECT_EQ(orvkit::ElemAccess::deepCopy(e, size, vrLength, nullptr), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(vrLength, 16);
    void** values = nullptr;
    ASSERT_EQ(orvkit::ElemAccess::deepCopy(e, size, vrLength, &values), RESULT_OK);
    EXPECT_STREQ(static_cast<char*>(values[0]), "AB");
    EXPECT_STREQ(static_cast<char*>(values[1]), "C");
    EXPECT_EQ(values[2], nullptr);
    for (void** v = values; *v != nullptr; ++v) delete[] static_cast<unsigned char*>(*v);
    delete[] values;
}

TEST(Elem, RawPiecesAppendExceptForUnAndUt) {
    DcElem ob(0x00420011u, nullptr, 0u, UID_NONE, VR_OB, 0);
    DcElem un(0x00420011u, nullptr, 0u, UID_NONE, VR_UN, 0);
    for (DcElem* e : {&ob, &un}) {
        EXPECT_EQ(e->addValue("one", 3u, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
        EXPECT_EQ(e->addValue("three", 5u, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
        EXPECT_EQ(e->getValueCount(), 1);
    }
    EXPECT_EQ(orvkit::ElemAccess::rawLength(ob), 8u);
    EXPECT_EQ(orvkit::ElemAccess::rawLength(un), 5u);
    EXPECT_EQ(ob.addValue("x", 0u, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VALUE_REFUSED);
    EXPECT_EQ(ob.addValue("x", 1u, UID_VERIFICATION), ELEM_XFER_SYNTAX);
    EXPECT_EQ(orvkit::ElemAccess::rawLength(ob), 8u);
}

TEST(Elem, DiskBuffersBelongToPixelData) {
    CaptureLog log;
    DcBuf file("/dev/null", 0, 10, UID_LITTLE_ENDIAN_EXPLICIT);
    DcElem lut(0x00281201u, &file);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::addValue",
                             "Only Pixel Data (7fe0,0010) accepts disk based raw buffers"));
    EXPECT_EQ(lut.addValue("/dev/null", 0, 10u, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    EXPECT_EQ(lut.addValue("/no/such/file", 0, 10u, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VALUE_REFUSED);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::addValue",
                             "Element (0028,1201), unable to open file /no/such/file in rb mode"));
    DcElem name(0x00100010u, &file);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::addValue",
                             "Element (0010,0010) VR=PN, does not accept raw buffers"));
    DcElem pixels(0x7FE00010u, &file);
    EXPECT_EQ(pixels.getValueCount(), 1);
    EXPECT_EQ(file.getType(), BUF_NONE);
    EXPECT_EQ(pixels.getXferSyn(), UID_LITTLE_ENDIAN_EXPLICIT);
}

TEST(Elem, HandlesAreDuplicatedAndClosedWithTheElement) {
    const int handle = open("/dev/null", O_RDONLY);
    const int probe = dup(handle);
    close(probe);
    {
        DcElem pixels(0x7FE00010u, handle, 0, 10u, UID_LITTLE_ENDIAN_EXPLICIT);
        EXPECT_EQ(pixels.getValueCount(), 1);
        const int next = dup(handle);
        EXPECT_NE(next, probe);
        close(next);
    }
    const int again = dup(handle);
    EXPECT_EQ(again, probe);
    close(again);
    close(handle);
    CaptureLog log;
    DcElem pixels(0x7FE00010u, handle, 0, 10u, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(log.lines().at(0).text,
              "Invalid file handle '" + std::to_string(handle) + "' provided for duplication");
}

TEST(Elem, SizeEstimateCoversEveryFramedElement) {
    const Level guard(0);
    struct Case {
        unsigned int tag;
        const char* text;
    };
    for (const Case& c : {Case{0x00100010, "Doe^Jane"},
                          {0x00080020, "20240101"},
                          {0x00101010, "045Y"},
                          {0x00080018, "1.2.3"},
                          {0x00080008, "A\\B\\C\\D"},
                          {0x00104000, "text"},
                          {0x00080030, "1030"},
                          {0x00281052, "1.5"},
                          {0x00280010, "512"}}) {
        DcElem e(c.tag, c.text);
        for (int i = 0; i < 30; ++i) (void)e.addValue(c.text);
        for (const DICT_UID xferSyn :
             {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
            unsigned int bound = 0;
            ASSERT_EQ(e.getBufSize(bound, nullptr), RESULT_OK);
            std::vector<unsigned char> out(bound + 1, 0xAA);
            unsigned int used = 0;
            ASSERT_EQ(e.frame(out.data(), used, xferSyn), RESULT_OK);
            EXPECT_LE(used, bound);
            EXPECT_EQ(out[bound], 0xAA);
        }
    }
    unsigned int size = 0;
    DcElem pn(0x00100010u, "A");
    (void)pn.getBufSize(size, nullptr);
    EXPECT_EQ(size, 324u + 12u);
    const std::unique_ptr<DcBuf> buffer(memory("abcd", UID_LITTLE_ENDIAN_EXPLICIT));
    DcElem pixels(0x7FE00010u, buffer.get());
    (void)pixels.getBufSize(size, nullptr);
    EXPECT_EQ(size, 4u + 8u + 12u);
    DcBuf nothing(nullptr, 0, UID_JPEG_BASELINE);
    DcElem none(0x7FE00010u, &nothing);
    (void)none.getBufSize(size, nullptr);
    unsigned char out[64];
    unsigned int used = 0;
    ASSERT_EQ(none.frame(out, used, UID_JPEG_BASELINE), RESULT_OK);
    EXPECT_EQ(used, size);
}
