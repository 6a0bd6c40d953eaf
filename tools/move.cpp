// orvkit move: have a peer send objects to another one.
#include <memory>

#include "services/user.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

void addMove(Command& program) {
    Command& command = program.command("move", "Have a peer send objects to another one (C-MOVE)");
    auto options = std::make_shared<QueryOptions>();
    auto destination = std::make_shared<std::string>();
    auto words = addPeerOptions(command, *options, "", "");
    addRetrieveOptions(command, *options);
    command.text("--dest AET", *destination, "The AE title of the one to send to")
        .required()
        .check([](const std::string& text) {
            return isAeTitle(text) ? std::string() : "not an AE title: " + text;
        });
    command.run([options, destination, words] {
        return runAsUser(*options, *words, false, [&] { return move(*options, *destination); });
    });
}

}  // namespace tools
