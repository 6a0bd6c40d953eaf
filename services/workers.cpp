#include "services/workers.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <utility>

namespace services {
namespace {

namespace platform = orvkit::platform;

std::size_t mostGreetings() {
    static const std::size_t most = std::max(2u, std::thread::hardware_concurrency());
    return most;
}

constexpr auto kGraceToEnd =
    std::chrono::seconds(10);  // for messages that are under way when the server stops

}  // namespace

// Those who speak again come before those at the door; null for nobody. By any thread.
std::unique_ptr<Provider> Workers::next(bool& greets) {
    {
        const std::lock_guard lock(mutex_);
        greets = false;
        if (!called_.empty()) {
            std::unique_ptr<Provider> provider = std::move(called_.front());
            called_.pop_front();
            return provider;
        }
        if (server_.security != nullptr) {
            if (greeting_ >= mostGreetings()) return nullptr;
            greets = true;
            ++greeting_;
        }
    }
    std::unique_ptr<Provider> provider = fromDoor();
    if (provider == nullptr) endGreeting(greets);
    return provider;
}

std::unique_ptr<Provider> Workers::fromDoor() {
    Visitor visitor = door_.next();
    if (!visitor.socket) return nullptr;
    const std::string address = visitor.address;
    try {
        return std::make_unique<Provider>(server_, std::move(visitor));
    } catch (const std::exception& fault) {
        server_.tell(address + ": association refused: " + fault.what());
        return nullptr;
    }
}

void Workers::endGreeting(bool& greets) {
    const std::lock_guard lock(mutex_);
    if (std::exchange(greets, false)) --greeting_;
}

// A thread for who is next. Where the system has none left, that is one association's affair.
bool Workers::start() {
    bool greets = false;
    std::unique_ptr<Provider> provider = next(greets);
    if (provider == nullptr) return false;
    Worker& worker = workers_.emplace_back();
    worker.provider = std::move(provider);
    worker.greets = greets;
    try {
        worker.thread = std::thread([this, &worker] { run(worker); });
    } catch (const std::exception& fault) {
        const std::unique_ptr<Provider> refused = std::move(worker.provider);
        endGreeting(worker.greets);
        workers_.pop_back();
        refused->refuse(fault.what());
    }
    return true;
}

void Workers::run(Worker& worker) {
    do {
        try {
            worker.provider->run();
        } catch (const std::exception& fault) {
            try {
                server_.tell(std::string("an association was lost: ") + fault.what());
            } catch (const std::exception&) {
                // There is not even the memory to tell it.
            }
        }
    } while (takeNext(worker));
    worker.done = true;
    if (server_.pressed) bell_.ring();
}

// Leaves the association and takes who is next; false for nobody.
bool Workers::takeNext(Worker& worker) {
    std::unique_ptr<Provider> left;
    try {
        endGreeting(worker.greets);
        std::unique_ptr<Provider> provider = next(worker.greets);
        const std::lock_guard lock(mutex_);
        if (worker.provider->isIdle()) {
            left_.push_back(std::move(worker.provider));
            bell_.ring();
        }
        left = std::exchange(worker.provider, std::move(provider));
    } catch (const std::bad_alloc&) {
        // No memory to keep it, or to go on: the association ends here.
        const std::lock_guard lock(mutex_);
        left = std::move(worker.provider);
    }
    return worker.provider != nullptr;
}

void Workers::sweep() {
    workers_.remove_if([](Worker& worker) {
        if (worker.done) worker.thread.join();
        return !worker.thread.joinable();
    });
    const std::lock_guard lock(mutex_);
    for (; !left_.empty(); left_.pop_front()) {
        try {
            idle_.push_back(std::move(left_.front()));
        } catch (const std::bad_alloc&) {
            // No memory to keep it: the association ends here.
        }
    }
}

void Workers::callIdle(std::size_t at) {
    const std::lock_guard lock(mutex_);
    called_.push_back(std::move(idle_[at]));
    idle_.erase(idle_.begin() + static_cast<std::ptrdiff_t>(at));
}

std::size_t Workers::leastNeeded() const {
    const auto outside =
        std::find_if(idle_.begin(), idle_.end(), [](const auto& guest) { return !guest->isOpen(); });
    return outside == idle_.end() ? 0 : static_cast<std::size_t>(outside - idle_.begin());
}

std::vector<platform::WaitEntry> Workers::watched() const {
    std::vector<platform::WaitEntry> entries;
    entries.reserve(idle_.size() + 1);
    for (const auto& provider : idle_) entries.push_back({provider->socket(), false});
    entries.push_back({bell_.socket(), false});
    return entries;
}

bool Workers::serve(const std::vector<platform::WaitEntry>& watched) {
    if (watched.back().ready) bell_.silence();
    for (std::size_t i = watched.size() - 1; i-- > 0;) {
        if (watched[i].ready || idle_[i]->isLate()) callIdle(i);
    }
    sweep();
    while (idle_.size() > mostIdle_) {
        const std::size_t at = leastNeeded();
        idle_[at]->giveWay();
        callIdle(at);
    }
    while (workers_.size() < most_ && start()) {
    }
    const std::lock_guard lock(mutex_);
    server_.pressed = workers_.size() >= most_ || !called_.empty() || door_.hasReady();
    return server_.pressed;
}

void Workers::stop() {
    server_.stopping = true;
    door_.close();
    const auto end = std::chrono::steady_clock::now() + kGraceToEnd;
    for (;;) {
        sweep();
        try {
            while (!idle_.empty()) callIdle(0);
            while (workers_.size() < most_ && start()) {
            }
        } catch (const std::exception&) {
            // Without memory for a farewell they go without one.
            const std::lock_guard lock(mutex_);
            idle_.clear();
            called_.clear();
        }
        if (workers_.empty() || std::chrono::steady_clock::now() >= end) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    {
        const std::lock_guard lock(mutex_);
        called_.clear();
        for (const Worker& worker : workers_) {
            if (worker.provider != nullptr) platform::shutdownSocket(worker.provider->socket());
        }
    }
    for (Worker& worker : workers_) worker.thread.join();
    workers_.clear();
    left_.clear();
}

}  // namespace services
