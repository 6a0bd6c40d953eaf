// orvkit echo: whether a peer answers.
#include <memory>

#include "services/user.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

void addEcho(Command& program) {
    Command& command = program.command("echo", "Ask a DICOM peer for an echo (C-ECHO)");
    auto options = std::make_shared<PeerOptions>();
    auto repeat = std::make_shared<int>(1);
    auto words = addPeerOptions(command, *options, "", "");
    command.number("--repeat N", *repeat, "Echoes on one association").range(1, 1000000000);
    command.run([options, repeat, words] {
        return runAsUser(*options, *words, false, [&] { return echo(*options, *repeat); });
    });
}

}  // namespace tools
