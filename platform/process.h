// What a platform must implement: the running program.
#ifndef ORVKIT_PLATFORM_PROCESS_H
#define ORVKIT_PLATFORM_PROCESS_H

namespace orvkit::platform {

unsigned int processId() noexcept;
// The number by which the system knows the calling thread.
unsigned int threadId() noexcept;

}  // namespace orvkit::platform

#endif
