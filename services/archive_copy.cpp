// orvkit index copy.
#include <cstdio>

#include "orvkit/index.h"
#include "orvkit/result.h"
#include "services/archive_index.h"
#include "services/progress.h"
#include "services/report.h"

namespace services {
namespace {

bool copyOnce(const DcIndex& source, DcIndex& target, unsigned long long instances) {
    Progress progress("copying", static_cast<std::size_t>(instances));
    return target.copyAll(source, &progress, [](void* context, unsigned long long seen) {
        static_cast<Progress*>(context)->reach(static_cast<std::size_t>(seen));
        return 0;
    }) == RESULT_OK;
}

}  // namespace

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
    // What was stored behind the place that a pass has come to is another one's. Equal counts alone do not
    // tell that there is none: something else may have been deleted.
    unsigned long long known = 0;
    int pass = 0;
    do {
        known = here.instances;
        if (!copyOnce(source, target, there.instances) || source.stats(there) != RESULT_OK ||
            target.stats(here) != RESULT_OK)
            return failed("%s", DcIndex::fault());
    } while (here.instances != known && ++pass < mostPasses);
    std::printf("%llu instances copied: %llu there, %llu here\n", here.instances - before, there.instances,
                here.instances);
    if (here.instances != known)
        return failed(
            "each time there was more to copy: end the server that stores there, and copy once more");
    if (here.instances == there.instances && there.graves == 0) return EXIT_OK;
    return failed(
        "they do not have the same: `orvkit index check DIR --index PLACE` tells what one has alone");
}

}  // namespace services
