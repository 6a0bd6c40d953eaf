// orvkit: what people do with DICOM files every day, on top of the library.
#include <CLI/CLI.hpp>
#include <new>
#include <string>
#include <vector>

#include "orvkit/log.h"
#include "platform/process.h"
#include "services/report.h"
#include "tools/commands.h"

namespace {

namespace platform = orvkit::platform;

// Files are shown and changed as they are: no value is refused, cut or counted against its limits.
void takeValuesAsTheyAre() {
    elemListSetValueExceptionLevel(0);
}

}  // namespace

int main(int argc, char** argv) {
    platform::prepareStandardStreams();
    platform::ignoreSizeLimit();
    tools::installLog(false);
    takeValuesAsTheyAre();

    int status = tools::EXIT_OK;
    CLI::App program(
        "Dumps, converts and makes DICOM files and file sets, and looks up what the data dictionary knows.",
        "orvkit");
    program.set_version_flag("--version", "orvkit " ORVKIT_VERSION);
    program.add_flag_callback(
        "-v,--verbose", [] { tools::installLog(true); },
        "Show the whole log of the library on standard error");
    program.require_subcommand(1);
    program.fallthrough();
    program.footer(
        "Help on one command: orvkit COMMAND --help\nExit status: 0 success, 1 failure, 2 wrong usage.");
    tools::addDump(program, status);
    tools::addConvert(program, status);
    tools::addLookup(program, status);
    tools::addPhantom(program, status);
    tools::addDicomdir(program, status);
    tools::addMedia(program, status);
    tools::addEcho(program, status);
    tools::addSend(program, status);
    tools::addFind(program, status);
    tools::addMove(program, status);
    tools::addGet(program, status);
    tools::addServe(program, status);

    const std::vector<std::string> arguments = platform::programArguments(argc, argv);
    std::vector<const char*> texts;
    texts.reserve(arguments.size());
    for (const std::string& argument : arguments) texts.push_back(argument.c_str());
    try {
        program.parse(static_cast<int>(texts.size()), texts.data());
    } catch (const CLI::Success& asked) {  // --help, --version
        program.exit(asked);
    } catch (const CLI::RequiredError& error) {  // a misspelt command or option is why something is missing
        const std::vector<std::string> unknown = program.remaining(true);
        if (unknown.empty()) {
            program.exit(error);
        } else {
            program.exit(CLI::ExtrasError(unknown));
        }
        return tools::EXIT_USAGE;
    } catch (const CLI::Error& error) {
        program.exit(error);
        return tools::EXIT_USAGE;
    } catch (const std::bad_alloc&) {
        tools::complain("not enough memory");
        return tools::EXIT_FAILED;
    }
    if (!tools::finishOutput() && status == tools::EXIT_OK) status = tools::EXIT_FAILED;
    return status;
}
