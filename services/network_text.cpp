#include "services/network_text.h"

#include <cstdio>
#include <string_view>

#include "orvkit/result.h"
#include "services/charset.h"
#include "services/report.h"
#include "services/words.h"

namespace services {
namespace {

template <std::size_t N>
std::string wordFor(const Word (&words)[N], int value, const char* what) {
    const char* text = find(words, value);
    return text != nullptr ? text : std::string(what) + " " + std::to_string(value);
}

constexpr Word rejectResults[] = {{1, "rejected-permanent"}, {2, "rejected-transient"}};
constexpr Word rejectSources[] = {
    {1, "the DICOM UL service-user"},
    {2, "the DICOM UL service-provider (ACSE related function)"},
    {3, "the DICOM UL service-provider (Presentation related function)"},
};
// The source in the hundreds.
constexpr Word rejectReasons[] = {
    {101, "no-reason-given"},
    {102, "application-context-name-not-supported"},
    {103, "calling-AE-title-not-recognized"},
    {107, "called-AE-title-not-recognized"},
    {201, "no-reason-given"},
    {202, "protocol-version-not-supported"},
    {301, "temporary-congestion"},
    {302, "local-limit-exceeded"},
};
constexpr Word contextResults[] = {
    {PRES_CTX_AC_ACCEPT, "accepted"},
    {PRES_CTX_AC_USER_REJECTED, "rejected by the peer"},
    {PRES_CTX_AC_NO_REASON, "rejected without a reason"},
    {PRES_CTX_AC_SOP_REJECTED, "the peer does not support the SOP class"},
    {PRES_CTX_AC_XFER_SYN_REJECTED, "the peer does not support the transfer syntax"},
};

constexpr Word outcomes[] = {
    {MSM_RELEASED, "the peer released the association"},
    {MSM_RELEASE_REQUESTED, "the peer released the association"},
    {MSM_NO_CONNECTION, "the peer closed the connection"},
    {MSM_READ_TIMEOUT, "the peer did not answer in time"},
    {MSM_RECEIVE, "the peer closed the connection, or it broke"},
    {MSM_CONNECT_TIMEOUT, "nobody connected in time"},
    {MSM_CONTEXT_SYNTAX, "no presentation context was accepted for it"},
    {DATATF_SOCKET, "the connection broke, or the peer stopped reading"},
    {ELEM_ILLEGAL_CHAR, "an AE title has characters that are not allowed"},
};

// How the log names what the system said of a socket.
constexpr struct {
    const char* name;
    const char* text;
} socketErrors[] = {
    {"WSAECONNREFUSED", "connection refused"},
    {"WSAETIMEDOUT", "no answer in time"},
    {"WSAENETUNREACH", "network unreachable"},
    {"WSAENETDOWN", "network down"},
    {"WSAEACCES", "not permitted"},
    {"WSAEADDRNOTAVAIL", "address not available"},
    {"WSAEADDRINUSE", "address in use"},
    {"WSAEMFILE", "too many open files"},
};

std::string connectText() {
    const std::string said = socketText(lastFault());
    return said.empty() ? "cannot connect" : "cannot connect: " + said;
}

// How the log tells why a message did not come to its end.
constexpr struct {
    std::string_view begin;
    const char* text;
} brokenMessages[] = {
    {"error code 0x3a06", "the peer stopped in the middle of a message"},      // DATATF_NOT_READY
    {"error code 0x3a08", "the connection broke in the middle of a message"},  // DATATF_SOCKET
    {"error code 0x3c01", "the peer broke off in the middle of a PDU, or was too slow"},
    {"Incomplete DIMSE message", "the peer broke off in the middle of a PDU, or was too slow"},
    {"Data set received that was not asked for", "the peer sent a data set that was not asked for"},
    {"Data set of more than", "the peer sent a larger data set than is taken of a request or response"},
    {"Out-of-sequence PDU 0x05", "the peer asked for release in the middle of a message"},
    {"Out-of-sequence PDU 0x07", "the peer aborted the association in the middle of a message"},
};

// An association that this side has closed.
std::string closedText() {
    const std::string said = lastFault();
    for (const auto& row : brokenMessages) {
        if (said.starts_with(row.begin)) return row.text;
    }
    return "the peer broke the protocol, and the association was closed" +
           (said.empty() ? said : ": " + withEscapes(said));
}

std::string abortedText(const DcMsm& msm) {
    if (lastFault().starts_with("Invalid type 0x15")) return "the peer speaks TLS (--tls)";
    if (lastFault().starts_with("Invalid type 0x")) return "the peer sent something that is no DICOM message";
    // Ours is the abort that waits for the peer to close (PS3.8 9.2, Sta13).
    if (msm.getState() == TSM_STATE_13_AWAIT_CLOSE) {
        return "the peer sent a PDU that has no place here, and the association was aborted";
    }
    return "the peer aborted the association, or closed the connection";
}

// Results that say nothing to a user: the log does.
std::string otherText(int result) {
    const std::string text = resultText(result);
    const std::string said = lastFault();
    return text.starts_with("result ") && !said.empty() ? said : text;
}

struct StatusRow {
    unsigned int from;
    unsigned int to;
    StatusKind kind;
    const char* text;
};
using enum StatusKind;
// The first row that fits holds.
constexpr StatusRow statuses[] = {
    {0x0000, 0x0000, success, "success"},
    {0x0001, 0x0001, warning, "warning"},
    {0x0105, 0x0105, failure, "no such attribute"},
    {0x0106, 0x0106, failure, "invalid attribute value"},
    {0x0107, 0x0107, warning, "attribute list error"},
    {0x0110, 0x0110, failure, "processing failure"},
    {0x0111, 0x0111, failure, "duplicate SOP instance"},
    {0x0112, 0x0112, failure, "no such SOP instance"},
    {0x0113, 0x0113, failure, "no such event type"},
    {0x0114, 0x0114, failure, "no such argument"},
    {0x0115, 0x0115, failure, "invalid argument value"},
    {0x0116, 0x0116, warning, "attribute value out of range"},
    {0x0117, 0x0117, failure, "invalid SOP instance"},
    {0x0118, 0x0118, failure, "no such SOP class"},
    {0x0119, 0x0119, failure, "class-instance conflict"},
    {0x0120, 0x0120, failure, "missing attribute"},
    {0x0121, 0x0121, failure, "missing attribute value"},
    {0x0122, 0x0122, failure, "refused: SOP class not supported"},
    {0x0123, 0x0123, failure, "no such action"},
    {0x0124, 0x0124, failure, "refused: not authorized"},
    {0x0210, 0x0210, failure, "duplicate invocation"},
    {0x0211, 0x0211, failure, "unrecognized operation"},
    {0x0212, 0x0212, failure, "mistyped argument"},
    {0x0213, 0x0213, failure, "resource limitation"},
    {0xA701, 0xA701, failure, "refused: out of resources, unable to calculate number of matches"},
    {0xA702, 0xA702, failure, "refused: out of resources, unable to perform sub-operations"},
    {0xA700, 0xA7FF, failure, "refused: out of resources"},
    {0xA801, 0xA801, failure, "refused: move destination unknown"},
    {0xA900, 0xA9FF, failure, "data set or identifier does not match SOP class"},
    {0xB000, 0xB000, warning, "coercion of data elements, or sub-operations with failures or warnings"},
    {0xB006, 0xB006, warning, "elements discarded"},
    {0xB007, 0xB007, warning, "data set does not match SOP class"},
    {0xB000, 0xBFFF, warning, "warning"},
    {0xC000, 0xCFFF, failure, "cannot understand, or unable to process"},
    {0xFE00, 0xFE00, cancel, "cancelled"},
    {0xFF00, 0xFF00, pending, "pending"},
    {0xFF01, 0xFF01, pending, "pending, some optional keys not supported"},
    {0x0000, 0xFFFF, failure, "failure"},
};

const StatusRow& rowOf(unsigned int status) {
    for (const StatusRow& row : statuses) {
        if (status >= row.from && status <= row.to) return row;
    }
    return statuses[std::size(statuses) - 1];
}

}  // namespace

std::string rejectText(const DcPduInfoRj& reject) {
    const char* reason = find(rejectReasons, reject.source * 100 + reject.reason);
    return wordFor(rejectResults, reject.result, "result") + " by " +
           wordFor(rejectSources, reject.source, "source") + ": " +
           (reason != nullptr ? reason : "reason " + std::to_string(reject.reason));
}

std::string socketText(const std::string& logged) {
    for (const auto& error : socketErrors) {
        if (logged.find(error.name) != std::string::npos) return error.text;
    }
    return logged;
}

std::string contextText(int result) {
    const char* text = find(contextResults, result);
    return text != nullptr ? text : "the peer did not answer for it";
}

std::string outcomeText(int result, const DcMsm& msm) {
    DcMsmAssoInfo info;
    DcSecurityInfo security;
    if (result != MSM_REJECTED && msm.getSecurityInfo(security) == RESULT_OK && security.fault[0] != '\0') {
        return std::string("TLS: ") + security.fault;
    }
    if (result == MSM_REJECTED) {
        (void)msm.getAssoInfo(info);
        if (info.reject.result == 0) return "association refused: the peer's answer cannot be used";
        return "association rejected: " + rejectText(info.reject);
    }
    if (result == MSM_ABORTED) return abortedText(msm);
    if (result == MSM_CLOSED) return closedText();
    const char* text = find(outcomes, result);
    return text != nullptr ? text : connectionText(result);
}

std::string connectionText(int result) {
    if (result == TSM_RESOLVE) return "the host name is not known";
    if (result == TSM_SOCKET) return "no socket to be had";
    return result == TSM_CONNECT ? connectText() : otherText(result);
}

StatusKind statusKind(unsigned int status) {
    return rowOf(status).kind;
}

std::string statusText(unsigned int status) {
    char number[16];
    std::snprintf(number, sizeof number, "0x%04X (", status);
    return number + std::string(rowOf(status).text) + ")";
}

unsigned int statusOf(DcMsg& response) {
    unsigned short status = 0xFFFF;
    return response.getValue(T_0000_0900_status, status) == RESULT_OK ? status : 0xFFFFu;
}

std::string statusText(DcMsg& response) {
    unsigned short status = 0;
    if (response.getValue(T_0000_0900_status, status) != RESULT_OK) return "without a status";
    std::string text = statusText(statusOf(response));
    char comment[513] = "";  // 64 are allowed, and not all peers count
    if (response.getValue(T_0000_0902_errorComment, comment, sizeof comment - 1) == RESULT_OK &&
        comment[0] != '\0') {
        text += ": " + withEscapes(Charset().toUtf8(comment, VR_LO));
    }
    return text;
}

std::string bytesText(double bytes) {
    constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB"};
    std::size_t unit = 0;
    while (bytes >= 1000 && unit + 1 < std::size(units)) {
        bytes /= 1000;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}

}  // namespace services
