// A connection to a PostgreSQL server. Commands are sent as they come, and their results are waited for when
// one of them is needed: what is only written costs no round trip.
#ifndef ORVKIT_INDEX_POSTGRESQL_LINK_H
#define ORVKIT_INDEX_POSTGRESQL_LINK_H

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "index/libpq.h"
#include "index/trouble.h"

namespace orvkit::index {

struct ClearResult {
    void operator()(PGresult* result) const { libpq().PQclear(result); }
};
using PgResult = std::unique_ptr<PGresult, ClearResult>;

// The parameters of a statement, in binary form.
class PgParameters {
  public:
    void put(int at, std::int64_t value);
    void putBytes(int at, std::string_view bytes);
    void put(int at, const std::vector<std::int64_t>& list);
    void putBytes(int at, const std::vector<std::string>& list);
    void putNull(int at);
    void clear() { count_ = 0; }

    int count() const { return count_; }
    const Oid* types() const { return types_.data(); }
    const char* const* values();
    const int* lengths();
    const int* formats() const { return formats_.data(); }

  private:
    struct Value {
        std::string bytes;
        bool null = false;
    };
    Value& at(int at, Oid type);

    int count_ = 0;
    std::vector<Value> kept_;  // with the memory of former values
    std::vector<Oid> types_;
    std::vector<const char*> values_;
    std::vector<int> lengths_;
    std::vector<int> formats_;
};

class PgLink {
  public:
    static constexpr int kAnyRows = -1;
    // Asked every few milliseconds while something is waited for: true ends what runs.
    using Guard = std::function<bool()>;

    // Trouble: INDEX_ENGINE.
    explicit PgLink(const std::string& url);
    PgLink(const PgLink&) = delete;
    PgLink& operator=(const PgLink&) = delete;

    // One command each. A name stands for what was prepared by it.
    void prepare(const std::string& name, const std::string& sql, const PgParameters& parameters);
    void sendPrepared(const std::string& name, PgParameters& parameters, int rows = kAnyRows);
    void send(const std::string& sql, PgParameters& parameters, int rows = kAnyRows);
    void send(const std::string& sql);
    // The result of what was sent last, after those of all before it. Trouble: of the first that failed; what
    // stands behind that was not done.
    PgResult wait();
    // Whether something that nobody has waited for is to change a number of rows.
    bool expectsRows() const;
    // Waits only when much is under way.
    void settleSome();
    // Forgets what was not waited for, and does this; whatever comes of it.
    void abandon(const char* sql) noexcept;
    // Several commands, without parameters.
    void execute(const std::string& sql);

    // What is received can no longer be told from what was sent, or nothing is: a new one is needed.
    bool lost() const { return broken_ || libpq().PQstatus(link_.get()) != CONNECTION_OK; }
    // Trouble, INDEX_STOPPED, when the guard says so.
    void askGuard();
    void setGuard(Guard guard) { guard_ = std::move(guard); }

  private:
    struct Finish {
        void operator()(PGconn* link) const { libpq().PQfinish(link); }
    };
    struct Sent {
        int rows;
    };

    void sent(int done, int rows);
    PgResult receiveAll();
    PgResult receive(const Sent& command);
    PGresult* next();
    void waitForInput();
    void cancel();
    void note(int result, const std::string& text, Remedy remedy);
    void judge(const PGresult* result, const Sent& command);
    [[noreturn]] void failLost();

    std::string told_;  // the place, without a password
    std::unique_ptr<PGconn, Finish> link_;
    std::deque<Sent> sent_;
    std::optional<Trouble> trouble_;
    Guard guard_;
    bool cancelled_ = false;
    bool abandoning_ = false;
    bool broken_ = false;
};

}  // namespace orvkit::index

#endif
