// What the command does when memory runs out.
#ifndef ORVKIT_SERVICES_OUT_OF_MEMORY_H
#define ORVKIT_SERVICES_OUT_OF_MEMORY_H

namespace services {

// From now on the program ends at the first allocation that fails, its own or the library's, with a message
// and EXIT_FAILED: nothing goes on with something missing, and what is not whole does not stay.
void endWithoutMemory() noexcept;
// From now on it is told by std::bad_alloc and by result codes: for programs that serve several at once.
void goOnWithoutMemory() noexcept;

}  // namespace services

#endif
