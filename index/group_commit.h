// Writers that share a transaction, and so the wait for the disk.
#ifndef ORVKIT_INDEX_GROUP_COMMIT_H
#define ORVKIT_INDEX_GROUP_COMMIT_H

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "index/rows.h"
#include "index/session.h"
#include "index/trouble.h"

namespace orvkit::index {

class GroupCommit {
  public:
    // Done again when the transaction that it shared has failed.
    using Job = std::function<void(Rows&)>;

    explicit GroupCommit(std::unique_ptr<Session> session) : session_(std::move(session)), rows_(*session_) {}

    // So many threads more, or less, are about to come with a job.
    void announce(int threads);
    // Return when it is on the disk; throw what it threw, or what kept the transaction from coming to be.
    void run(const Job& job) { await({&job, {}}); }
    void store(const Arrival& arrival) { await({nullptr, arrival}); }
    Session& session() { return *session_; }
    // Transactions so far.
    std::uint64_t commits() const { return commits_; }

  private:
    struct Waiter {
        const Job* job;   // or null,
        Arrival arrival;  // of one that stores
        std::exception_ptr trouble = nullptr;
        bool done = false;
    };
    using Batch = std::span<Waiter* const>;

    void await(Waiter waiter);
    bool isComplete() const;
    void lead(std::unique_lock<std::mutex>& lock);
    void perform(Batch batch) noexcept;
    // What helps when it is false.
    bool tryAll(Batch batch, std::exception_ptr& trouble, Remedy& remedy);
    void doAll(Batch batch);
    bool tryAgain(Batch batch, std::exception_ptr& trouble, Remedy& remedy);

    std::unique_ptr<Session> session_;
    Rows rows_;
    std::mutex mutex_;
    std::condition_variable all_;   // wait as the leader may
    std::condition_variable done_;  // a batch is
    std::vector<Waiter*> waiting_;
    std::vector<Arrival> arrivals_;  // of a batch
    int busy_ = 0;
    bool leading_ = false;
    std::uint64_t commits_ = 0;
};

}  // namespace orvkit::index

#endif
