// DICOMDIR files: read, copied, written and read again. What was written must come back whole.
#include "orvkit/dicomdir.h"

#include "fuzz/target.h"
#include "tests/support/temp_dir.h"

namespace {

std::size_t countBelow(const DcDirRec& top) {
    std::size_t count = 0;
    const DcDirRec* r = top.first();
    while (r != nullptr) {
        ++count;
        if (r->first() != nullptr) {
            r = r->first();
            continue;
        }
        while (r != &top && r->next() == nullptr) r = r->parent();
        r = r != &top ? r->next() : nullptr;
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // In memory where that is possible: what is written is flushed.
    static const bool inMemory = (keepTemporariesInMemory(), true);
    (void)inMemory;
    static const TempDir dir;
    if (size < 1) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    writeWhole(dir / "DICOMDIR", {bytes.begin(), bytes.end()});
    DcDirDicomDir set;
    (void)set.read((dir / ".").c_str());
    DcDirDicomDir copy(set);
    copy.setConsistencyFlag(DIR_FILESET_IS_CONSISTENT);
    DcDirRec* found = nullptr;
    (void)copy.getRefFileObj("IMG\\1", &found);
    fuzz::require(countBelow(copy) == countBelow(set));
    if (copy.write() != 0) return 0;
    fuzz::require(set.read() == 0 && countBelow(set) <= countBelow(copy));
    (void)set.printNodeTree(nullDevice, "w");
    return 0;
}
