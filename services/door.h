// Keeps new connections at the door of a server until they have said what they want. A connection that stays
// silent, speaks another protocol, or sends its request a byte at a time costs a descriptor here and no
// worker.
#ifndef ORVKIT_SERVICES_DOOR_H
#define ORVKIT_SERVICES_DOOR_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/socket.h"
#include "services/addresses.h"

namespace services {

struct Visitor {
    orvkit::platform::Socket socket;
    std::string address;
    Addresses::Stay stay;
};

// What a visitor has to begin with.
enum class Greeting : unsigned char { associationRequest, tlsHello };

// A-ASSOCIATE-RJ: transient, by the service provider's presentation side, local-limit-exceeded (PS3.8 9.3.4);
// or the alert of TLS that comes nearest to that.
void rejectBusy(unsigned int socket, Greeting greeting);

class Doorman {
  public:
    using Clock = std::chrono::steady_clock;

    // `greeting` is what lets in: as a whole, or as much of it as one record of TLS holds.
    // `most` connections wait at once; behind that, the one that has been silent longest makes room.
    // `patience` is the time within which an association request must have come. `told` receives a line for
    // each connection that is turned away. The addresses tell whose attempts are too many, or to be taken
    // later.
    Doorman(unsigned int listener, Greeting greeting, Addresses& addresses, std::size_t most,
            std::chrono::seconds patience, std::function<void(const std::string&)> told);

    // Waits up to that many milliseconds for something to happen, there or at those others, whose `ready` it
    // sets.
    void wait(int timeout, std::vector<orvkit::platform::WaitEntry>& others);
    // Turns away those whose request has arrived and has waited too long for a worker.
    void refuseLate();
    // The next connection whose association request has arrived; without a socket when there is none. By any
    // thread.
    Visitor next();
    bool hasReady() const;
    // Nobody waits any more.
    void close();

  private:
    enum class State : unsigned char { silent, begun, ready };
    struct Waiting {
        Visitor visitor;
        Clock::time_point since;
        State state = State::silent;
    };
    static bool isReady(const Waiting& w) { return w.state == State::ready; }
    // What the wait has given; `entries_` begins with the listener and those who were silent.
    void lookAround(bool paused);
    void accept();
    // False: the connection is of no use.
    bool look(Waiting& waiting);
    bool lookAgain(Waiting& waiting);
    bool welcome(Waiting& waiting);
    void refuse(Waiting& waiting, const unsigned char* head);
    std::uint64_t wholeLength(const unsigned char* head) const;
    bool makeRoom();

    unsigned int listener_;
    Greeting greeting_;
    Addresses& addresses_;
    std::size_t most_;
    std::chrono::seconds patience_;
    std::function<void(const std::string&)> told_;
    mutable std::mutex mutex_;
    std::deque<Waiting> waiting_;  // in the order of their arrival; under the mutex
    std::vector<orvkit::platform::WaitEntry> entries_;
    Clock::time_point lookedAt_;
    Clock::time_point pausedUntil_;  // no descriptor is left for another connection
};

}  // namespace services

#endif
