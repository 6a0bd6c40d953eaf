// orvkit index copy.
#include <cstdio>

#include "orvkit/index.h"
#include "orvkit/result.h"
#include "services/archive_index.h"
#include "services/progress.h"
#include "services/report.h"

namespace services {

int copyIndex(const std::string& from, const std::string& to) {
    constexpr int mostPasses = 10;
    DcIndex source;
    DcIndex target;
    DcIndexStats there;
    DcIndexStats here;
    if (from == to) return misused("%s: an index is not copied into itself", to.c_str());
    if (source.open(from.c_str(), INDEX_READ) != RESULT_OK || source.stats(there) != RESULT_OK)
        return failed("%s", DcIndex::fault());
    if (there.graves != 0) {
        return failed(
            "%s: %llu deletions can still be undone, of which a copy would not know: "
            "`orvkit index delete DIR --undo` or `--empty` first",
            from.c_str(), there.graves);
    }
    if (target.open(to.c_str(), INDEX_CREATE) != RESULT_OK || target.stats(here) != RESULT_OK)
        return failed("%s", DcIndex::fault());
    const unsigned long long before = here.instances;
    for (int pass = 0; pass < mostPasses && (pass == 0 || here.instances < there.instances); ++pass) {
        Progress progress("copying", static_cast<std::size_t>(there.instances));
        const auto step = [](void* context, unsigned long long instances) {
            static_cast<Progress*>(context)->reach(static_cast<std::size_t>(instances));
            return 0;
        };
        const int result = target.copyAll(source, &progress, step);
        if (result != RESULT_OK || source.stats(there) != RESULT_OK || target.stats(here) != RESULT_OK) {
            const std::string fault = DcIndex::fault();
            progress.clear();
            return failed("%s", fault.c_str());
        }
    }
    std::printf("%llu instances copied: %llu there, %llu here\n", here.instances - before, there.instances,
                here.instances);
    if (here.instances == there.instances) return EXIT_OK;
    return failed(
        "they do not have the same: `orvkit index check DIR --index PLACE` tells what one has alone");
}

}  // namespace services
