// orvkit: what people do with DICOM files every day, on top of the library.
#include <new>

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

constexpr void (*commands[])(tools::Command&) = {
    tools::addDump,     tools::addConvert, tools::addLookup, tools::addPhantom,
    tools::addDicomdir, tools::addMedia,   tools::addEcho,   tools::addSend,
    tools::addFind,     tools::addMove,    tools::addGet,    tools::addServe,
};

}  // namespace

int main(int argc, char** argv) {
    platform::prepareStandardStreams();
    platform::ignoreSizeLimit();
    tools::installLog(false);
    takeValuesAsTheyAre();

    try {
        tools::Command program("orvkit",
                               "Dumps, converts and makes DICOM files and file sets, and looks up what the "
                               "data dictionary knows.");
        program.flag(
            "-v,--verbose", [] { tools::installLog(true); },
            "Show the whole log of the library on standard error");
        program.footer(
            "Help on one command: orvkit COMMAND --help\nExit status: 0 success, 1 failure, 2 wrong usage.");
        for (auto* add : commands) add(program);
        const int status =
            tools::runCommandLine(program, "orvkit " ORVKIT_VERSION, platform::programArguments(argc, argv));
        return tools::finishOutput() || status != tools::EXIT_OK ? status : tools::EXIT_FAILED;
    } catch (const std::bad_alloc&) {
        tools::complain("not enough memory");
        return tools::EXIT_FAILED;
    }
}
