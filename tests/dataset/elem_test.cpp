// Construction, storage, raw buffers and sizes of elements.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>

#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/elem_values.h"

namespace {

std::string textAt(DcElem& e, int index) {
    char buffer[128];
    e.resetValueCounter();
    return e.getValue(buffer, 127, index) == RESULT_OK ? buffer : "<none>";
}

}  // namespace

TEST(Elem, GroupsDecideAboutVrAndSyntax) {
    DcElem length(0x00080000u, nullptr, 0u, UID_NONE, VR_LO, 0);
    EXPECT_EQ(length.getVr(), VR_UL);
    EXPECT_EQ(length.getVm(), 1);
    unsigned int value = 7;
    EXPECT_EQ(length.getValue(value, 0), RESULT_OK);
    EXPECT_EQ(value, 0u);
    char v[] = "12";
    EXPECT_EQ(DcElem(0x00000002u, v, 2u, kBig, VR_UI, 0).getXferSyn(), kImplicit);
    EXPECT_EQ(DcElem(0x00020010u, v, 2u, kBig, VR_UI, 0).getXferSyn(), kExplicit);
    EXPECT_EQ(DcElem(0x00041500u, v, 2u, kBig, VR_CS, 0).getXferSyn(), kExplicit);
    CaptureLog log;
    DcElem sq(0x00081140u, nullptr, 0u, UID_NONE, VR_IM, 0);
    log.expect(LOG_VALIDATION, "DcElem::initialize",
               "SQ Element (0008,1140) must be constructed with DcElemSq");
    EXPECT_EQ(sq.getValueCount(), 0);
    DcElem unknown(0x00091077u, nullptr, 0u, UID_NONE, VR_IM, 0);
    EXPECT_EQ(unknown.getVr(), VR_UNKNOWN);
    EXPECT_EQ(unknown.getVm(), 1);
    EXPECT_EQ(unknown.addValue("ab", 2u, kExplicit), RESULT_OK);
    EXPECT_EQ(unknown.getValueCount(), 1);
}

// An entry of VR IM leaves the VR to the tag of the moment; values of another kind are none under it.
TEST(Elem, ValuesMeanNothingUnderATagOfAnotherKind) {
    const CaptureLog quiet;
    constexpr unsigned int texts = 0x00080008;    // CS, 1-n
    constexpr unsigned int numbers = 0x00280009;  // AT, 1-n
    ASSERT_EQ(Dict.add(0x00091010, VR_IM, 0, nullptr, nullptr), 0);
    DcElem e(0x00091010u, nullptr, 0u, UID_NONE, VR_IM, 0);
    ASSERT_EQ(e.getVr(), VR_IM);
    e.setTag(numbers);
    for (unsigned int i = 0; i < 6; ++i) EXPECT_EQ(e.addValue(0x41414141u), RESULT_OK);
    e.setTag(texts);
    EXPECT_EQ(e.getValueCount(), 0);
    EXPECT_EQ(textAt(e, 3), "<none>");
    unsigned char out[256];
    unsigned int used = 0;
    EXPECT_EQ(e.frame(out, used, kExplicit), ELEM_EMPTY_VALUE);
    e.deleteAllValues();
    EXPECT_EQ(e.addValue("A\\BCD\\E"), RESULT_OK);
    EXPECT_EQ(textAt(e, 1), "BCD");
    e.setTag(numbers);
    EXPECT_NE(e.getValue(used, 0), RESULT_OK);
    EXPECT_NE(e.changeValue(7u, 0), RESULT_OK);
    e.setTag(texts);
    e.pushTag(numbers);  // the VR stays that of the tag before
    EXPECT_EQ(textAt(e, 1), "BCD");
    Dict.reset();
}

TEST(Elem, FullElementKeepsItsNewestValues) {
    for (const int level : {-1, 0}) {
        const ExceptionLevel guard(level);
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
    log.expect(LOG_VALIDATION, "DcElem::addValueFmtBuf", "Invalid index value");
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
        EXPECT_EQ(e->addValue("one", 3u, kExplicit), RESULT_OK);
        EXPECT_EQ(e->addValue("three", 5u, kExplicit), RESULT_OK);
        EXPECT_EQ(e->getValueCount(), 1);
    }
    EXPECT_EQ(orvkit::ElemAccess::rawLength(ob), 8u);
    EXPECT_EQ(orvkit::ElemAccess::rawLength(un), 5u);
    EXPECT_EQ(ob.addValue("x", 0u, kExplicit), ELEM_VALUE_REFUSED);
    EXPECT_EQ(ob.addValue("x", 1u, UID_VERIFICATION), ELEM_XFER_SYNTAX);
    EXPECT_EQ(orvkit::ElemAccess::rawLength(ob), 8u);
}

TEST(Elem, DiskBuffersBelongToPixelData) {
    CaptureLog log;
    DcBuf file("/dev/null", 0, 10, kExplicit);
    DcElem lut(0x00281201u, &file);
    log.expect(LOG_VALIDATION, "DcElem::addValue",
               "Only Pixel Data (7fe0,0010) accepts disk based raw buffers");
    EXPECT_EQ(lut.addValue("/dev/null", 0, 10u, kExplicit), RESULT_OK);
    EXPECT_EQ(lut.addValue("/no/such/file", 0, 10u, kExplicit), ELEM_VALUE_REFUSED);
    log.expect(LOG_VALIDATION, "DcElem::addValue",
               "Element (0028,1201), unable to open file /no/such/file in rb mode");
    DcElem name(0x00100010u, &file);
    log.expect(LOG_VALIDATION, "DcElem::addValue", "Element (0010,0010) VR=PN, does not accept raw buffers");
    DcElem pixels(0x7FE00010u, &file);
    EXPECT_EQ(pixels.getValueCount(), 1);
    EXPECT_EQ(file.getType(), BUF_NONE);
    EXPECT_EQ(pixels.getXferSyn(), kExplicit);
}

TEST(Elem, HandlesAreDuplicatedAndClosedWithTheElement) {
    const int handle = open("/dev/null", O_RDONLY);
    const int probe = dup(handle);
    close(probe);
    {
        DcElem pixels(0x7FE00010u, handle, 0, 10u, kExplicit);
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
    DcElem pixels(0x7FE00010u, handle, 0, 10u, kExplicit);
    EXPECT_EQ(log.lines().at(0).text,
              "Invalid file handle '" + std::to_string(handle) + "' provided for duplication");
}

TEST(Elem, SizeEstimateCoversEveryFramedElement) {
    const ExceptionLevel guard(0);
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
        for (const DICT_UID xferSyn : kSyntaxes) {
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
    const std::unique_ptr<DcElem> pixels(raw(0x7FE00010, VR_OX, "abcd"));
    (void)pixels->getBufSize(size, nullptr);
    EXPECT_EQ(size, 4u + 8u + 12u);
    DcBuf nothing(nullptr, 0, UID_JPEG_BASELINE);
    DcElem none(0x7FE00010u, &nothing);
    (void)none.getBufSize(size, nullptr);
    unsigned char out[64];
    unsigned int used = 0;
    ASSERT_EQ(none.frame(out, used, UID_JPEG_BASELINE), RESULT_OK);
    EXPECT_EQ(used, size);
}
