#include "orvkit/buf.h"

#include <gtest/gtest.h>

#include <cstring>

#include "orvkit/uids.h"
#include "orvkit/util.h"
#include "platform/file.h"
#include "tests/support/temp_dir.h"

namespace {

using namespace orvkit::platform;

bool isOpen(int handle) {
    return orvkit::platform::tell(handle) != -1;
}

class BufTest : public ::testing::Test {
  protected:
    int open() { return openAppend(path_.c_str()).release(); }
    static void* block() { return std::memcpy(utilNew(4), "abc", 4); }

    TempDir dir_;
    std::string path_ = dir_ / "file";
};

void expectReset(const DcBuf& buf) {
    EXPECT_EQ(buf.getType(), BUF_NONE);
    EXPECT_EQ(buf.getHandle(), -1);
    EXPECT_EQ(buf.getLen(), 0u);
}

}  // namespace

// Leaks and double frees of the memory blocks show under AddressSanitizer.
TEST_F(BufTest, CopiesAreBorrowedAndOwnersRelease) {
    const int first = open(), second = open();
    {
        DcBuf memory(block(), 4, UID_LITTLE_ENDIAN_EXPLICIT), behind(first, 3, 5, UID_BIG_ENDIAN_EXPLICIT);
        {
            DcBuf memoryCopy(memory), handleCopy;
            handleCopy = behind;
            EXPECT_EQ(handleCopy.getXferSyn(), UID_BIG_ENDIAN_EXPLICIT);
            handleCopy.setHandle(-1);
            memoryCopy.setBuf(nullptr);
            handleCopy = behind;
        }
        EXPECT_STREQ(static_cast<char*>(memory.getBuf()), "abc");
        EXPECT_TRUE(isOpen(first));
        behind.setHandle(second);
        EXPECT_FALSE(isOpen(first));
    }
    EXPECT_FALSE(isOpen(second));
}

TEST_F(BufTest, MoveHandsOverAndResetForgets) {
    const int handle = open();
    {
        DcBuf target;
        {
            DcBuf source(handle, 1, 2, UID_LITTLE_ENDIAN_EXPLICIT);
            target.move(&source);
            expectReset(source);
        }
        EXPECT_TRUE(isOpen(handle));

        // A borrowed buffer stays borrowed when it moves, and is an owner again after a reset.
        DcBuf borrowed(target), onward;
        onward.move(&borrowed);
        onward.setHandle(-1);
        target.reset();
        expectReset(target);
    }
    EXPECT_TRUE(isOpen(handle));
    DcBuf again;
    again.setHandle(handle);
    again.setHandle(-1);
    EXPECT_FALSE(isOpen(handle));
}
