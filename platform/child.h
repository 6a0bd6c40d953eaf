// What a platform must implement: a process that works for this one, and may fail in any way.
#ifndef ORVKIT_PLATFORM_CHILD_H
#define ORVKIT_PLATFORM_CHILD_H

#include <span>
#include <string>

#include "platform/deadline.h"

namespace orvkit::platform {

// This side of it: a program, and a connection to its standard input. It has nothing else of this process:
// no files, and no terminal that signals come from.
class Child {
  public:
    Child() noexcept = default;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { (void)end(); }

    // `program` is the path of a program, or "" for the one that runs. False: `fault` tells why; also where
    // the system has no such thing.
    [[nodiscard]] bool start(const std::string& program, const std::string& argument, std::string& fault);
    // All of it before the time is over. False: the child has ended, or the time has.
    [[nodiscard]] bool send(std::span<const unsigned char> bytes, const Deadline& deadline) noexcept;
    [[nodiscard]] bool receive(std::span<unsigned char> bytes, const Deadline& deadline) noexcept;
    // Ends it, if it has not ended by itself; tells how it did: "ended by signal 6", "ended with status 1",
    // "" where it was ended here.
    std::string end();

  private:
    int line_ = -1;
    int id_ = -1;
};

// The other side: what a program asks of itself when it was started so.
namespace parent {

// False: the other side is gone.
[[nodiscard]] bool receive(std::span<unsigned char> bytes) noexcept;
[[nodiscard]] bool send(std::span<const unsigned char> bytes) noexcept;
// From now on no file can be opened or written, and no core is left. Where sanitizers are in the program,
// which open files of their own, only the last.
void closeFiles() noexcept;
// The process ends after so many seconds, unless this is called again by then (0: it does not), and has no
// more memory than so many bytes, code and all; no bound under sanitizers, which take all addresses there
// are.
void allow(unsigned int seconds, unsigned long long bytes) noexcept;
// Ends the process; nothing is done of what programs do in the end.
[[noreturn]] void leave(int status) noexcept;

}  // namespace parent

}  // namespace orvkit::platform

#endif
