// orvkit: what people do with DICOM files every day, on top of the library.
#include <cstdlib>
#include <cstring>
#include <new>

#ifdef ORVKIT_WITH_DEFLATE
#include "orvkit/deflate.h"
#endif
#include "orvkit/edition.h"
#include "orvkit/log.h"
#include "platform/process.h"
#include "services/isolation.h"
#include "services/out_of_memory.h"
#include "services/report.h"
#include "tools/commands.h"

namespace {

namespace platform = orvkit::platform;

// Files are shown and changed as they are: no value is refused, cut or counted against its limits.
void takeValuesAsTheyAre() {
    elemListSetValueExceptionLevel(0);
}

// Today's edition of the dictionary, unless the environment asks for another.
bool setEdition() {
    const char* const asked = std::getenv("ORVKIT_EDITION");
    if (asked == nullptr || *asked == '\0' || std::strcmp(asked, "current") == 0) {
        return dictSetEdition(DICT_EDITION_CURRENT) == 0;
    }
    if (std::strcmp(asked, "2008") == 0) return true;
    return tools::complain("ORVKIT_EDITION is %s, and should be current or 2008", asked);
}

// Before everything else in the program, also before what other files build while it starts.
struct Beginning {
    Beginning() noexcept { services::endWithoutMemory(); }
};
[[gnu::init_priority(101)]] const Beginning beginning;

// In the order of the help, under its headings.
constexpr struct {
    const char* heading;
    void (*add)(tools::Command&);
} commands[] = {
    {"Files", tools::addDump},         {"Files", tools::addConvert},   {"Files", tools::addRender},
    {"Files", tools::addImport},       {"Files", tools::addExtract},   {"Files", tools::addPhantom},
    {"File sets", tools::addDicomdir}, {"File sets", tools::addMedia}, {"Archives", tools::addIndex},
    {"Network", tools::addEcho},       {"Network", tools::addSend},    {"Network", tools::addFind},
    {"Network", tools::addMove},       {"Network", tools::addGet},     {"Network", tools::addServe},
    {"Network", tools::addTls},        {"Network", tools::addUser},    {"More", tools::addLookup},
    {"More", tools::addCompletion},
};

}  // namespace

int main(int argc, char** argv) {
    services::serveCodecs(argc, argv);
    platform::prepareStandardStreams();
    platform::ignoreSizeLimit();
    tools::installLog(false);
    takeValuesAsTheyAre();
    if (!setEdition()) return tools::EXIT_USAGE;
#ifdef ORVKIT_WITH_DEFLATE
    deflateRegister();
#endif

    try {
        tools::Command program("orvkit",
                               "Dumps, converts and makes DICOM files and file sets, sends, finds, retrieves "
                               "and receives them over the "
                               "network, and looks up what the data dictionary knows.");
        program.flag(
            "-v,--verbose", [] { tools::installLog(true); },
            "Show the whole log of the library on standard error");
        program.footer(
            "Help on one command: orvkit COMMAND --help\nExit status: 0 success, 1 failure, 2 wrong usage.");
        for (const auto& [heading, add] : commands) {
            program.heading(heading);
            add(program);
        }
        const int status = tools::runCommandLine(program, platform::programArguments(argc, argv));
        return tools::finishOutput() || status != tools::EXIT_OK ? status : tools::EXIT_FAILED;
    } catch (const std::bad_alloc&) {
        tools::complain("not enough memory");
        return tools::EXIT_FAILED;
    }
}
