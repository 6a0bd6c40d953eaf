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
    addQueryOptions(command, *options).oneOf({"patient", "study"});
    command.number("--max-results N", options->maxResults, "Cancel the request when more results come")
        .range(1, 1000000000);
    command.flag("--relational", options->relational,
                 "Ask for keys of any level, without the unique keys of the levels above");
    command.flag("--date-time", options->dateTime,
                 "Ask that ranges of a date and of its time are matched as one");
    command.flag("--fuzzy-names", options->fuzzyNames,
                 "Ask that names are matched by their sound or the like");
    command.flag("--timezone", options->timezone,
                 "Ask that dates and times are adjusted to a time zone, that of the key "
                 "TimezoneOffsetFromUTC or the peer's");
    command.flag("--empty-values", options->emptyValues,
                 "Ask that a key whose value is \"\" (two quotes) matches what has no value");
    command.footer(
        "--relational, --date-time, --fuzzy-names, --timezone and --empty-values are proposed when the "
        "association is "
        "opened; what the\npeer does not agree to is told on standard error, and it answers "
        "without.\n--json prints the DICOM JSON model (PS3.18 Annex F): an array with an object a result.");
    command.run(
        [options, words] { return runAsUser(*options, *words, false, [&] { return find(*options); }); });
}

}  // namespace tools
