// Application entities in threads of their own, on a port that they share, with data sets of their own and
// the dictionary's numbers; and frames of one object. It says most under ThreadSanitizer.
#include <set>

#include "media/frame_streams.h"
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
    std::atomic<int> received = 0, failures = 0;
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

// Whatever the others ask for meanwhile, and whichever of its tables prove wrong by that.
TEST(Threads, FramesOfOneObject) {
    constexpr unsigned int frames = 60;
    const QuietLog quiet;
    const CurrentEdition edition;
    const TempDir temp;
    for (const unsigned int wrong : {0u, 1u, 2u, 3u}) {  // 1: the extended table, 2: the basic one, too
        std::vector<std::uint64_t> offsets, lengths(frames, wrong == 3 ? 2 : 4);
        for (std::uint64_t i = 0; i < frames; ++i) offsets.push_back(12 * i);
        auto extended = offsets, basic = offsets;
        if (wrong == 1 || wrong == 2) extended[frames - 7] += 2;
        if (wrong == 2) basic[frames - 9] += 2;
        Stream data = head({.frames = std::to_string(frames)});
        data.elem(DcTag::ExtendedOffsetTable, "OV", table(extended, 8));
        data.elem(DcTag::ExtendedOffsetTableLengths, "OV", table(lengths, 8));
        data.header(0x7FE00010, "OB", Stream::undefined).item(4 * frames).raw(table(basic, 4));
        for (unsigned int i = 0; i < frames; ++i) data.item(4).u32(i);
        const auto bytes = part10(metaGroup("1.2.840.10008.1.2.4.90"), data.endSequence()).bytes();
        const std::string path = makeFile(temp, "file", bytes);
        DcFrames object;
        ASSERT_EQ(object.open(path.c_str()), RESULT_OK);
        std::atomic<unsigned int> right = 0;
        std::vector<std::thread> threads;
        for (unsigned int t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                for (unsigned int i = 0; i < frames; ++i) {
                    const unsigned int n = (i * 7 + t * 13) % frames;
                    std::uint32_t value = 0;
                    unsigned long long length = 0;
                    const int result = object.read(n + 1, &value, sizeof value, length);
                    right += result == RESULT_OK && length == 4 && value == n ? 1 : 0;
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(right, 4 * frames) << wrong;
        EXPECT_EQ(object.tablesRefused(), wrong == 0 ? 0 : 1) << wrong;
        EXPECT_EQ(object.foundBy(), wrong == 1   ? FRAMES_BY_BASIC_TABLE
                                    : wrong == 2 ? FRAMES_BY_PASS
                                                 : FRAMES_BY_EXTENDED_TABLE);
    }
}

}  // namespace
