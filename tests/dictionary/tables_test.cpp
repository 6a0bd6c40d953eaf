// The tables that the library comes with.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "dictionary/builtin.h"
#include "orvkit/dict.h"

namespace {

TEST(BuiltInTags, AreNamedByTheirTagsAndFoundUnderThem) {
    EXPECT_EQ(Dict.tagCount(), 2607u);
    for (const DcDictElemInfo& record : orvkit::builtinTags) {
        SCOPED_TRACE(record.name);
        char start[16];
        std::snprintf(start, sizeof start, "T_%04x_%04x_", record.tag >> 16, record.tag & 0xFFFF);
        const bool repeating = record.tag >> 16 == 0x50FF || record.tag >> 16 == 0x60FF;
        if (repeating) start[4] = start[5] = 'x';
        EXPECT_EQ(std::strncmp(record.name, start, 12), 0);
        // In a repeating group the element is asked for under a real group.
        const unsigned int tag = repeating ? record.tag & 0xFF02FFFF : record.tag;
        EXPECT_EQ(Dict.find(tag), &record);
    }
}

}  // namespace
