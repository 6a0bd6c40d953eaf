// Runs a command several times and prints the median wall time in seconds, the most resident memory in kB,
// and the median processor time in seconds.
//     bench_time_command RUNS COMMAND [ARGUMENT...]
// The command's output is thrown away; a command that fails ends the measurement. A file named "fresh.dcm" in
// the current directory is removed before each run, so that writing it always means a new file.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
    const int runs = argc > 2 ? std::atoi(argv[1]) : 0;
    if (runs < 1) {
        std::fprintf(stderr, "usage: %s RUNS COMMAND [ARGUMENT...]\n", argv[0]);
        return 2;
    }
    posix_spawn_file_actions_t silence;
    posix_spawn_file_actions_init(&silence);
    posix_spawn_file_actions_addopen(&silence, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&silence, STDERR_FILENO, "/dev/null", O_WRONLY, 0);

    using Clock = std::chrono::steady_clock;
    std::vector<double> seconds, busy;
    long resident = 0;
    for (int i = 0; i < runs; ++i) {
        unlink("fresh.dcm");
        const Clock::time_point begun = Clock::now();
        pid_t child = 0;
        if (posix_spawnp(&child, argv[2], &silence, nullptr, argv + 2, environ) != 0) {
            std::perror(argv[2]);
            return 1;
        }
        int status = 0;
        rusage usage = {};
        wait4(child, &status, 0, &usage);
        if (status != 0) {
            std::fprintf(stderr, "%s: status %d\n", argv[2], status);
            return 1;
        }
        seconds.push_back(std::chrono::duration<double>(Clock::now() - begun).count());
        resident = std::max(resident, usage.ru_maxrss);
        busy.push_back(static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                       static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6);
    }
    const auto median = [runs](std::vector<double>& times) {
        std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
        return times[static_cast<std::size_t>(runs) / 2];
    };
    std::printf("%.6f %ld %.6f\n", median(seconds), resident, median(busy));
    return 0;
}
