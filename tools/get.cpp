// orvkit get: retrieve over the association that asks.
#include <memory>

#include "services/report.h"
#include "services/user.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

void addGet(Command& program) {
    Command& command =
        program.command("get", "Retrieve objects from a peer over the same association (C-GET)");
    auto options = std::make_shared<QueryOptions>();
    auto words = addPeerOptions(command, *options, "DIR",
                                "the directory to store in, which is made if it is not there");
    addRetrieveOptions(command, *options);
    command.flag("--without-bulk-data", options->withoutBulkData,
                 "Instances without pixels, waveforms, documents and the like; by their UIDs alone");
    command.footer(
        "Each object becomes DIR/SOPINSTANCEUID.dcm, as it was sent, under that name when it is whole and on "
        "disk.");
    command.run([options, words] {
        return runAsUser(*options, *words, true, [&]() -> int {
            if (options->withoutBulkData) options->root = "instance";
            if (words->size() == 1) return get(*options, words->front());
            return misused("get takes one directory");
        });
    });
}

}  // namespace tools
