// Whether a peer answers (C-ECHO, PS3.4 annex A).
#include "services/user.h"

#include <chrono>
#include <cstdio>
#include <memory>

#include "services/association.h"
#include "services/network_text.h"
#include "services/report.h"
#include "services/round_trips.h"

namespace services {
namespace {

using Clock = std::chrono::steady_clock;

double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
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

void summarize(const RoundTrips& trips) {
    std::printf("%zu echoes, %.0f a second: least %.3f, median %.3f, 99%% within %.3f, most %.3f ms\n",
                trips.count(), 1000 * static_cast<double>(trips.count()) / milliseconds(trips.sum()),
                milliseconds(trips.least()), milliseconds(trips.quantile(50)),
                milliseconds(trips.quantile(99)), milliseconds(trips.most()));
}

}  // namespace

int echo(const PeerOptions& options, int repeat) {
    const std::string peer = options.peer();
    Association association(options);
    const Clock::time_point begun = Clock::now();
    if (!association.open({context(UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT})})) {
        return failed("%s: %s", peer.c_str(), association.fault().c_str());
    }
    if (const int result = association.contextResult(UID_VERIFICATION); result != PRES_CTX_AC_ACCEPT) {
        complain("%s: no echo: %s", peer.c_str(), contextText(result).c_str());
        association.release();
        return EXIT_FAILED;
    }
    std::printf("%s: association accepted in %.3f ms\n", peer.c_str(), milliseconds(Clock::now() - begun));
    RoundTrips trips;
    std::string fault;
    for (int i = 1; i <= repeat; ++i) {
        const Clock::time_point start = Clock::now();
        if (!echoOnce(association, fault)) break;
        const Clock::duration took = Clock::now() - start;
        trips.add(took);
        std::printf("echo %d: %.3f ms\n", i, milliseconds(took));
    }
    association.release();
    if (trips.count() > 1) summarize(trips);
    if (fault.empty()) return EXIT_OK;
    (void)std::fflush(stdout);
    return failed("%s: echo %zu failed: %s", peer.c_str(), trips.count() + 1, fault.c_str());
}

}  // namespace services
