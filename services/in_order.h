// Work on numbered things on threads, whose results are taken in their order while others are under way.
#ifndef ORVKIT_SERVICES_IN_ORDER_H
#define ORVKIT_SERVICES_IN_ORDER_H

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace services {

// One result a thread is there, and one that the caller is at. A result and a thread's tools are used again
// and again, with the memory that they have.
template <typename Result, typename Tools>
class InOrder {
  public:
    // Throws nothing but what next() throws again.
    using Work = std::function<void(unsigned int number, Tools& tools, Result& result)>;

    // Of the numbers from 1 to `count`. One thread is the caller's, and so it is where the system has no
    // more.
    InOrder(unsigned int count, unsigned int threads, Work work) : count_(count), work_(std::move(work)) {
        slots_.resize(threads > 1 ? std::size_t{threads} + 1 : 1);
        if (threads < 2 || count < 2) return;
        try {
            threads_.reserve(threads);
            while (threads_.size() < threads && threads_.size() < count)
                threads_.emplace_back([this] { run(); });
        } catch (const std::system_error&) {  // fewer do as well
        } catch (const std::bad_alloc&) {
        }
    }
    InOrder(const InOrder&) = delete;
    InOrder& operator=(const InOrder&) = delete;
    // What is under way is waited for, and lost.
    ~InOrder() {
        {
            const std::lock_guard lock(mutex_);
            ending_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_) thread.join();
    }

    // The result of the next number; the one before is given back. To be called `count` times at most.
    Result& next() {
        if (threads_.empty()) {
            work_(++taken_, tools_, slots_[0].result);
            return slots_[0].result;
        }
        std::unique_lock lock(mutex_);
        if (taken_ > 0) slotOf(taken_).isReady = false;
        ++taken_;
        changed_.notify_all();
        Slot& slot = slotOf(taken_);
        changed_.wait(lock, [&slot] { return slot.isReady; });
        if (slot.thrown) std::rethrow_exception(slot.thrown);
        return slot.result;
    }

  private:
    struct Slot {
        Result result;
        bool isReady = false;
        std::exception_ptr thrown;
    };

    Slot& slotOf(unsigned int number) { return slots_[(number - 1) % slots_.size()]; }

    void run() {
        Tools tools;
        std::unique_lock lock(mutex_);
        for (;;) {
            // A slot is free when the caller has gone on to what stands behind it.
            changed_.wait(
                lock, [this] { return ending_ || begun_ >= count_ || begun_ + 1 < taken_ + slots_.size(); });
            if (ending_ || begun_ >= count_) return;
            const unsigned int number = ++begun_;
            Slot& slot = slotOf(number);
            lock.unlock();
            try {
                work_(number, tools, slot.result);
            } catch (...) {
                slot.thrown = std::current_exception();
            }
            lock.lock();
            slot.isReady = true;
            changed_.notify_all();
        }
    }

    const unsigned int count_;
    const Work work_;
    std::vector<Slot> slots_;
    Tools tools_;  // the caller's
    std::mutex mutex_;
    std::condition_variable changed_;
    unsigned int begun_ = 0;
    unsigned int taken_ = 0;
    bool ending_ = false;
    std::vector<std::thread> threads_;
};

}  // namespace services

#endif
