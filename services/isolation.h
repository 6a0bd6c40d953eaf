// Codec libraries in processes of their own, for the command.
#ifndef ORVKIT_SERVICES_ISOLATION_H
#define ORVKIT_SERVICES_ISOLATION_H

namespace services {

// To be called first in main: does not come back where the program was started as such a process.
void serveCodecs(int argc, char** argv) noexcept;
// From now on codec libraries run in such processes, at most so many at once (0: one a processor). False,
// with a complaint, where there are none.
[[nodiscard]] bool isolateCodecs(unsigned int most = 0);

}  // namespace services

#endif
