// Sessions for those who read: each has one for itself while it asks.
#ifndef ORVKIT_INDEX_READERS_H
#define ORVKIT_INDEX_READERS_H

#include <memory>
#include <mutex>
#include <vector>

#include "index/session.h"
#include "index/terms.h"

namespace orvkit::index {

class Readers {
  public:
    struct Reader {
        explicit Reader(std::unique_ptr<Session> opened) : session(std::move(opened)), terms(*session) {}
        std::unique_ptr<Session> session;
        Terms terms;
    };
    // Back among the others when it goes.
    class Lease {
      public:
        Lease(Readers& readers, std::unique_ptr<Reader> reader)
            : readers_(readers), reader_(std::move(reader)) {}
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        ~Lease() { readers_.giveBack(std::move(reader_)); }
        Session& session() const { return *reader_->session; }
        Terms& terms() const { return reader_->terms; }

      private:
        Readers& readers_;
        std::unique_ptr<Reader> reader_;
    };

    explicit Readers(Engine& engine) : engine_(engine) {}
    Lease take() {
        {
            const std::lock_guard lock(mutex_);
            if (!idle_.empty()) {
                std::unique_ptr<Reader> reader = std::move(idle_.back());
                idle_.pop_back();
                return {*this, std::move(reader)};
            }
        }
        return {*this, std::make_unique<Reader>(engine_.connect(false))};
    }

  private:
    static constexpr std::size_t kMostIdle = 16;

    void giveBack(std::unique_ptr<Reader> reader) noexcept {
        const std::lock_guard lock(mutex_);
        if (idle_.size() < kMostIdle && idle_.capacity() >= kMostIdle) idle_.push_back(std::move(reader));
    }

    Engine& engine_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<Reader>> idle_ = reserved();

    static std::vector<std::unique_ptr<Reader>> reserved() {
        std::vector<std::unique_ptr<Reader>> readers;
        readers.reserve(kMostIdle);
        return readers;
    }
};

}  // namespace orvkit::index

#endif
