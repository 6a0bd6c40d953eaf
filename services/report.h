// How work ends and what is told of it: exit statuses, diagnostics, the log on standard error, names of
// transfer syntaxes.
#ifndef ORVKIT_SERVICES_REPORT_H
#define ORVKIT_SERVICES_REPORT_H

#include <string>
#include <string_view>

#include "orvkit/file.h"
#include "orvkit/log.h"
#include "orvkit/uids.h"

namespace services {

// Exit statuses of the command.
enum ExitStatus : int {
    EXIT_OK = 0,
    EXIT_FAILED = 1,  // the job failed, or a part of it
    EXIT_USAGE = 2,   // wrong usage: unknown option, missing or unusable argument
};

// Sends the library's log to standard error, so that standard output holds results only. Without `verbose`
// only errors come through (LOG_ERROR), with it every level and the name of the reporter.
void installLog(bool verbose);
// While a subcommand tells faults in its own words, the library's log is shown with --verbose only.
void muteLog(bool muted = true);

bool logIsVerbose();

// How often a data set of the calling thread has replaced an element by a later one with the same tag: the
// library tells that through its log alone.
int elementsReplaced();
// How many errors (LOG_ERROR) the library has told, muted or not.
int errorsLogged();

// What was odd about the compressed data set that the calling thread read last, "" when nothing was; told
// once.
std::string takeRemark();

// The last error (LOG_ERROR) that the library logged on this thread, shown or not; "" since forgetFault.
std::string lastFault();
void forgetFault();

// One line on standard error: "orvkit: " and the text, its control characters as escapes. False, for those
// who then answer that.
bool complain(const char* format, ...) ORVKIT_PRINTF(1, 2);
// The same for those who answer with an exit status: EXIT_FAILED, EXIT_USAGE.
int failed(const char* format, ...) ORVKIT_PRINTF(1, 2);
int misused(const char* format, ...) ORVKIT_PRINTF(1, 2);

// Flushes standard output; false, with a complaint, when not everything could be written.
[[nodiscard]] bool finishOutput();
// Called at once, on the thread whose writing failed: finishOutput tells the first reason.
void noteOutputFailure() noexcept;

// What a result code of the library means for a file that cannot be read or written: "not a DICOM Part 10
// file". "result 1234" for codes that say nothing to a user.
std::string resultText(int result);

// The names --to takes: implicit, explicit, big, lzw. UID_NONE for anything else.
DICT_UID xferSynFromName(std::string_view name);

// The UID and its description: "1.2.840.10008.1.2 (Little Endian Implicit)"; "none" for UID_NONE.
std::string describeUid(DICT_UID uid);
// What is to be told of a file that was read all the same: "read as implicit VR little endian without a
// header"; "" when there is nothing.
std::string describeFound(const DcDirFound& found);

}  // namespace services

#endif
