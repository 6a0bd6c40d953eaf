// orvkit echo: whether a peer answers (C-ECHO, PS3.4 annex A).
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "platform/process.h"
#include "services/association.h"
#include "services/network_text.h"
#include "services/report.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {
namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

bool echoOnce(Association& association, std::string& fault) {
    DcCmdCEchoRq request;
    if (!association.send(request, UID_VERIFICATION)) {
        fault = association.fault();
        return false;
    }
    const std::unique_ptr<DcMsg> response = association.receive(DICT_MSG_C_ECHO_RSP);
    if (response == nullptr) {
        fault = association.fault();
        return false;
    }
    if (statusKind(statusOf(*response)) == StatusKind::success) return true;
    fault = "the peer answered " + statusText(*response);
    return false;
}

void summarize(std::vector<double>& times) {
    std::sort(times.begin(), times.end());
    const auto at = [&](std::size_t percent) { return times[(times.size() - 1) * percent / 100]; };
    double sum = 0;
    for (double t : times) sum += t;
    std::printf("%zu echoes, %.0f a second: least %.3f, median %.3f, 99%% within %.3f, most %.3f ms\n",
                times.size(), 1000 * static_cast<double>(times.size()) / sum, times.front(), at(50), at(99),
                times.back());
}

int runEcho(const PeerOptions& options, int repeat) {
    const std::string peer = options.peer();
    Association association(options);
    const Clock::time_point begun = Clock::now();
    if (!association.open({context(UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT})})) {
        complain("%s: %s", peer.c_str(), association.fault().c_str());
        return EXIT_FAILED;
    }
    if (const int result = association.contextResult(UID_VERIFICATION); result != PRES_CTX_AC_ACCEPT) {
        complain("%s: no echo: %s", peer.c_str(), contextText(result).c_str());
        association.release();
        return EXIT_FAILED;
    }
    std::printf("%s: association accepted in %.3f ms\n", peer.c_str(), millisecondsSince(begun));
    std::vector<double> times;
    std::string fault;
    for (int i = 1; i <= repeat; ++i) {
        const Clock::time_point start = Clock::now();
        if (!echoOnce(association, fault)) break;
        times.push_back(millisecondsSince(start));
        std::printf("echo %d: %.3f ms\n", i, times.back());
    }
    association.release();
    if (times.size() > 1) summarize(times);
    if (fault.empty()) return EXIT_OK;
    (void)std::fflush(stdout);
    complain("%s: echo %zu failed: %s", peer.c_str(), times.size() + 1, fault.c_str());
    return EXIT_FAILED;
}

}  // namespace

void addEcho(Command& program) {
    Command& command = program.command("echo", "Ask a DICOM peer for an echo (C-ECHO)");
    auto options = std::make_shared<PeerOptions>();
    auto repeat = std::make_shared<int>(1);
    addPeerOptions(command, *options, "", "");
    command.number("--repeat", *repeat, "Echoes on one association").range(1, 1000000000).value("N");
    command.run([options, repeat] {
        orvkit::platform::ignoreBrokenPipe();
        muteLog();
        return options->takePeer() ? runEcho(*options, *repeat) : EXIT_USAGE;
    });
}

}  // namespace tools
