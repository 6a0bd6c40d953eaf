#include "services/report.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "dictionary/syntax_table.h"
#include "orvkit/dict.h"
#include "orvkit/log.h"
#include "orvkit/result.h"
#include "services/text.h"
#include "services/words.h"

namespace services {
namespace {

// The first reason why standard output failed, on whatever thread.
std::atomic<int> outputFailure = 0;

// Not strings, whose end a thread would have to note when it first touches them: without memory for that, the
// C library aborts the program.
constexpr std::size_t kLongestText = 2048;
thread_local char faultOfThread[kLongestText];
thread_local int replacedByThread = 0;
thread_local char remarkOfThread[kLongestText];

// The library's log as the command shows it: a line on standard error.
class StderrLog : public DcLog {
  public:
    explicit StderrLog(bool verbose) : verbose_(verbose) {}
    bool verbose() const { return verbose_; }
    void mute(bool muted) { muted_ = muted && !verbose_; }
    int errors() const { return errors_; }

    int report(LOG_MSG level, const char* name, const char* fmt, ...) override {
        if (fmt == nullptr) return RESULT_LOG_NULL_FORMAT;
        if (level < LOG_NOTICE || level > LOG_APPLICATION) return RESULT_LOG_LEVEL;
        if (name != nullptr && std::strcmp(name, "DcElemList::add") == 0) ++replacedByThread;
        if (level == LOG_ERROR) ++errors_;
        const bool remark = name != nullptr && level < LOG_ERROR && std::strcmp(name, "unpackDataSet") == 0;
        if (level < LOG_ERROR && (muted_ || !verbose_) && !remark) return RESULT_LOG_SUPPRESSED;
        char text[kLongestText];
        va_list arguments;
        va_start(arguments, fmt);
        std::vsnprintf(text, sizeof text, fmt, arguments);
        va_end(arguments);
        if (remark) std::strcpy(remarkOfThread, text);
        if (level < LOG_ERROR && (muted_ || !verbose_)) return RESULT_LOG_SUPPRESSED;
        // A bare number follows what was said of the fault itself, if anything was.
        const bool bare = std::strncmp(text, "error code ", 11) == 0;
        if (level == LOG_ERROR && (!bare || *faultOfThread == '\0')) std::strcpy(faultOfThread, text);
        if (muted_) return RESULT_LOG_SUPPRESSED;
        if (verbose_ && name != nullptr) {
            complain("%s [%s]", text, name);
        } else {
            complain("%s", text);
        }
        return RESULT_OK;
    }

  private:
    bool verbose_;
    bool muted_ = false;
    int errors_ = 0;
};

StderrLog* installed = nullptr;

// Where there is no memory, too.
void putLine(const char* format, va_list arguments) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    char line[4096 + 16] = "orvkit: ";
    std::size_t used = std::strlen(line);
    putEscaped(text, true, [&](std::string_view piece) {
        if (used + piece.size() + 2 > sizeof line) return;
        used += piece.copy(line + used, piece.size());
    });
    std::strcpy(line + used, "\n");
    std::fputs(line, stderr);  // one write: lines of programs that share the terminal stay whole
}

}  // namespace

void installLog(bool verbose) {
    delete Log;
    Log = installed = new StderrLog(verbose);  // destroyed with the dictionary
}

void muteLog(bool muted) {
    if (installed != nullptr) installed->mute(muted);
}

bool logIsVerbose() {
    return installed != nullptr && installed->verbose();
}

int elementsReplaced() {
    return replacedByThread;
}

int errorsLogged() {
    return installed != nullptr ? installed->errors() : 0;
}

std::string takeRemark() {
    const std::string text = remarkOfThread;
    *remarkOfThread = '\0';
    const std::size_t name = text.find("', ");
    return name == std::string::npos ? text : text.substr(name + 3);
}

std::string lastFault() {
    return faultOfThread;
}

void forgetFault() {
    *faultOfThread = '\0';
}

bool complain(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    putLine(format, arguments);
    va_end(arguments);
    return false;
}
int failed(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    putLine(format, arguments);
    va_end(arguments);
    return EXIT_FAILED;
}
int misused(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    putLine(format, arguments);
    va_end(arguments);
    return EXIT_USAGE;
}

bool finishOutput() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return true;
    noteOutputFailure();
    // Whoever read has seen enough.
    const int reason = outputFailure;
    if (reason != EPIPE) complain("standard output: %s", reason != 0 ? std::strerror(reason) : "write error");
    return false;
}

void noteOutputFailure() noexcept {
    int none = 0;
    outputFailure.compare_exchange_strong(none, errno);
}

std::string resultText(int result) {
    static constexpr Word texts[] = {
        {DIR_NOT_PART10, "not a DICOM Part 10 file"},
        {DIR_OPEN, "cannot be opened"},
        {DIR_STAT, "cannot be examined"},
        {DIR_READ_WRITE, "cannot be read or written in full"},
        {DIR_FILE_SIZE, "too large"},
        {DIR_META_INFO, "the file meta information is invalid or incomplete"},
        {ELEM_PACKED_STREAM, "the compressed data set is cut or damaged"},
        {RESULT_DICT_NOT_XFER_SYN, "the transfer syntax is not known"},
        {ELEM_XFER_SYNTAX, "the transfer syntax is not known"},
        {ELEM_NO_MEMORY, "not enough memory"},
    };
    if (const char* text = find(texts, result)) return text;
    constexpr int damages[] = {ELEM_SHORT_BUFFER, ELEM_VALUE_REFUSED, UTIL_READ,
                               UTIL_MALFORMED,    UTIL_NO_TERMINATOR, UTIL_LENGTH_FIELD};
    const std::string number = "result " + std::to_string(result);
    const bool damaged = std::find(std::begin(damages), std::end(damages), result) != std::end(damages);
    return damaged ? "the data set is damaged (" + number + ")" : number;
}

DICT_UID xferSynFromName(std::string_view name) {
    for (const orvkit::SyntaxRow& row : orvkit::syntax_table::rows) {
        if (!name.empty() && name == row.name) return row.syntax;
    }
    return UID_NONE;
}

std::string describeUid(DICT_UID uid) {
    const DcDictUidInfo* info = Dict.findUid(uid);
    if (info == nullptr) return uid == UID_NONE ? "none" : std::to_string(uid);
    return std::string(info->uid) + " (" + info->desc + ")";
}

std::string describeFound(const DcDirFound& found) {
    const orvkit::SyntaxRow& row = orvkit::syntaxRow(found.xferSyn);
    const bool big = row.order == orvkit::ByteOrder::big;
    std::string readAs = row.explicitVr ? "read as explicit VR " : "read as implicit VR ";
    readAs += big ? "big endian" : "little endian";
    std::string text;
    const auto add = [&text](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (!found.meta) {
        add(readAs + " without a header");
    } else if (found.guessed) {
        add(readAs + ", otherwise than its header says");
    }
    if (found.meta && !found.preamble) add("no preamble");
    if (found.metaImplicit) add("a header in implicit VR");
    if (found.directoryImplicit) add("directory in implicit VR");
    if (found.zerosBefore != 0) add(std::to_string(found.zerosBefore) + " zero bytes in front");
    if (found.zerosBehind != 0) add(std::to_string(found.zerosBehind) + " zero bytes behind the data set");
    return text;
}

}  // namespace services
