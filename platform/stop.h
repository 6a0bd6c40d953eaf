// What a platform must implement: being asked to end, by the user at the keyboard or by the system.
#ifndef ORVKIT_PLATFORM_STOP_H
#define ORVKIT_PLATFORM_STOP_H

namespace orvkit::platform {

// The file that is removed when the program is ended from outside (SIGINT, SIGTERM and SIGHUP; on Windows
// Ctrl-C, Ctrl-Break, and the end of the console or of the session): one at a time in a process. "" for none.
// False when the name is too long.
bool removeWhenEnded(const char* path) noexcept;
// Removes it now, for a program that ends itself at once.
void removeDoomed() noexcept;

// From now on those but SIGHUP do not end the program: `stopAsked` tells of them instead. Every one, or only
// the first: then the second ends the program, and so do so many seconds after the first, whatever the
// program is about; a signal that the caller of the program had ignored stays so.
void noteStops() noexcept;
void noteFirstStop(unsigned int seconds) noexcept;
bool stopAsked() noexcept;

// From now on SIGHUP does not end the program: `takeHangup` tells once of it. No system but those with
// signals has it.
void noteHangups() noexcept;
bool takeHangup() noexcept;

}  // namespace orvkit::platform

#endif
