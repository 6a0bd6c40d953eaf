#include "orvkit/scan.h"
#include "support/dataset.h"
#include "support/null_calls.h"

TEST(DataSets, TellNullArguments) {
    DcElemList list;
    DcElem text(0x00080070u, "A");
    DcElemSq sequence(0x00081140u);
    DcElemSqItem item;
    DcElemValueDA date;
    int number = 0;
    double second = 0;
    unsigned int length = 8;
    char* const none = nullptr;
    unsigned char* const noBytes = nullptr;
    const int code = ELEM_NULL_ARGUMENT;
    expectToldOnce({
        {"DcElem::addValue", code, [&] { return text.addValue(none, 0); }, LOG_NOTICE},
        {"DcElem::addValue", code, [&] { return text.addValue(static_cast<DcBuf*>(nullptr)); }, LOG_NOTICE},
        {"DcElem::getValue", code, [&] { return text.getValue(none, 8); }, LOG_NOTICE},
        {"DcElemSq::frame", code, [&] { return sequence.frame(noBytes, length, kExplicit); }, LOG_NOTICE},
        {"DcElemSqItem::frame", ITEM_NULL_BUFFER, [&] { return item.frame(noBytes, length, kExplicit); }},
        {"DcElemList::frame", code, [&] { return list.frame(noBytes, length, kExplicit); }, LOG_NOTICE},
        {"DcElemList::duplicate", code, [&] { return list.duplicate(nullptr, nullptr); }},
        {"DcElemList::moveElem", code, [&] { return list.moveElem(nullptr); }},
        {"DcElemList::parse", code, [&] { return list.parse(static_cast<DcBufList*>(nullptr)); }},
        {"DcElemList::getElem", code,
         [&] { return list.getElem(0x00081140u, static_cast<DcElemSq**>(nullptr)); }, LOG_ERROR},
        {"DcElemList::printNodeList", code, [&] { return list.printNodeList(none, "w", PRINT_NODE_FLAT); }},
        {"DcElemList::printNodeList", code, [&] { return list.printNodeList("x", none, PRINT_NODE_FLAT); }},
        {"utilStrgToValue", UTIL_NULL_ARGUMENT, [&] { return utilStrgToValue(none, date, 8, 5); }},
        {"utilStrgToHMS", UTIL_NULL_ARGUMENT,
         [&] { return utilStrgToHMS(none, number, number, second, 8, 5); }},
        {"utilStrgToYMD", UTIL_NULL_ARGUMENT,
         [&] { return utilStrgToYMD(none, number, number, number, 8, 5); }},
        {"utilGetOxValLen", UTIL_LENGTH_FIELD,
         [&] { return utilGetOxValLen(noBytes, 8, kExplicit, length, number, 0); }, LOG_NOTICE},
        {"utilGetSqValLen", UTIL_LENGTH_FIELD,
         [&] { return utilGetSqValLen(noBytes, 8, kExplicit, length, number, 0); }, LOG_NOTICE},
        {"utilGetSqItemValLen", UTIL_LENGTH_FIELD,
         [&] { return utilGetSqItemValLen(noBytes, 8, kExplicit, length, number); }, LOG_NOTICE},
    });
    // These are told by their code alone.
    EXPECT_EQ(text.printNodeList(nullptr), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(sequence.parseVal(nullptr, 8, kExplicit), ELEM_NULL_ARGUMENT);
}
