// An index in a database that several servers share, and that may go and come back.
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "index/archive.h"
#include "index/schema.h"
#include "index/session.h"

namespace {

class ServersTest : public ArchiveTest {
  protected:
    static int storeInto(DcIndex& into, const std::string& text, DcIndexStored& outcome) {
        const auto dataset = datasetOf(std::string("class=") + kClass + "; " + text);
        const std::string file = textOf(*dataset, "series") + "/" + textOf(*dataset, "sop");
        DcIndexFile about;
        about.path = file.c_str();
        about.xferSyn = kSyntax;
        about.size = 10;
        const DcIndexBusy busy(into);
        return into.store(*dataset, about, INDEX_NEW, outcome);
    }
    // Two series of each of two studies of one patient; the modality tells them apart.
    static std::string object(int number) {
        const std::string study = std::to_string(1 + number % 2);
        const std::string series = study + "." + std::to_string(1 + number / 2 % 2);
        return "id=P; study=" + study + "; series=" + series +
               "; modality=" + (number / 2 % 2 == 0 ? "CT" : "MR") + "; sop=" + series + "." +
               std::to_string(number) + "; instance=" + std::to_string(number);
    }
    // Another program: stores all objects, and in between what the other one takes out again. How many were
    // new; below 0: something has failed.
    static int serve(const std::string& place, int objects, bool buries) {
        DcIndex own;
        if (own.open(place.c_str(), INDEX_WRITE) != RESULT_OK) return -1;
        std::atomic<int> fresh = 0;
        std::atomic<bool> failed = false;
        std::array<std::thread, 3> threads;
        for (std::size_t t = 0; t < threads.size(); ++t) {
            threads[t] = std::thread([&, t] {
                for (int i = static_cast<int>(t); i < objects; i += static_cast<int>(threads.size())) {
                    DcIndexStored outcome;
                    if (storeInto(own, object(i), outcome) != RESULT_OK) failed = true;
                    if (outcome.what == INDEX_STORED_NEW) ++fresh;
                    const std::string passing = "id=Q; study=7; series=7." + std::to_string(i % 2) +
                                                "; modality=CT; sop=7." + std::to_string(i % 5);
                    if (storeInto(own, passing, outcome) != RESULT_OK) failed = true;
                    DcIndexGrave grave{};
                    if (buries && t == 0 &&
                        own.bury(INDEX_ROOT_STUDY, 0, *datasetOf("level=STUDY; study=7"), grave) != RESULT_OK)
                        failed = true;
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        return failed ? -1 : fresh.load();
    }
};

TEST_P(ServersTest, TwoAtOnceLoseNothingAndStoreNothingTwice) {
    constexpr int objects = 120;
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    for (const bool buries : {false, true}) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child != 0) continue;
        const int fresh = serve(place(), objects, buries);
        ::_exit(::write(pipe[1], &fresh, sizeof fresh) == sizeof fresh ? 0 : 1);
    }
    int all = 0;
    for (int i = 0; i < 2; ++i) {
        int fresh = -1;
        ASSERT_EQ(::read(pipe[0], &fresh, sizeof fresh), static_cast<ssize_t>(sizeof fresh));
        EXPECT_GE(fresh, 0);
        all += fresh;
        int status = 0;
        EXPECT_GT(::wait(&status), 0);
    }
    ::close(pipe[0]);
    ::close(pipe[1]);
    EXPECT_EQ(all, objects);
    EXPECT_EQ(find("level=PATIENT; id=P; studies", "studies", 0, INDEX_ROOT_PATIENT), "2");
    EXPECT_EQ(find("level=STUDY; id=P; study; modalities; images", "study modalities images"),
              "1 CT\\MR 60, 2 CT\\MR 60");
    expectSound();
}

TEST_P(ServersTest, WhatWasConfirmedIsThereAfterTheDatabaseWasKilled) {
    std::atomic<int> next = 0;
    std::atomic<bool> enough = false;
    std::atomic<int> refused = 0;
    std::array<std::thread, 2> threads;
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            while (!enough) {
                const int i = next++;
                DcIndexStored outcome;
                for (int stored_ = -1; stored_ != RESULT_OK;) {
                    stored_ = storeInto(index, object(i), outcome);
                    if (stored_ == RESULT_OK) break;
                    EXPECT_EQ(stored_, INDEX_ENGINE) << DcIndex::fault();
                    ++refused;
                    std::this_thread::sleep_for(std::chrono::milliseconds(20));
                }
            }
        });
    }
    for (int killed = 0; killed < 2; ++killed) {
        const int begun = next;
        while (next < begun + 50) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        PostgresqlServer::get().crash();
        const int before = refused;
        while (refused == before) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        PostgresqlServer::get().startAgain();
    }
    enough = true;
    for (std::thread& thread : threads) thread.join();
    DcIndexStats stats;
    EXPECT_EQ(index.stats(stats), RESULT_OK) << DcIndex::fault();
    EXPECT_EQ(stats.instances, static_cast<unsigned long long>(next));
    expectSound();
}

TEST_P(ServersTest, PasswordsAreInNoText) {
    DcIndex other;
    EXPECT_EQ(other.open("postgresql://orvkit:se@cret@/x?host=/nowhere&password=secret", INDEX_READ),
              INDEX_PLACE);
    const std::string fault = DcIndex::fault();
    EXPECT_NE(fault.find("postgresql://orvkit@/x?host=/nowhere"), std::string::npos) << fault;
    EXPECT_EQ(fault.find("cret"), std::string::npos) << fault;
    EXPECT_EQ(other.open("mysql://a:secret@b/c", INDEX_READ), INDEX_PLACE);
    EXPECT_EQ(std::string(DcIndex::fault()).find("secret"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Engines, ServersTest, testing::Values(EngineKind::postgresql), engineName);

}  // namespace
