#include "media/part10.h"
#include "orvkit/dicomdir.h"
#include "orvkit/lzw.h"
#include "support/null_calls.h"

TEST(Media, TellsNullArguments) {
    DcDirMetaInfo meta;
    DcElemList list;
    DcDirRec record(DIR_REC_IMAGE);
    DcDirDicomDir set;
    DcDirRecInfo info;
    DcDirDicomDirInfo header;
    DcDirRec* found = nullptr;
    DIR_REC type{};
    unsigned int n = 8;
    unsigned char byte = 0;
    unsigned int room = 8;
    unsigned char* at = &byte;
    char* const none = nullptr;
    FILE* const noFile = nullptr;
    unsigned char* noBytes = nullptr;
    const int code = DIR_NULL_ARGUMENT;
    expectToldOnce({
        {"dirReadFileMetaInfo", code, [&] { return dirReadFileMetaInfo(none, meta, n); }},
        {"dirReadFileMetaInfo", code, [&] { return dirReadFileMetaInfo(noBytes, 8, meta, n); }},
        {"dirReadFileMetaInfo", code, [&] { return dirReadFile(none, meta, list); }},
        {"dirReadFile", code, [&] { return dirReadFile(noBytes, 8, meta, list); }},
        {"dirReadFileMetaInfo", code,
         [&] { return dirReadNonPixelElem(none, meta, list, nullptr, nullptr); }},
        {"dirWriteFile", code, [&] { return dirWriteFile(none, meta, list); }, LOG_NOTICE},
        {"dirWriteFile", code, [&] { return dirWriteFile(noBytes, n, list); }, LOG_NOTICE},
        {"dirGetDesc", code, [&] { return dirGetDesc(DIR_REC_IMAGE, none); }},
        {"dirGetType", code, [&] { return dirGetType(none, type); }},
        {"DcDirMetaInfo::printInfo", code, [&] { return meta.printInfo(noFile); }},
        {"DcDirMetaInfo::printInfo", code, [&] { return meta.printInfo(none, "w"); }},
        {"DcDirMetaInfo::printInfo", code, [&] { return meta.printInfo("x", none); }},
        {"DcDirRec::getDesc", code, [&] { return record.getDesc(none); }},
        {"DcDirRec::getRootPath", code, [&] { return record.getRootPath(none); }},
        {"DcDirRec::setRefFile", code, [&] { return record.setRefFile(none); }},
        {"DcDirRec::setPvtRecUid", code, [&] { return record.setPvtRecUid(none); }},
        {"DcDirRec::frame", code, [&] { return record.frame(noBytes, 8, n, DIR_WITH_CHILD); }},
        {"DcDirRec::printNodeList", code, [&] { return record.printNodeList(noFile); }},
        {"DcDirRec::printNodeTree", code, [&] { return record.printNodeTree(noFile); }},
        {"DcDirRecInfo::printInfo", code, [&] { return info.printInfo(noFile); }},
        {"DcDirDicomDirInfo::printInfo", code, [&] { return header.printInfo(noFile); }},
        {"DcDirDicomDir::frame", code, [&] { return set.frame(noBytes, n); }},
        {"DcDirDicomDir::getRootPath", code, [&] { return set.getRootPath(none); }},
        {"DcDirDicomDir::getRefFileObj", code, [&] { return set.getRefFileObj(none, &found); }},
        {"DcDirDicomDir::getRefFileObj", code, [&] { return set.getRefFileObj("A", nullptr); }},
        {"DcDirDicomDir::linkRecToMrdr", code, [&] { return set.linkRecToMrdr(nullptr, &record); }},
        {"DcDirDicomDir::setFilesetId", code, [&] { return set.setFilesetId(none); }},
        {"DcDirDicomDir::setCharset", code, [&] { return set.setCharset(none); }},
        {"DcDirDicomDir::setDescriptorFileId", code, [&] { return set.setDescriptorFileId(nullptr); }},
        {"DcDirDicomDir::printNodeList", code, [&] { return set.printNodeList(none, "w"); }},
        {"DcDirDicomDir::printNodeTree", code, [&] { return set.printNodeTree("x", none); }},
        {"lzwEncode", ELEM_NULL_ARGUMENT, [&] { return lzwEncode(nullptr, 1, at, n); }},
        {"lzwEncode", ELEM_NULL_ARGUMENT, [&] { return lzwEncode(&byte, 1, noBytes, room); }},
        {"lzwDecode", ELEM_NULL_ARGUMENT, [&] { return lzwDecode(nullptr, 1, at, &n); }},
        {"lzwDecode", ELEM_NULL_ARGUMENT, [&] { return lzwDecode(&byte, 1, at, nullptr); }},
    });
}
