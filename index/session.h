// What an engine must implement: statements over the tables of an index, in the words that all engines take
// and those of dialect.h. Parameters are "$1", "$2" and so on, in the order in which they first stand in the
// statement. What fails is trouble, with a result of index.h.
#ifndef ORVKIT_INDEX_SESSION_H
#define ORVKIT_INDEX_SESSION_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "orvkit/index.h"

namespace orvkit::index {

// Of an instance, where it is a parameter or a column.
struct Uid {
    std::string text;
};

// Parameters that are lists, for unnest, where an engine takes them.
class Lists {
  public:
    Lists() = default;
    Lists(const Lists&) = delete;
    Lists& operator=(const Lists&) = delete;
    virtual ~Lists() = default;

    virtual void bindNumbers(int at, const std::vector<std::int64_t>& values) = 0;
    virtual void bindTexts(int at, const std::vector<std::string>& values) = 0;
    virtual void bindUids(int at, const std::vector<std::string>& values) = 0;  // as Statement::bindUid
};

class Statement {
  public:
    Statement() = default;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    virtual ~Statement() = default;

    // Parameters count from 1, columns from 0. Texts live until the statement is stepped again or reset; rows
    // that have not been read when the session is rolled back are gone.
    virtual void bind(int at, std::int64_t value) = 0;
    virtual void bind(int at, std::string_view text) = 0;
    virtual void bindBytes(int at, std::string_view bytes) = 0;
    virtual void bindNull(int at) = 0;
    // Of the columns `uid` of instances, which an engine may keep in a form of its own; in the order of
    // texts.
    virtual void bindUid(int at, std::string_view uid) { bind(at, uid); }
    // Null where the session takes none.
    virtual Lists* lists() { return nullptr; }
    // True: there is a row.
    virtual bool step() = 0;
    // Without an answer, at the latest with the next step of any statement of the session. When it does not
    // change so many rows, another's transaction has come between, and this one is trouble that may be tried
    // again.
    virtual void post(int rows) = 0;
    // Back to where it can be stepped again; parameters are gone.
    virtual void reset() = 0;
    virtual std::int64_t integer(int column) = 0;
    virtual std::string_view text(int column) = 0;  // "" for null; bytes too
    virtual std::string_view uid(int column) { return text(column); }

    // An empty text is null: no value.
    void bindForm(int at, std::string_view form) {
        if (form.empty()) return bindNull(at);
        bind(at, form);
    }
    // Resets, binds, steps.
    template <typename... Values>
    bool run(const Values&... values) {
        bindAll(values...);
        return step();
    }
    // Resets, binds, posts.
    static constexpr int kAnyRows = -1;
    template <typename... Values>
    void change(int rows, const Values&... values) {
        bindAll(values...);
        post(rows);
    }

    template <typename... Values>
    void bindFrom(int at, const Values&... values) {
        (bindAny(at++, values), ...);
    }
    template <typename Value>
    void bindAny(int at, const Value& value) {
        if constexpr (std::is_same_v<Value, Uid>) {
            bindUid(at, value.text);
        } else if constexpr (std::is_integral_v<Value>) {
            bind(at, static_cast<std::int64_t>(value));
        } else {
            const std::string_view text = value;
            bind(at, text);
        }
    }

  private:
    template <typename... Values>
    void bindAll(const Values&... values) {
        reset();
        bindFrom(1, values...);
    }
};

// What a statement is made for: one run with few rows, many of these, or one run with many rows.
enum class Use { once, often, stream };

// One connection; for one thread at a time.
class Session {
  public:
    // Asked every few milliseconds while a statement runs: true ends it, with the trouble INDEX_STOPPED.
    using Guard = std::function<bool()>;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    virtual ~Session() = default;

    // For once, with few rows.
    std::unique_ptr<Statement> prepare(const std::string& sql) { return make(sql, Use::once); }
    // With rows that may be more than memory holds.
    std::unique_ptr<Statement> stream(const std::string& sql) { return make(sql, Use::stream); }
    // Kept for the next time; with few rows.
    Statement& kept(const std::string& sql) {
        auto& statement = kept_[sql];
        if (statement == nullptr) statement = make(sql, Use::often);
        return *statement;
    }
    // Statements without parameters or rows; several, with semicolons behind them.
    virtual void execute(const std::string& sql) = 0;
    virtual void begin(bool writing) = 0;
    virtual void commit() = 0;
    virtual void rollback() noexcept = 0;
    virtual void setGuard(Guard guard) = 0;
    // Each answer costs a round trip: what can be asked at once is to be.
    virtual bool takesLists() const { return false; }

    // A number that changes when another connection has written, where an id that was deleted may be given
    // again; else it may stay as it is.
    virtual std::int64_t foreignChanges() = 0;
    virtual std::uint64_t bytes() = 0;
    // Whether its pages hold together; `fault` is called for each fault, until it gives false.
    virtual void verifyPages(const std::function<bool(const std::string&)>& fault) = 0;

  protected:
    virtual std::unique_ptr<Statement> make(const std::string& sql, Use use) = 0;
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

// What is behind a place: "sqlite:PATH", "postgresql://HOST/DATABASE".
class Engine {
  public:
    Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;
    virtual ~Engine() = default;

    // From any thread.
    virtual std::unique_ptr<Session> connect(bool writing) = 0;
};
// Trouble: INDEX_PLACE, INDEX_ABSENT, INDEX_DAMAGED.
std::unique_ptr<Engine> openEngine(const std::string& where, INDEX_OPEN how, bool fast);

// Each engine, by the place.
std::unique_ptr<Engine> openSqlite(const std::string& place, INDEX_OPEN how, bool fast);
std::unique_ptr<Engine> openPostgresql(const std::string& place, INDEX_OPEN how, bool fast);
// The place as it may be told: without the password of a URL.
std::string tellable(const std::string& place);

}  // namespace orvkit::index

#endif
