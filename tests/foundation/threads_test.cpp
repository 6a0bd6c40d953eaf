// Several threads with objects of their own, sharing the dictionary, the log and the counters. It says most
// under ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/log.h"
#include "support/system.h"

namespace {

// One round of what an application's thread does.
void work(int seed, std::atomic<int>& failures) {
    const auto expect = [&](bool ok) { failures += ok ? 0 : 1; };
    DcElemList list;
    list + new DcElem(0x00100010u, ("Doe^" + std::to_string(seed)).c_str());

    unsigned int size = 0;
    (void)list.getBufSize(size, static_cast<unsigned int*>(nullptr));
    std::vector<unsigned char> bytes(size);
    expect(list.frame(bytes.data(), size, UID_BIG_ENDIAN_EXPLICIT) == 0);
    DcElemList back;
    expect(back.decode(bytes.data(), size, UID_BIG_ENDIAN_EXPLICIT) == 0);
    char name[64];
    expect(back.getValue(0x00100010u, name, 63, 0) == 0 && name == "Doe^" + std::to_string(seed));
    (void)logReport(LOG_APPLICATION, "work", "round %d", seed);
}

}  // namespace

TEST(Threads, WorkSideBySideOnObjectsOfTheirOwn) {
    (void)logSetFileName(LOG_APPLICATION, nullDevice);
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    std::vector<std::string> uids(200);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures, &uids] {
            for (int i = 0; i < 50; ++i) {
                work(1 + t * 50 + i, failures);
                char uid[65] = "";
                Dict.genUid(uid);
                uids[static_cast<std::size_t>(t * 50 + i)] = uid;
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(std::set<std::string>(uids.begin(), uids.end()).size(), uids.size());
    (void)logSetFileName(LOG_APPLICATION, nullptr);
}
