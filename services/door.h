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

// How much of what begins with these 6 bytes must have come before it is worth a thread: the whole of it, or
// 16 KiB.
std::size_t enoughOf(Greeting greeting, const unsigned char* head);

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
    // The next connection that has said what it wants; without a socket when there is none. By turns that of
    // whose address the fewest were here when it came, the earliest of these, and the one that came last: a
    // crowd from elsewhere keeps nobody waiting, nor does one that came before. By any thread.
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
    using Queue = std::deque<Waiting>;
    static bool isReady(const Waiting& w) { return w.state == State::ready; }
    Queue::iterator chosen();
    // What the wait has given; `entries_` begins with the listener and those who were silent.
    void lookAround(bool paused);
    void accept();
    // False: the connection is of no use.
    bool look(Waiting& waiting);
    bool lookAgain(Waiting& waiting);
    bool welcome(Waiting& waiting);
    void refuse(Waiting& waiting, const unsigned char* head);
    bool makeRoom();

    unsigned int listener_;
    Greeting greeting_;
    Addresses& addresses_;
    std::size_t most_;
    std::chrono::seconds patience_;
    std::function<void(const std::string&)> told_;
    mutable std::mutex mutex_;
    // Under the mutex.
    Queue waiting_;  // in the order of their arrival
    bool lastIsNext_ = false;
    std::vector<orvkit::platform::WaitEntry> entries_;
    Clock::time_point lookedAt_;
    Clock::time_point pausedUntil_;  // no descriptor is left for another connection
};

}  // namespace services

#endif
