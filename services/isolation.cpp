#include "services/isolation.h"

#include <string_view>

#include "orvkit/image.h"
#include "orvkit/result.h"
#include "services/out_of_memory.h"
#include "services/report.h"

namespace services {

void serveCodecs(int argc, char** argv) noexcept {
    if (argc != 2 || DcImageIsolation().argument != std::string_view(argv[1])) return;
    goOnWithoutMemory();
    imageServeIsolated();
}

bool isolateCodecs(unsigned int most) {
    DcImageIsolation isolation;
    isolation.children = most;
    DcImageResult told;
    if (imageIsolate(&isolation, &told) == RESULT_OK) return true;
    return complain("codec libraries cannot be isolated: %s", told.text);
}

}  // namespace services
