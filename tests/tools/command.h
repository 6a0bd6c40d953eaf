// Runs the command as its users do: in a shell, with a directory of its own.
#ifndef ORVKIT_TESTS_TOOLS_COMMAND_H
#define ORVKIT_TESTS_TOOLS_COMMAND_H

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/msm.h"
#include "orvkit/tags.h"

namespace tools_test {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

struct Outcome {
    int status;  // exit status, 128 + signal
    std::string out, err;
    long residentKb;  // the most memory that the shell or the command held
};

inline std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <typename Condition>
bool untilTrue(Clock::duration patience, Condition condition) {
    for (const auto end = Clock::now() + patience; Clock::now() < end; std::this_thread::sleep_for(10ms)) {
        if (condition()) return true;
    }
    return condition();
}

// A port that was free a moment ago.
inline int freePort() {
    return DcMsm("P", TSM_ROLE_SCP, 0).getPort();
}

inline ::testing::AssertionResult holds(const std::string& text, const std::string& part) {
    if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "'" << part << "' is not in: " << text;
}

// Writes a list as a file in a syntax; it gets a class and an instance, if it is to.
inline void writeFile(const fs::path& path, DcElemList& list, DICT_UID syntax, bool named = true) {
    if (named) list + new DcElem(T_0008_0016_sopClassUid, UID_SC_IMAGE_STORAGE);
    if (named) list + new DcElem(T_0008_0018_sopInstanceUid, "1.2.3");
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.transferSyntax = syntax;
    ASSERT_EQ(dirWriteFile(path.c_str(), meta, list), 0);
}

// A script, its exit status, and what is said: a part of it, all of it behind a "=", or "" for nothing.
struct Said {
    const char* script;
    int status;
    const char *out, *err;
};

class CommandTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::string(ORVKIT_COMMAND).empty()) GTEST_SKIP() << "the command is not built";
        std::string pattern = (fs::temp_directory_path() / "orvkit-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        dir = pattern;
    }
    void TearDown() override {
        std::error_code ignored;
        if (!dir.empty()) fs::remove_all(dir, ignored);
    }

    // Runs a shell script in the test's directory; `orvkit` in it is the command. Several threads may.
    Outcome sh(const std::string& script) const {
        static std::atomic<int> calls = 0;
        const std::string number = std::to_string(++calls);
        const fs::path out = dir / (".out" + number);
        const fs::path err = dir / (".err" + number);
        const std::string whole = "orvkit() { '" ORVKIT_COMMAND "' \"$@\"; }\n( " + script + "\n)";
        const pid_t child = fork();
        if (child == 0) {
            if (chdir(dir.c_str()) != 0 || freopen(out.c_str(), "w", stdout) == nullptr ||
                freopen(err.c_str(), "w", stderr) == nullptr) {
                _exit(126);
            }
            execl("/bin/bash", "bash", "-c", whole.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = -1;
        struct rusage usage = {};
        wait4(child, &status, 0, &usage);
        const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        const Outcome outcome{code, contentOf(out), contentOf(err), usage.ru_maxrss};
        fs::remove(out);
        fs::remove(err);
        return outcome;
    }

    // With success.
    Outcome must(const std::string& script) const {
        const Outcome run = sh(script);
        EXPECT_EQ(run.status, 0) << script << "\n" << run.out << run.err;
        return run;
    }

    void expectSaid(const std::vector<Said>& rows, const std::string& before = {}) const {
        for (const Said& row : rows) {
            const Outcome outcome = sh(before + row.script);
            EXPECT_EQ(outcome.status, row.status) << row.script << "\n" << outcome.err;
            for (const auto& [text, part] : {std::pair(outcome.out, row.out), {outcome.err, row.err}}) {
                EXPECT_EQ(text.empty(), *part == '\0') << row.script << ": " << text;
                EXPECT_TRUE(holds(text, part + (*part == '=' ? 1 : 0))) << row.script;
                EXPECT_TRUE(*part != '=' || text == part + 1) << row.script;
            }
        }
    }

    // The names in a directory, sorted.
    std::vector<std::string> names(const fs::path& below = {}) const {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(dir / below)) {
            all.push_back(entry.path().filename().string());
        }
        std::sort(all.begin(), all.end());
        return all;
    }

    fs::path dir;
};

// With `orvkit serve` on in/, whose log is in `log`.
class ServedTest : public CommandTest {
  protected:
    void TearDown() override {
        if (server > 0) (void)stop(SIGKILL);
        CommandTest::TearDown();
    }
    // A script begins with a server at $peer; `stop` ends it, and `begin` starts another, on $into if that is
    // set.
    static std::string serving(const std::string& options = "") {
        return "begin() { rm -f log; : >log; '" ORVKIT_COMMAND "' serve --port 0 --no-sync " + options +
               " \"$@\" ${into:-in} 2>log & server=$!\n"
               "until grep -q 'listening on port' log; do kill -0 $server || exit 90; sleep .02; done\n"
               "port=$(grep -o 'port [0-9]*' log | head -1 | cut -c6-) peer=A@127.0.0.1:$port; }\n"
               "stop() { kill $server; wait $server || exit 91; }\n"
               "begin\n";
    }
    // A server at `port` until the test ends.
    void begin(const std::string& options = "") {
        fs::remove(dir / "log");
        server = ::fork();
        ASSERT_GE(server, 0);
        const std::string script = "cd '" + dir.string() + "' && ulimit -n " + std::to_string(mostFiles) +
                                   " && exec '" ORVKIT_COMMAND "' serve --port 0 --no-sync in " + options +
                                   " 2>log";
        if (server == 0) ::_exit(::execl("/bin/sh", "sh", "-c", script.c_str(), static_cast<char*>(nullptr)));
        const std::string told = "listening on port ";
        ASSERT_TRUE(logs(told)) << log();
        port = std::stoi(log().substr(log().find(told) + told.size()));
    }
    std::string log() const { return contentOf(dir / "log"); }
    bool logs(const std::string& text) const {
        return untilTrue(30s, [&] { return log().find(text) != std::string::npos; });
    }
    // 0 when it ended by itself with success, in time.
    int stop(int signal = SIGTERM) {
        int status = -1;
        ::kill(server, signal);
        if (!untilTrue(8s, [&] { return ::waitpid(server, &status, WNOHANG) == server; })) return -1;
        server = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string peer() const { return "A@127.0.0.1:" + std::to_string(port); }

    pid_t server = 0;
    int port = 0;
    int mostFiles = 900;  // fewer than those who come to the door
};

// The same, where there is an index.
class ArchiveTest : public ServedTest {
  protected:
    void SetUp() override {
        ServedTest::SetUp();
        if (!IsSkipped() && holds(sh("orvkit index").err, "left out"))
            GTEST_SKIP() << "the index is left out";
    }
};

}  // namespace tools_test

#endif
