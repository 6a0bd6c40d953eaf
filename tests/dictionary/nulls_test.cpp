#include "fresh_dict.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "support/null_calls.h"

TEST(Dictionary, TellsNullArguments) {
    char* const none = nullptr;
    unsigned int* const noList = nullptr;
    const char* const noText = nullptr;
    DICT_VR vr{};
    DICT_UID uid{};
    DICT_UID_TYPE type{};
    const int code = RESULT_DICT_NULL;
    expectToldOnce({
        {"DcDict::getDesc", code, [&] { return Dict.getDesc(0x00080005u, none); }},
        {"DcDict::getDesc", code, [&] { return Dict.getDesc(UID_VERIFICATION, none); }},
        {"DcDict::getVr", code, [&] { return Dict.getVr(0x00080005u, none); }},
        {"DcDict::getVr", code, [&] { return Dict.getVr(VR_AE, none); }},
        {"DcDict::getVrDef", code, [&] { return Dict.getVrDef(none, vr); }},
        {"DcDict::getSqTagList", code, [&] { return Dict.getSqTagList(0x00081140u, noList); }},
        {"DcDict::getUid", code, [&] { return Dict.getUid(UID_VERIFICATION, none); }},
        {"DcDict::getUidDef", code, [&] { return Dict.getUidDef(none, uid); }},
        {"DcDict::getUidType", code, [&] { return Dict.getUidType(noText, type); }},
        {"DcDict::add", code, [&] { return Dict.add(0x00091010u, noList, "name", nullptr); }},
        {"DcDict::add", code, [&] { return Dict.add(noText, "text", nullptr, UID_TYPE_SOP); }},
        {"DcDict::subtract", code, [&] { return Dict.subtract(noText); }},
    });
}
