// The subcommands of `orvkit`. Each lives in a file of its own and offers one function, which adds it with
// its options to the program and hands CLI11 a callback that does the work.
#ifndef ORVKIT_TOOLS_COMMANDS_H
#define ORVKIT_TOOLS_COMMANDS_H

#include "services/report.h"

namespace CLI {
class App;
}

namespace tools {

using namespace services;  // what the subcommands do stands there

// The callback of a subcommand leaves its exit status in `status`, which outlives the program object.
void addDump(CLI::App& program, int& status);
void addConvert(CLI::App& program, int& status);
void addLookup(CLI::App& program, int& status);
void addPhantom(CLI::App& program, int& status);
void addDicomdir(CLI::App& program, int& status);
void addMedia(CLI::App& program, int& status);
void addEcho(CLI::App& program, int& status);
void addSend(CLI::App& program, int& status);
void addFind(CLI::App& program, int& status);
void addMove(CLI::App& program, int& status);
void addGet(CLI::App& program, int& status);
void addServe(CLI::App& program, int& status);

}  // namespace tools

#endif
