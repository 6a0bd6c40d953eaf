// The listening ports of the process: one socket for each, shared and counted.
#ifndef ORVKIT_NETWORK_LISTENING_PORTS_H
#define ORVKIT_NETWORK_LISTENING_PORTS_H

namespace orvkit {

// Joins the transports that use a port, opening it for the first; port 0 opens one that the system chooses,
// and `port` receives it. A code from TSM_SOCKET_STARTUP to TSM_LISTEN is logged as "DcTsm::sockListenOpen".
int openListeningPort(int& port, unsigned int& socket);
// Leaves them; the last one closes the port.
void leaveListeningPort(unsigned int socket) noexcept;

// Logs why the last call on a socket failed, by its symbolic name, and returns `code`.
int failSocket(int code, const char* reporter);

}  // namespace orvkit

#endif
