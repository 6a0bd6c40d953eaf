// orvkit user: a line for the file of users of `orvkit serve`.
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "services/security.h"
#include "services/users.h"
#include "tools/commands.h"

namespace tools {

namespace {

struct UserOptions {
    std::string name;
    std::string passwordFile;
};

int makeUser(const UserOptions& options) {
    std::optional<std::string> password;
    if (!options.passwordFile.empty()) {
        password = firstLine(options.passwordFile);
    } else if (std::string line; std::getline(std::cin, line)) {
        password = line;
    }
    std::string fault = "there is no password";
    const std::optional<std::string> made =
        password ? userLine(options.name, *password, fault) : std::nullopt;
    if (!made) return failed("%s", fault.c_str());
    std::printf("%s\n", made->c_str());
    return finishOutput() ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

void addUser(Command& program) {
    auto options = std::make_shared<UserOptions>();
    Command& command = program.command("user", "Make a line for the file of users of `orvkit serve --users`");
    command.text("NAME", options->name, "The user's name").required();
    command
        .text("--password-file FILE", options->passwordFile,
              "The password is the first line of FILE; without it, the first line of standard input")
        .existingFile();
    command.run([options]() -> int {
        muteLog();
        if (!hasTls())
            return misused("passwords of users are left out of this orvkit: it was built without OpenSSL");
        return makeUser(*options);
    });
}

}  // namespace tools
