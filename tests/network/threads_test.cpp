// Application entities in threads of their own, on a port that they share, with data sets of their own and
// the dictionary's numbers. It says most under ThreadSanitizer.
#include <atomic>
#include <set>

#include "network/pair.h"
#include "support/system.h"

namespace {

constexpr int kThreads = 2;
constexpr int kAssociations = 4;  // each thread opens, one behind the other
constexpr int kStores = 8;        // each association sends

TEST(Threads, AssociationsSideBySide) {
    const QuietLog quiet;
    const DcMsm listener("PROVIDER", TSM_ROLE_SCP, 0);
    const int port = listener.getPort();
    const std::size_t open = openHandles();
    std::atomic<int> received = 0;
    std::atomic<int> failures = 0;
    std::vector<std::thread> threads;
    std::vector<std::string> uids(kThreads * kAssociations);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&] {
            auto support = sopList({UID_CT_IMAGE_STORAGE});
            for (int i = 0; i < kAssociations; ++i) {
                DcMsm provider("PROVIDER", TSM_ROLE_SCP, port);  // joins the port, and leaves it
                DcMsmScpInfo info;
                info.sopList = support.data();
                info.timeouts = seconds(20);
                int whole = -1;
                if (provider.connect(info, MSM_BLOCK_CONNECT_POLL) == RESULT_OK &&
                    provider.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL) ==
                        MSM_REQUEST_ANSWERED) {
                    whole = serveStores(provider);
                    provider.closeAssociation();
                }
                failures += whole < 0 ? 1 : 0;
                received += std::max(whole, 0);
            }
        });
        threads.emplace_back([&, t] {
            for (int i = 0; i < kAssociations; ++i) {
                char uid[65] = "";
                Dict.genUid(uid);
                uids[static_cast<std::size_t>(t * kAssociations + i)] = uid;
                User user(port);
                std::vector<unsigned char> image(kPixels, 7);
                bool good = user.open(sopList({UID_CT_IMAGE_STORAGE}), "PROVIDER", 20) == MSM_ACCEPTED;
                for (int n = 0; good && n < kStores; ++n) good = storeOne(user, image.data(), nullptr);
                if (!good || user.release() != MSM_RELEASED) ++failures;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(openHandles(), open);
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(std::set<std::string>(uids.begin(), uids.end()).size(), uids.size());
    EXPECT_EQ(received, kThreads * kAssociations * kStores);
}

}  // namespace
