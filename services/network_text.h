// What happened on the network, in words: rejects, time-outs, DIMSE statuses.
#ifndef ORVKIT_SERVICES_NETWORK_TEXT_H
#define ORVKIT_SERVICES_NETWORK_TEXT_H

#include <string>

#include "orvkit/msm.h"

namespace services {

// "rejected-permanent by the DICOM UL service-user: called-AE-title-not-recognized" (PS3.8 9.3.4).
std::string rejectText(const DcPduInfoRj& reject);
// What the log said of a socket, with the system's error in words where it has one that is known.
std::string socketText(const std::string& logged);
// Why a presentation context is not there (PS3.8 9.3.3.2).
std::string contextText(int result);
// What a result of DcMsm means: one line without a full stop.
std::string outcomeText(int result, const DcMsm& msm);
// The same of a connection that could not be made, and of results that are not of associations.
std::string connectionText(int result);

// Statuses of DIMSE responses (PS3.7 Annex C, and PS3.4 for those of the services).
enum class StatusKind { success, pending, warning, failure, cancel };
StatusKind statusKind(unsigned int status);
// "0xA700 (refused: out of resources)".
std::string statusText(unsigned int status);
// The status of a response, with the peer's error comment.
std::string statusText(DcMsg& response);
// 0xFFFF when the response has none, which is a failure.
unsigned int statusOf(DcMsg& response);

// "12.3 MB"
std::string bytesText(double bytes);

}  // namespace services

#endif
