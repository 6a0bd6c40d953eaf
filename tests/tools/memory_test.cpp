// Memory that runs out, and calls of the system that fail, while the command is at work: success with
// everything that belongs to it, or status 1 with a message, and what was there before stays.
//
// Every allocation fails once when ORVKIT_EVERY_ALLOCATION is set (half an hour); else a few of each job.
#include <cerrno>

#include "tests/tools/command.h"

namespace tools_test {
namespace {

struct Job {
    const char* command;
    const char* result;  // the file that it makes or changes; "" for none
    int status = 0;      // when nothing fails
};

class MemoryTest : public ServedTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        if (IsSkipped()) return;
        if (std::string(ORVKIT_FAIL_ALLOCATION).empty()) GTEST_SKIP() << "nothing to preload here";
        must(
            "mkdir base && cd base && orvkit phantom set --size 16 --images 2 --series 1 && orvkit dicomdir "
            "make set && orvkit phantom more --size 16 --images 1 --series 1 --seed 2 && "
            "cp more/SE000001/IM000001 new && cp -r set full && cp new full/NEW && echo old | tee out > "
            "out.pgm");
    }

    // Runs a job on a fresh copy, with these variables set.
    Outcome run(const Job& job, const std::string& variables) const {
        return sh("rm -rf work; cp -rp base work; cd work; export LD_PRELOAD=" ORVKIT_FAIL_ALLOCATION " " +
                  variables + "; exec '" ORVKIT_COMMAND "' " + job.command);
    }
    std::string content(const char* root, const Job& job) const {
        return job.result[0] != '\0' ? contentOf(dir / root / job.result) : std::string();
    }
    // What stands in the result, without what differs from run to run.
    std::string shown(const Job& job) const {
        if (job.result[0] == '\0') return {};
        const std::string dump = std::string("orvkit dump --full work/") + job.result;
        const Outcome read = sh(dump + " | grep -vE 'mediaStorageSopInstanceUid|offsetOf|groupLength'");
        return read.out.empty() ? content("work", job) : read.out;
    }

    // How a job goes when nothing fails.
    struct Good {
        Outcome whole;
        std::string before, shown;
        std::vector<std::string> left;
    };
    Good good(const Job& job) const {
        Good all{run(job, "COUNT_ALLOCATIONS=../count"), content("base", job), shown(job), names("work")};
        EXPECT_EQ(all.whole.status, job.status) << all.whole.err;
        return all;
    }
    void judge(const Job& job, const Good& good, const Outcome& out) const {
        EXPECT_TRUE(out.status == job.status || out.status == 1) << out.status << ": " << out.err;
        EXPECT_TRUE(out.status == 0 || !out.err.empty());
        EXPECT_TRUE(out.status != 0 || out.out.size() == good.whole.out.size()) << out.out;
        EXPECT_TRUE((out.status != 0 && content("work", job) == good.before) || shown(job) == good.shown);
        EXPECT_EQ(names("work"), good.left) << "leftovers";
    }

    void sweep(const Job& job) const {
        SCOPED_TRACE(job.command);
        const Good whole = good(job);
        const long total = std::stol(contentOf(dir / "count"));
        const long points = std::getenv("ORVKIT_EVERY_ALLOCATION") != nullptr ? total : 7;
        for (long i = 0; i < points; ++i) {
            const long n = points == total ? i + 1 : 1 + i * (total - 1) / (points - 1);
            SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total));
            judge(job, whole, run(job, "FAIL_ALLOCATION=" + std::to_string(n) + (i % 3 == 2 ? "+" : "")));
        }
    }

    // Each call of a kind fails once, or is interrupted.
    void sweep(const Job& job, const Good& whole, const char* call, int reason) const {
        for (int n = 1;; ++n) {
            SCOPED_TRACE(std::string(job.command) + ", " + call + ' ' + std::to_string(n) + ": " +
                         std::strerror(reason));
            std::ofstream(dir / "call") << call << ' ' << n << ' ' << reason;
            const Outcome out = run(job, "FAIL_CALL=../call");
            if (fs::remove(dir / "call")) break;
            EXPECT_TRUE(reason != EINTR || out.status == job.status) << out.err;
            judge(job, whole, out);
        }
    }
};

// Of the peer jobs find the port in a file.
TEST_F(MemoryTest, JobsEndWholeOrWithAMessage) {
    begin();
    std::ofstream(dir / "port") << port;
    for (const Job& job :
         {Job{"dump --full new", ""},
          Job{"dump --json set", ""},
          Job{"lookup PatientName", ""},
          Job{"convert --to implicit new out", "out"},
          Job{"convert --to lzw new out", "out"},
          Job{"phantom more --size 16 --images 1 --series 1 --seed 3", "more/SE000001/IM000001"},
          Job{"dicomdir make --icons full", "full/DICOMDIR"},
          Job{"dicomdir update full", "full/DICOMDIR"},
          Job{"dicomdir update --copy-from more set", "set/DICOMDIR"},
          Job{"dicomdir list set", ""},
          Job{"dicomdir check full", "", 1},
          Job{"dicomdir remove set SE000001/IM000001", "set/DICOMDIR"},
          Job{"media read set SE000001/IM000001 out", "out"},
          Job{"media write set SE000001/IM000001 new", "set/SE000001/IM000001", 1},
          Job{"media write set NEW new", "set/DICOMDIR"},
          Job{"media delete set SE000001/IM000001", "set/DICOMDIR"},
          Job{"media inquire-file set SE000001/IM000001", ""},
          Job{"completion bash", ""},
          Job{"convert --to rle new out", "out"},
          Job{"convert --to jpeg-lossless new out", "out"},
          Job{"render --output out.pgm new", "out.pgm"},
          Job{"echo localhost $(cat ../port) >/dev/null", ""},
          Job{"send localhost $(cat ../port) new set >/dev/null", ""}}) {
        sweep(job);
    }
}

TEST_F(MemoryTest, CallsThatFailLoseNothingAndThoseThatAreInterruptedAreMadeAgain) {
    // An element behind the pixels.
    must("printf '\\374\\377\\374\\377OB\\0\\0\\4\\0\\0\\0tail' | cat base/new - >base/tail");
    for (const Job& job : {Job{"convert --to implicit tail out", "out"},
                           Job{"dicomdir update --copy-from more set", "set/DICOMDIR"},
                           Job{"media write set NEW new", "set/DICOMDIR"}}) {
        const Good whole = good(job);
        for (const char* call : {"open", "openat", "read", "copy"}) sweep(job, whole, call, EINTR);
        for (const char* call : {"open", "openat", "read", "copy", "stat"}) sweep(job, whole, call, EIO);
    }
}

// Where there is no memory to note the end of a thread's own object, the C library aborts the program.
TEST_F(MemoryTest, ThreadsOwnNothingThatEndsWithThem) {
    const Outcome noted = sh("for f in '" ORVKIT_COMMAND "' $(ldd '" ORVKIT_COMMAND
                             "' | awk '/liborvkit/ {print $3}'); do nm -D -u $f && echo looked; done");
    EXPECT_TRUE(holds(noted.out, "looked")) << noted.err;
    EXPECT_EQ(noted.out.find("__cxa_thread_atexit"), std::string::npos);
}

}  // namespace
}  // namespace tools_test
