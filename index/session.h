// What an engine must implement: statements over the tables of an index, in a dialect that all engines take.
// Parameters are "$1", "$2" and so on, in the order in which they first stand in the statement. What fails is
// trouble, with a result of index.h.
#ifndef ORVKIT_INDEX_SESSION_H
#define ORVKIT_INDEX_SESSION_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "orvkit/index.h"

namespace orvkit::index {

class Statement {
  public:
    Statement() = default;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    virtual ~Statement() = default;

    // Parameters count from 1, columns from 0. Texts live until the statement is stepped again or reset.
    virtual void bind(int at, std::int64_t value) = 0;
    virtual void bind(int at, std::string_view text) = 0;
    virtual void bindBytes(int at, std::string_view bytes) = 0;
    virtual void bindNull(int at) = 0;
    // True: there is a row.
    virtual bool step() = 0;
    // Back to where it can be stepped again; parameters are gone.
    virtual void reset() = 0;
    virtual std::int64_t integer(int column) = 0;
    virtual std::string_view text(int column) = 0;  // "" for null; bytes too

    // An empty text is null: no value.
    void bindForm(int at, std::string_view form) {
        if (form.empty()) return bindNull(at);
        bind(at, form);
    }
    // Resets, binds, steps.
    template <typename... Values>
    bool run(const Values&... values) {
        reset();
        int at = 0;
        (bindAny(++at, values), ...);
        return step();
    }

  private:
    template <typename Value>
    void bindAny(int at, const Value& value) {
        if constexpr (std::is_integral_v<Value>) {
            bind(at, static_cast<std::int64_t>(value));
        } else {
            const std::string_view text = value;
            bind(at, text);
        }
    }
};

// One connection; for one thread at a time.
class Session {
  public:
    // Asked every few milliseconds while a statement runs: true ends it, with the trouble INDEX_STOPPED.
    using Guard = std::function<bool()>;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    virtual ~Session() = default;

    virtual std::unique_ptr<Statement> prepare(const std::string& sql) = 0;
    // Statements without parameters or rows; several, with semicolons behind them.
    virtual void execute(const std::string& sql) = 0;
    virtual void begin(bool writing) = 0;
    virtual void commit() = 0;
    virtual void rollback() noexcept = 0;
    virtual void setGuard(Guard guard) = 0;

    // What keeps an index of that column from being used, where the engine has no better counsel.
    virtual std::string unindexed(const std::string& column) const = 0;
    // A number that changes when another connection has written.
    virtual std::int64_t foreignChanges() = 0;
    virtual std::uint64_t bytes() = 0;
    // Whether its pages hold together; `fault` is called for each fault, until it gives false.
    virtual void verifyPages(const std::function<bool(const std::string&)>& fault) = 0;

    // A statement that is kept for the next time.
    Statement& kept(const std::string& sql) {
        auto& statement = kept_[sql];
        if (statement == nullptr) statement = prepare(sql);
        return *statement;
    }
    void dropKept() { kept_.clear(); }

  private:
    std::map<std::string, std::unique_ptr<Statement>> kept_;
};

// Ends a transaction that is not committed.
class Transaction {
  public:
    Transaction(Session& session, bool writing) : session_(session) { session.begin(writing); }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction() {
        if (!done_) session_.rollback();
    }
    void commit() {
        session_.commit();
        done_ = true;
    }

  private:
    Session& session_;
    bool done_ = false;
};

// What is behind a place: "sqlite:PATH".
class Engine {
  public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    virtual ~Engine() = default;

    // From any thread.
    virtual std::unique_ptr<Session> connect(bool writing) = 0;
    // The tables of a new index.
    virtual std::string tables() const = 0;
};
// Trouble: INDEX_PLACE, INDEX_ABSENT, INDEX_DAMAGED.
std::unique_ptr<Engine> openEngine(const std::string& where, INDEX_OPEN how, bool fast);

// Each engine, by the rest of the place.
std::unique_ptr<Engine> openSqlite(const std::string& path, INDEX_OPEN how, bool fast);

}  // namespace orvkit::index

#endif
