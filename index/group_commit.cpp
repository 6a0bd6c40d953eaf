#include "index/group_commit.h"

#include <chrono>
#include <utility>

namespace orvkit::index {

void GroupCommit::announce(int threads) {
    const std::lock_guard lock(mutex_);
    busy_ += threads;
    if (threads < 0) changed_.notify_all();
}

// The first who waits does the work of all who wait with it.
void GroupCommit::run(const Job& job) {
    Waiter waiter{&job, nullptr};
    std::unique_lock lock(mutex_);
    waiting_.push_back(&waiter);
    changed_.notify_all();
    while (!waiter.done) {
        if (leading_) {
            changed_.wait(lock);
        } else {
            lead(lock);
        }
    }
    if (waiter.trouble != nullptr) std::rethrow_exception(waiter.trouble);
}

void GroupCommit::lead(std::unique_lock<std::mutex>& lock) {
    leading_ = true;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(INDEX_WINDOW);
    (void)changed_.wait_until(lock, end,
                              [this] { return static_cast<std::ptrdiff_t>(waiting_.size()) >= busy_; });
    const std::vector<Waiter*> batch = std::exchange(waiting_, {});
    lock.unlock();
    perform(batch);
    lock.lock();
    leading_ = false;
    for (Waiter* const waiter : batch) waiter->done = true;
    changed_.notify_all();
}

void GroupCommit::perform(Batch batch) noexcept {
    std::exception_ptr trouble;
    if (tryAll(batch, trouble)) return;
    if (batch.size() == 1) {
        batch[0]->trouble = trouble;
        return;
    }
    // One of them is to blame, and the others shall not suffer.
    for (Waiter* const& waiter : batch) (void)tryAll({&waiter, 1}, waiter->trouble);
}

bool GroupCommit::tryAll(Batch batch, std::exception_ptr& trouble) {
    try {
        Transaction transaction(*session_, true);
        rows_.begin();
        for (const Waiter* const waiter : batch) (*waiter->job)(rows_);
        rows_.settle();
        transaction.commit();
        ++commits_;
        return true;
    } catch (...) {
        trouble = std::current_exception();
        rows_.forget();
        return false;
    }
}

}  // namespace orvkit::index
