// The associations of a server and the threads that serve them. A thread belongs to an association while its
// messages come; when all threads are taken, those of associations that are idle between two messages
// go to the next who waits, and an idle association costs a descriptor until it speaks again.
//
// The first answer of a handshake is what costs time: no more of them are made at once than there are
// processors, so that those who have come further do not wait behind a crowd that has not.
#ifndef ORVKIT_SERVICES_WORKERS_H
#define ORVKIT_SERVICES_WORKERS_H

#include <atomic>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/socket.h"
#include "services/door.h"
#include "services/provider.h"

namespace services {

class Workers {
  public:
    // At most so many threads, and so many idle associations without one; of more, the one that has been idle
    // longest is aborted, of those whose handshake or request is not done yet before all others. The server
    // and its door outlive it.
    Workers(StoreServer& server, Doorman& door, std::size_t most, std::size_t mostIdle)
        : server_(server), door_(door), most_(most), mostIdle_(mostIdle) {}
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    ~Workers() { stop(); }

    // What is to be waited for: the connections of associations without a thread, and the bell of threads
    // that leave one, or are done, while all are taken.
    std::vector<orvkit::platform::WaitEntry> watched() const;
    // What that gave, in the same order: gives threads to those who speak, then to those at the door. True
    // when all are taken: somebody waits, or would.
    bool serve(const std::vector<orvkit::platform::WaitEntry>& watched);
    // Waits for the messages that are under way; then the connections are cut.
    void stop();

  private:
    struct Worker {
        std::unique_ptr<Provider> provider;  // changed under the mutex
        bool greets = false;                 // it makes the first answer of a handshake
        std::thread thread;
        std::atomic<bool> done = false;
    };
    using Guests = std::deque<std::unique_ptr<Provider>>;

    std::unique_ptr<Provider> next(bool& greets);
    std::unique_ptr<Provider> fromDoor();
    void endGreeting(bool& greets);
    bool start();
    void run(Worker& worker);
    bool takeNext(Worker& worker);
    void sweep();
    void callIdle(std::size_t at);
    std::size_t leastNeeded() const;

    StoreServer& server_;
    Doorman& door_;
    std::size_t most_;
    std::size_t mostIdle_;
    orvkit::platform::Bell bell_;
    std::list<Worker> workers_;
    Guests idle_;  // those who have been here longest first
    std::mutex mutex_;
    Guests left_;    // by threads; they become idle
    Guests called_;  // idle no more; they wait for a thread
    std::size_t greeting_ = 0;
};

}  // namespace services

#endif
