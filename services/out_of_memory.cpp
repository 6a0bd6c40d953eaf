#include "services/out_of_memory.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#include "platform/stop.h"
#include "services/report.h"

namespace services {
namespace {

[[noreturn]] void end() {
    (void)std::fputs("orvkit: not enough memory\n", stderr);
    orvkit::platform::removeDoomed();
    std::_Exit(EXIT_FAILED);
}

}  // namespace

void endWithoutMemory() noexcept {
    std::set_new_handler(end);
}

void goOnWithoutMemory() noexcept {
    std::set_new_handler(nullptr);
}

}  // namespace services
