#include "services/workers.h"

#include <chrono>
#include <exception>
#include <new>
#include <utility>

namespace services {
namespace {

namespace platform = orvkit::platform;

constexpr auto kGrace = std::chrono::seconds(10);  // for messages that are under way when the server stops

}  // namespace

// Where the system has no thread or no memory left, that is one association's affair.
void Workers::start(Visitor visitor) {
    const std::string address = visitor.address;
    try {
        start(std::make_unique<Provider>(server_, std::move(visitor)));
    } catch (const std::exception& fault) {
        server_.tell(address + ": association refused: " + fault.what());
    }
}

void Workers::start(std::unique_ptr<Provider> provider) {
    Worker& worker = workers_.emplace_back();
    worker.provider = std::move(provider);
    try {
        worker.thread = std::thread([this, &worker] { run(worker); });
    } catch (const std::exception& fault) {
        const std::unique_ptr<Provider> refused = std::move(worker.provider);
        workers_.pop_back();
        refused->refuse(fault.what());
    }
}

void Workers::run(Worker& worker) {
    try {
        worker.provider->run();
    } catch (const std::exception& fault) {
        try {
            server_.tell(std::string("an association was lost: ") + fault.what());
        } catch (const std::exception&) {
            // There is not even the memory to tell it.
        }
    }
    worker.done = true;
}

void Workers::sweep() {
    for (auto at = workers_.begin(); at != workers_.end();) {
        if (!at->done) {
            ++at;
            continue;
        }
        at->thread.join();
        try {
            if (at->provider->isIdle()) idle_.push_back(std::move(at->provider));
        } catch (const std::bad_alloc&) {
            // No memory to keep it: the association ends here.
        }
        at = workers_.erase(at);
    }
}

void Workers::call(Guests& from, std::size_t at) {
    called_.push_back(std::move(from[at]));
    from.erase(from.begin() + static_cast<std::ptrdiff_t>(at));
}

std::vector<platform::WaitEntry> Workers::idle() const {
    std::vector<platform::WaitEntry> entries;
    for (const auto& provider : idle_) entries.push_back({provider->socket(), false});
    return entries;
}

bool Workers::serve(const std::vector<platform::WaitEntry>& idle, Doorman& door) {
    for (std::size_t i = idle.size(); i-- > 0;) {
        if (idle[i].ready || idle_[i]->isLate()) call(idle_, i);
    }
    sweep();
    while (idle_.size() > mostIdle_) {
        idle_.front()->giveWay();
        call(idle_, 0);
    }
    while (workers_.size() < most_) {
        if (!called_.empty()) {
            std::unique_ptr<Provider> next = std::move(called_.front());
            called_.pop_front();
            start(std::move(next));
        } else if (Visitor visitor = door.next(); visitor.socket) {
            start(std::move(visitor));
        } else {
            break;
        }
    }
    server_.pressed = workers_.size() >= most_ || !called_.empty() || door.hasReady();
    return server_.pressed;
}

void Workers::stop() {
    server_.stopping = true;
    const auto end = std::chrono::steady_clock::now() + kGrace;
    for (;;) {
        sweep();
        try {
            while (!idle_.empty()) call(idle_, 0);
            for (; !called_.empty() && workers_.size() < most_; called_.pop_front()) {
                start(std::move(called_.front()));
            }
        } catch (const std::exception&) {
            // Without memory for a farewell they go without one.
            idle_.clear();
            called_.clear();
        }
        if (workers_.empty() || std::chrono::steady_clock::now() >= end) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    for (Worker& worker : workers_) {
        if (!worker.done) platform::shutdownSocket(worker.provider->socket());
    }
    for (Worker& worker : workers_) worker.thread.join();
    workers_.clear();
    called_.clear();
}

}  // namespace services
