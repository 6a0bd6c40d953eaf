// The subcommands of `orvkit`. Each lives in a file of its own and offers one function, which describes it
// with its options and the work it does.
#ifndef ORVKIT_TOOLS_COMMANDS_H
#define ORVKIT_TOOLS_COMMANDS_H

#include "services/report.h"
#include "tools/options.h"

namespace tools {

using namespace services;  // what the subcommands do stands there

// "--isolate".
void addIsolate(Command& command, bool& isolate);

void addDump(Command& program);
void addConvert(Command& program);
void addLookup(Command& program);
void addPhantom(Command& program);
void addRender(Command& program);
void addImport(Command& program);
void addExtract(Command& program);
void addDicomdir(Command& program);
void addMedia(Command& program);
void addIndex(Command& program);
void addEcho(Command& program);
void addSend(Command& program);
void addFind(Command& program);
void addMove(Command& program);
void addGet(Command& program);
void addServe(Command& program);
void addTls(Command& program);
void addUser(Command& program);
// Behind all others: it tells of the program as it is then and later.
void addCompletion(Command& program);

}  // namespace tools

#endif
