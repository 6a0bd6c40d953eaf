// The log: every failure worth a human's attention is one text line.
//
// A line reads "Nov15 03:22:39 <DcDict::add> text": local time, the reporter's class and method, the message.
// Four levels can be switched on and off and be written to a file each; all of them start switched on and
// write to standard output.
//
// Threads: logReport, logActivate, logSetFileName and the operations of DcLog may be called from any number
// of threads; whole lines are written one after another. MsgBuf is shared, so its text after logReport is
// the caller's own only while no other thread reports. `Log` itself is not to be replaced meanwhile.
#ifndef ORVKIT_LOG_H
#define ORVKIT_LOG_H

#include "orvkit/export.h"

enum LOG_MSG : int {
    LOG_NOTICE = 0,       // tolerated or worked around: unknown tags, ignored elements, dictionary limits
    LOG_VALIDATION = 1,   // rejected arguments and values
    LOG_ERROR = 2,        // failures of resources, input and output, and protocol
    LOG_APPLICATION = 3,  // never used by the library
};

enum LOG_ACTIVE : int {
    LOG_OFF = 0,
    LOG_ON = 1,  // any other non-zero value counts as on
};

// The log's object. Copies share the file names with their source: a copy must not be destroyed together
// with its source while a file name is set.
class ORVKIT_API DcLog {
  public:
    DcLog();
    DcLog(const DcLog&) = default;
    DcLog& operator=(const DcLog&) = default;

    // ---- virtual operations, in slot order --------------------------------------------------------------
    virtual ~DcLog();
    // Writes one line of any length. `name` may be null: then the line holds no reporter. A level's file is
    // opened for appending and closed again for each line. Checked in this order: null format
    // RESULT_LOG_NULL_FORMAT, not one of the four levels RESULT_LOG_LEVEL, level switched off
    // RESULT_LOG_SUPPRESSED, file that cannot be opened RESULT_LOG_FILE.
    virtual int report(LOG_MSG level, const char* name, const char* fmt, ...) ORVKIT_PRINTF(4, 5);

    // Switches a level on or off. RESULT_LOG_LEVEL for anything but the four levels.
    int activate(LOG_MSG level, LOG_ACTIVE active);
    // Directs a level to a file (the name is copied, the file is not touched before the next line), or with
    // null back to standard output. RESULT_LOG_LEVEL for anything but the four levels, ELEM_NO_MEMORY.
    int setFname(LOG_MSG level, const char* fileName);

  private:
    static constexpr int levels = 4;
    int active_[levels];
    char* fileName_[levels];
};

// The log of the process: made with the global dictionary and destroyed with it, null before and after.
extern ORVKIT_API DcLog* Log;

// The text of the last message that went through logReport, also when its level is off. Texts longer than
// this are cut here, but not in the log.
inline constexpr int LOG_MSG_BUF_SIZE = 4096;
extern ORVKIT_API char MsgBuf[LOG_MSG_BUF_SIZE];

// Reports a message to `Log`: RESULT_LOG_NULL_FORMAT for a null format, RESULT_LOG_ABSENT without a log,
// otherwise the result of DcLog::report. `name` may be null.
ORVKIT_API int logReport(LOG_MSG level, const char* name, const char* fmt, ...) ORVKIT_PRINTF(3, 4);
// DcLog::activate and DcLog::setFname of `Log`; RESULT_LOG_ABSENT without a log.
ORVKIT_API int logActivate(LOG_MSG level, LOG_ACTIVE active);
ORVKIT_API int logSetFileName(LOG_MSG level, const char* fileName);

// The value exception level of the process, initially -1 (checks on). At 0 the checks of values by their VR
// accept everything, over-long texts are stored whole, and data sets made from then on accept any value.
// Returns 0. May be called from any thread.
ORVKIT_API int elemListSetValueExceptionLevel(int level);

#endif
