// Construction, storage, raw buffers and sizes of elements.

#include "platform/file.h"
#include "support/dataset.h"
#include "support/system.h"

namespace {

std::string textAt(DcElem& e, int index) {
    char buffer[128];
    e.resetValueCounter();
    return e.getValue(buffer, 127, index) == RESULT_OK ? buffer : "<none>";
}

}  // namespace

TEST(Elem, GroupsDecideAboutVrAndSyntax) {
    const CaptureLog quiet;
    const DcElem length(0x00080000u, nullptr, 0u, UID_NONE, VR_LO, 0);
    EXPECT_TRUE(length.getVr() == VR_UL && length.getVm() == 1);
    char v[] = "12";
    EXPECT_EQ(DcElem(0x00000002u, v, 2u, kBig, VR_UI, 0).getXferSyn(), kImplicit);
    EXPECT_EQ(DcElem(0x00020010u, v, 2u, kBig, VR_UI, 0).getXferSyn(), kExplicit);
    const DcElem unknown(0x00091077u, nullptr, 0u, UID_NONE, VR_IM, 0);
    EXPECT_TRUE(unknown.getVr() == VR_UNKNOWN && unknown.getVm() == 1);
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
}

TEST(Elem, DiskBuffersBelongToPixelData) {
    CaptureLog log;
    DcBuf file(nullDevice, 0, 10, kExplicit);
    DcElem lut(0x00281201u, &file), name(0x00100010u, &file);
    EXPECT_EQ(log.take().size(), 2u);
    EXPECT_EQ(lut.addValue(nullDevice, 0, 10u, kExplicit), RESULT_OK);
    EXPECT_EQ(lut.addValue("/no/such/file", 0, 10u, kExplicit), ELEM_VALUE_REFUSED);
    log.expect(LOG_VALIDATION, "DcElem::addValue",
               "Element (0028,1201), unable to open file /no/such/file in rb mode");
    DcElem pixels(0x7FE00010u, &file);
    EXPECT_EQ(pixels.getValueCount(), 1);
    EXPECT_EQ(file.getType(), BUF_NONE);
    EXPECT_EQ(pixels.getXferSyn(), kExplicit);
}

TEST(Elem, HandlesAreDuplicatedAndClosedWithTheElement) {
    orvkit::platform::FileHandle file = orvkit::platform::openRead(nullDevice);
    const int handle = file.get();
    const int probe = orvkit::platform::duplicate(handle).get();  // the lowest that is free
    orvkit::platform::FileInfo info;
    {
        const DcElem pixels(0x7FE00010u, handle, 0, 10u, kExplicit);
        EXPECT_TRUE(orvkit::platform::examine(probe, info));
    }
    EXPECT_FALSE(orvkit::platform::examine(probe, info));
    file.reset();
    CaptureLog log;
    DcElem pixels(0x7FE00010u, handle, 0, 10u, kExplicit);
    EXPECT_EQ(log.lines().at(0).text,
              "Invalid file handle '" + std::to_string(handle) + "' provided for duplication");
}

// Those of the longest values behind the largest header, and more only where frame needs it. That they are
// enough for every element is a matter of the fuzz target.
TEST(Elem, SizesAreThoseOfTheLongestValues) {
    const struct {
        DICT_VR vr;
        const char* value;
        unsigned int size;
    } cases[] = {{VR_LO, "AB\\C", 18},
                 {VR_IS, "1\\22", 18},
                 {VR_US, "1\\2", 16},
                 {VR_FD, "1", 20},
                 {VR_TM, "10", 46},
                 {VR_UT, "abc", 15},
                 {VR_AS, "045Y\\045Y\\045Y\\045Y\\045Y\\045Y", 8 + 30}};
    unsigned int size = 0;
    for (const auto& c : cases) {
        const auto e = elemOf(c.vr);
        ASSERT_EQ(e->addValue(c.value, ELEM_INDEX_APPEND), RESULT_OK) << c.value;
        EXPECT_EQ(e->getBufSize(size, nullptr), RESULT_OK);
        EXPECT_EQ(size, c.size) << Dict.vrName(c.vr) << ' ' << c.value;
        std::vector<unsigned char> room(size);
        unsigned int used = 0;
        EXPECT_EQ(e->frame(room.data(), used, kExplicit), RESULT_OK);
        EXPECT_LE(used, size);
    }
    DcElem tag(0x00000901u, 7);
    tag.getBufSize(size, nullptr);
    EXPECT_EQ(size, 12u + 12u);
    const auto accepting = elemOf(VR_TM);
    accepting->registerValueExceptionCB(nullptr,
                                        [](void*, unsigned int, DICT_VR, char*, char**) { return 0; });
    EXPECT_EQ(accepting->addValue(std::string(101, '1').c_str(), ELEM_INDEX_APPEND), RESULT_OK);
    accepting->getBufSize(size, nullptr);
    EXPECT_EQ(size, 8u + 102u);
    // A delimiter has its room where it may be written.
    for (const DICT_UID own : {kImplicit, kExplicit, kBig, UID_JPEG_BASELINE}) {
        const std::unique_ptr<DcElem> pixels(raw(0x7FE00010, VR_OB, "abcd", own));
        EXPECT_EQ(pixels->getBufSize(size, nullptr), RESULT_OK);
        EXPECT_EQ(size, own == kExplicit ? 12u + 4u : 12u + 4u + 8u);
    }
}
