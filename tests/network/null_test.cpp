// Null pointers, given to operations of all parts of the library: refused, told once, and nothing happens.
#include "network/pair.h"
#include "orvkit/mediamgr.h"
#include "orvkit/scan.h"
#include "orvkit/sequence.h"

namespace {

CaptureLog* told = nullptr;

template <int code, LOG_MSG level = LOG_VALIDATION>
void refused(const char* reporter, int result) {
    EXPECT_EQ(result, code) << reporter;
    told->expect(level, reporter, "Null argument passed");
}

class Null : public testing::Test {
  protected:
    CaptureLog log;
    char* const text = nullptr;
    unsigned char* const bytes = nullptr;
    unsigned int length = 16;
    DcElemList list;
    DcDirMetaInfo meta;

    void SetUp() override { told = &log; }
};

TEST_F(Null, IsRefusedByTheDictionaryAndByDataSets) {
    constexpr auto dict = refused<RESULT_DICT_NULL>;
    DICT_UID uid;
    DICT_UID_TYPE type;
    DICT_VR vr;
    dict("DcDict::getUid", Dict.getUid(UID_VERIFICATION, text));
    dict("DcDict::getUidDef", Dict.getUidDef(text, uid));
    dict("DcDict::getUidType", Dict.getUidType(text, type));
    dict("DcDict::getDesc", Dict.getDesc(UID_VERIFICATION, text));
    dict("DcDict::getDesc", Dict.getDesc(0x00100010u, text));
    dict("DcDict::getVr", Dict.getVr(VR_PN, text));
    dict("DcDict::getVr", Dict.getVr(0x00091001u, text));
    dict("DcDict::getSqTagList", Dict.getSqTagList(0x00081140u, nullptr));
    dict("DcDict::getVrDef", Dict.getVrDef(text, vr));
    dict("DcDict::add", Dict.add(text, "", &uid, UID_TYPE_SOP));
    dict("DcDict::subtract", Dict.subtract(text));
    constexpr auto element = refused<ELEM_NULL_ARGUMENT>;
    constexpr auto framed = refused<ELEM_NULL_ARGUMENT, LOG_NOTICE>;
    const DICT_UID implicit = UID_LITTLE_ENDIAN_IMPLICIT;
    framed("DcElem::getValue", DcElem(0x00100010u, "A").getValue(text, 16));
    framed("DcElemList::frame", list.frame(bytes, length, implicit));
    framed("DcElemSq::frame", DcElemSq(0x00081140u).frame(bytes, length, implicit));
    refused<ITEM_NULL_BUFFER>("DcElemSqItem::frame", DcElemSqItem().frame(bytes, length, implicit));
    refused<ELEM_NULL_ARGUMENT, LOG_ERROR>("DcElemList::getElem",
                                           list.getElem(0x00081140u, static_cast<DcElemSq**>(nullptr)));
    int extra;
    refused<UTIL_LENGTH_FIELD, LOG_NOTICE>("utilGetOxValLen",
                                           utilGetOxValLen(bytes, 8, implicit, length, extra, 0));
    element("DcElemList::moveElem", list.moveElem(nullptr));
    element("DcElemList::printNodeList", list.printNodeList(text, "w", PRINT_NODE_FLAT));
    element("DcElemList::printNodeList", list.printNodeList("out", text, PRINT_NODE_FLAT));
}

TEST_F(Null, IsRefusedByFilesAndFileSets) {
    constexpr auto file = refused<DIR_NULL_ARGUMENT>;
    constexpr auto written = refused<DIR_NULL_ARGUMENT, LOG_NOTICE>;
    DIR_REC type;
    written("dirWriteFile", dirWriteFile(text, meta, list));
    written("dirWriteFile", dirWriteFile(bytes, length, list));
    file("dirReadFileMetaInfo", dirReadFileMetaInfo(text, meta, length));
    file("dirReadFile", dirReadFile(bytes, length, meta, list));
    file("dirGetType", dirGetType(text, type));
    file("dirGetDesc", dirGetDesc(DIR_REC_IMAGE, text));
    DcDirRec record(DIR_REC_PATIENT);
    file("DcDirRec::getDesc", record.getDesc(text));
    file("DcDirRec::setPvtRecUid", record.setPvtRecUid(text));
    file("DcDirRec::setRefFile", record.setRefFile(text));
    file("DcDirRec::printNodeTree", record.printNodeTree(static_cast<FILE*>(nullptr)));
    file("DcDirRecInfo::printInfo", DcDirRecInfo().printInfo(nullptr));
    file("DcDirRec::frame", record.frame(bytes, 99, length, DIR_WITH_CHILD));
    DcMediaMgr media(MEDIA_ROLE_UPDATER, nullptr);
    file("DcDirDicomDir::setFilesetId", media.setFilesetId(text));
    file("DcDirDicomDir::setCharset", media.setCharset(text));
    file("DcDirDicomDir::setDescriptorFileId", media.setDescriptorFileId(nullptr));
    file("DcDirDicomDir::getRootPath", media.getRootPath(text));
    file("DcDirDicomDir::linkRecToMrdr", media.linkRecToMrdr(nullptr, &record));
    file("DcDirDicomDir::getRefFileObj", media.getRefFileObj("A", nullptr));
    file("DcDirDicomDir::frame", media.DcDirDicomDir::frame(bytes, length));
    constexpr auto managed = refused<MEDIA_NULL_ARGUMENT>;
    constexpr auto stored = refused<MEDIA_NULL_ARGUMENT, LOG_NOTICE>;
    managed("DcMediaMgr::mRead", media.mRead(text, meta, list));
    managed("DcMediaMgr::mDelete", media.mDelete(text));
    stored("DcMediaMgr::mWrite", media.mWrite(nullptr, "A", meta, list));
    stored("DcMediaMgr::mWrite", media.mWrite(&record, text, meta, list));
}

TEST_F(Null, IsRefusedByAssociations) {
    constexpr auto message = refused<MSM_PRINT>;
    DcMsm user("USER", TSM_ROLE_SCU, 1);
    DcMsmScuInfo info;
    message("DcMsm::connect", user.connect(text, info));
    message("DcMsm::write", user.write(UID_VERIFICATION, nullptr));
    message("DcMsm::write", user.write(static_cast<unsigned char>(1), nullptr));
    message("DcMsm::sendMessage", user.sendMessage(text));
    message("DcMsm::printAssoInfo", user.printAssoInfo(text, "w"));
    message("DcMsm::printAssoInfo", user.printAssoInfo("out", text));
    constexpr auto request = refused<ACRQ_NULL_ARGUMENT, LOG_ERROR>;
    request("DcPduAssoAcRq::setInfo", DcPduAssoRq().setInfo(nullptr));
    request("DcPduAssoAcRq::presCtxItemAdd", DcPduAssoRq().presCtxItemAdd(nullptr));
    refused<RJ_NULL_ARGUMENT, LOG_ERROR>("DcPduAssoRj::setInfo", DcPduAssoRj().setInfo(nullptr));
    refused<ABORT_NULL_ARGUMENT>("DcPduAbort::setInfo", DcPduAbort().setInfo(nullptr));
}

}  // namespace
