// orvkit index: what an archive has, without the network.
#include <array>
#include <memory>
#include <string>

#ifdef ORVKIT_WITH_INDEX
#include "services/archive_index.h"
#endif
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {

#ifdef ORVKIT_WITH_INDEX
namespace {

using Work = int (*)(const ArchiveOptions&);

Command& addJob(Command& index, const std::shared_ptr<ArchiveOptions>& options, const char* name,
                const char* what, Work work) {
    Command& command = index.command(name, what);
    command.text("DIR", options->directory, "Directory of the archive").required().existingFolder();
    command.text("--index PLACE", options->index,
                 "Its index, unless that is in the directory: sqlite:PATH or postgresql://HOST/DATABASE");
    command.run([options, work] {
        muteLog();
        return work(*options);
    });
    return command;
}

}  // namespace
#endif

void addIndex(Command& program) {
    Command& index =
        program.command("index", "Make, check and search the index of an archive (`orvkit serve --archive`)");
#ifdef ORVKIT_WITH_INDEX
    auto options = std::make_shared<ArchiveOptions>();
    Command& rebuild =
        addJob(index, options, "rebuild", "Make the index from the headers of all files", rebuildIndex);
    rebuild.number("-j,--jobs N", options->jobs, "Threads that read").range(1, 64);
    Command& check = addJob(index, options, "check",
                            "Compare index and files, both ways; exit status 1 on any finding", checkIndex);
    check.flag("--repair", options->repair, "Mend what can be mended: the files are right");
    Command& find =
        addJob(index, options, "find", "Search the index, as `orvkit find` asks a peer", findInIndex);
    addQueryOptions(find, options->query).oneOf({"patient", "study"});
    find.number("--max-results N", options->query.maxResults, "Stop when there are more")
        .range(1, 1000000000);
    find.flag("--date-time", options->query.dateTime, "Ranges of a date and of its time are matched as one");
    find.flag("--fuzzy-names", options->query.fuzzyNames,
              "Each word of a name's key begins some word of the name");
    find.flag("--any-case", options->anyCase,
              "Capitals are small letters in all texts, as they are in names");
    find.flag("--any-accent", options->anyAccent, "Letters are without their marks");
    Command& stats = addJob(index, options, "stats", "What there is, and how large the index is", showIndex);
    stats.flag("--json", options->json, "For programs");
    Command& verify =
        addJob(index, options, "verify",
               "Look whether the index agrees with itself; exit status 1 on any finding", verifyIndex);
    verify.flag("--json", options->json, "For programs");
    Command& remove =
        addJob(index, options, "delete",
               "Take what keys select out of the archive, into a grave; without keys, list the graves",
               deleteFromIndex);
    remove.texts("-k,--key TAG=VALUE", options->query.keys, "A unique key: StudyInstanceUID=1.2.3");
    remove.text("--root ROOT", options->query.root, "The information model, patient or study root")
        .oneOf({"patient", "study"});
    remove.text("--level LEVEL", options->query.level, "As for find")
        .oneOf({"patient", "study", "series", "image"})
        .inAnyCase();
    remove.number("--undo GRAVE", options->undo, "Bring back what is in a grave")
        .range(1, 2147483647)
        .hideDefault();
    remove.number("--empty GRAVE", options->empty, "Delete for good what is in a grave")
        .range(1, 2147483647)
        .hideDefault();
    auto places = std::make_shared<std::array<std::string, 2>>();
    Command& copy = index.command(
        "copy",
        "Copy an index into another one, such as a database, also while a server stores into the first");
    copy.text("FROM", (*places)[0], "sqlite:PATH or postgresql://HOST/DATABASE").required();
    copy.text("TO", (*places)[1], "The same; made if absent").required();
    copy.run([places] {
        muteLog();
        return copyIndex((*places)[0], (*places)[1]);
    });
    index.footer("Help on one of them: orvkit index find --help");
#else
    index.run([] { return misused("the index is left out of this orvkit: it was built without SQLite"); });
#endif
}

}  // namespace tools
