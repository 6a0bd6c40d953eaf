#include "index/group_commit.h"

#include <chrono>
#include <utility>

namespace orvkit::index {
namespace {

constexpr int kMostAgain = 20;  // transactions that others come between, before that is told

}  // namespace

void GroupCommit::announce(int threads) {
    const std::lock_guard lock(mutex_);
    busy_ += threads;
    if (isComplete()) all_.notify_one();
}

bool GroupCommit::isComplete() const {
    return static_cast<std::ptrdiff_t>(waiting_.size()) >= busy_;
}

// The first who waits does the work of all who wait with it.
void GroupCommit::await(Waiter waiter) {
    std::unique_lock lock(mutex_);
    waiting_.push_back(&waiter);
    if (isComplete()) all_.notify_one();
    while (!waiter.done) {
        if (leading_) {
            done_.wait(lock);
        } else {
            lead(lock);
        }
    }
    if (waiter.trouble != nullptr) std::rethrow_exception(waiter.trouble);
}

void GroupCommit::lead(std::unique_lock<std::mutex>& lock) {
    leading_ = true;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(INDEX_WINDOW);
    (void)all_.wait_until(lock, end, [this] { return isComplete(); });
    const std::vector<Waiter*> batch = std::exchange(waiting_, {});
    lock.unlock();
    perform(batch);
    lock.lock();
    leading_ = false;
    for (Waiter* const waiter : batch) waiter->done = true;
    done_.notify_all();
}

void GroupCommit::perform(Batch batch) noexcept {
    std::exception_ptr trouble;
    Remedy remedy = Remedy::none;
    if (tryAgain(batch, trouble, remedy)) return;
    if (batch.size() == 1 || remedy == Remedy::reconnect) {
        for (Waiter* const waiter : batch) waiter->trouble = trouble;
        return;
    }
    // One of them is to blame, and the others shall not suffer.
    for (Waiter* const& waiter : batch) (void)tryAgain({&waiter, 1}, waiter->trouble, remedy);
}

// Over a new connection once: where that cannot be had, nobody is to wait for it. Whether the old one has
// taken the transaction all the same, the jobs see.
bool GroupCommit::tryAgain(Batch batch, std::exception_ptr& trouble, Remedy& remedy) {
    int again = kMostAgain;
    int connections = 1;
    do {
        if (tryAll(batch, trouble, remedy)) return true;
    } while ((remedy == Remedy::again && again-- > 0) || (remedy == Remedy::reconnect && connections-- > 0));
    return false;
}

void GroupCommit::doAll(Batch batch) {
    arrivals_.clear();
    for (const Waiter* const waiter : batch) {
        if (waiter->job == nullptr) arrivals_.push_back(waiter->arrival);
    }
    rows_.store(arrivals_);
    for (const Waiter* const waiter : batch) {
        if (waiter->job != nullptr) (*waiter->job)(rows_);
    }
}

bool GroupCommit::tryAll(Batch batch, std::exception_ptr& trouble, Remedy& remedy) {
    remedy = Remedy::none;
    try {
        Transaction transaction(*session_, true);
        rows_.begin();
        doAll(batch);
        rows_.settle();
        transaction.commit();
        ++commits_;
        return true;
    } catch (const Trouble& known) {
        trouble = std::current_exception();
        remedy = known.remedy;
    } catch (...) {
        trouble = std::current_exception();
    }
    rows_.forget();
    // What was new may be so no longer.
    for (Waiter* const waiter : batch) {
        if (waiter->arrival.duplicate == INDEX_NEW) waiter->arrival.duplicate = INDEX_KEEP;
    }
    return false;
}

}  // namespace orvkit::index
