// orvkit find: what a peer holds.
#include <memory>

#include "services/user.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

void addFind(Command& program) {
    Command& command = program.command("find", "Ask a peer what it holds (C-FIND)");
    auto options = std::make_shared<QueryOptions>();
    auto words = addPeerOptions(command, *options, "", "");
    addQueryOptions(command, *options);
    command.number("--max-results", options->maxResults, "Cancel the request when more results come")
        .range(1, 1000000000)
        .value("N");
    command.footer("--json prints the DICOM JSON model (PS3.18 Annex F): an array with an object a result.");
    command.run(
        [options, words] { return runAsUser(*options, *words, false, [&] { return find(*options); }); });
}

}  // namespace tools
