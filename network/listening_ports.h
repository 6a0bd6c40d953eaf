// The listening ports of the process: one socket for each, shared and counted.
#ifndef ORVKIT_NETWORK_LISTENING_PORTS_H
#define ORVKIT_NETWORK_LISTENING_PORTS_H

namespace orvkit {

// Joins the transports that use a port, opening it for the first; port 0 opens one that the system chooses,
// and `port` receives it. 0, or 16401 to 16403, 16405, 16407 to 16409 (logged as "DcTsm::sockListenOpen").
int openListeningPort(int& port, unsigned int& socket);
// Leaves them; the last one closes the port.
void leaveListeningPort(unsigned int socket) noexcept;

// Logs why the last call on a socket failed, by its symbolic name, and returns `code`.
int failSocket(int code, const char* reporter);

}  // namespace orvkit

#endif
