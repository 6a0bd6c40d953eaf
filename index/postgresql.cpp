// The engine for several servers: a PostgreSQL database, which all of them share. Statements keep to what a
// cluster of such databases takes: no locks but those of rows, and every unique key of a divided table has
// what it is divided by.
#include <array>
#include <utility>
#include <vector>

#include "index/dialect.h"
#include "index/postgresql_link.h"
#include "index/session.h"
#include "index/trouble.h"
#include "index/uid_form.h"
#include "orvkit/result.h"

namespace orvkit::index {
namespace {

constexpr int kFirstRows = 64;  // rows of a stream that are fetched at once, first and then
constexpr int kMoreRows = 512;

// Joins go in the order in which they are written, row by row through the indexes, as plan.h wants them: the
// first answer is to come at once, whatever the server's statistics say of a table that has just grown.
constexpr char kSettings[] =
    "SET client_min_messages = warning; SET lock_timeout = '30s'; SET jit = off; SET join_collapse_limit = 1;"
    "SET enable_seqscan = off; SET enable_hashjoin = off; SET enable_mergejoin = off;";
constexpr char kReading[] = "SET default_transaction_read_only = on;";
// What is confirmed is on the disk, also where the database is set to be quicker than that.
constexpr char kWriting[] =
    "SET plan_cache_mode = force_generic_plan; SELECT set_config('synchronous_commit', 'on', false) WHERE "
    "current_setting('synchronous_commit') = 'off';";
constexpr char kFast[] = "SET plan_cache_mode = force_generic_plan; SET synchronous_commit = off;";

constexpr char kSize[] =
    "SELECT CAST(COALESCE(SUM(pg_total_relation_size(c.oid)), 0) AS BIGINT) FROM pg_class c "
    "LEFT JOIN pg_inherits h ON h.inhrelid = c.oid WHERE c.relkind = 'r' AND COALESCE(h.inhparent, c.oid) IN "
    "(to_regclass('orvkit_index'), to_regclass('patient'), to_regclass('study'), to_regclass('series'), "
    "to_regclass('instance'), to_regclass('uid'), to_regclass('word'), "
    "to_regclass('term'), to_regclass('grave'), to_regclass('grave_instance'))";

// A connection, which is made again when it was lost, and what is prepared over it.
class PgSession final : public Session {
  public:
    PgSession(std::string url, std::string settings) : url_(std::move(url)), settings_(std::move(settings)) {
        connect();
    }
    ~PgSession() override { dropKept(); }

    void execute(const std::string& sql) override { link_->execute(inDialect(Dialect::postgresql, sql)); }
    void begin(bool writing) override {
        if (link_->lost()) connect();
        inside_ = true;
        link_->send(writing ? "BEGIN ISOLATION LEVEL READ COMMITTED READ WRITE" : "BEGIN READ ONLY");
    }
    void commit() override {
        // Whether rows were there to be changed is to be known before, where a statement does not tell.
        if (link_->expectsRows()) (void)link_->wait();
        link_->send("COMMIT");
        (void)link_->wait();
        inside_ = false;
    }
    void rollback() noexcept override {
        link_->abandon("ROLLBACK");
        inside_ = false;
    }
    bool takesLists() const override { return true; }
    void setGuard(Guard guard) override { link_->setGuard(guard_ = std::move(guard)); }
    // No id is given twice, and what is written names what it has read.
    std::int64_t foreignChanges() override { return 0; }
    std::uint64_t bytes() override {
        const auto size = prepare(kSize);
        return size->step() ? static_cast<std::uint64_t>(size->integer(0)) : 0;
    }
    // The server's own affair (pg_amcheck).
    void verifyPages(const std::function<bool(const std::string&)>& /*fault*/) override {}

    PgLink& link() { return *link_; }
    // Counts connections: what was prepared belongs to one.
    unsigned int connection() const { return connection_; }
    std::string newName() { return "n" + std::to_string(++names_); }
    // What is asked for outside of transactions is asked again over a new connection, where the old one was
    // lost.
    template <typename Ask>
    void ask(Ask work) {
        if (!inside_ && link_->lost()) connect();
        try {
            return work();
        } catch (const Trouble& trouble) {
            if (inside_ || trouble.remedy != Remedy::reconnect) throw;
        }
        connect();
        work();
    }
    // A stream has a transaction of its own, unless it is inside of another.
    void beginStream() {
        if (streams_++ == 0 && !inside_) link_->send("BEGIN READ ONLY");
    }
    void endStream(const std::string& name) noexcept {
        const bool last = --streams_ == 0 && !inside_;
        if (last || !link_->lost()) link_->abandon(last ? "COMMIT" : ("CLOSE " + name).c_str());
    }

  private:
    std::unique_ptr<Statement> make(const std::string& sql, Use use) override;
    void connect() {
        auto link = std::make_unique<PgLink>(url_);
        link->execute(settings_);
        link->setGuard(guard_);
        link_ = std::move(link);
        ++connection_;
    }

    std::string url_;
    std::string settings_;
    std::unique_ptr<PgLink> link_;
    Guard guard_;
    unsigned int connection_ = 0;
    unsigned int names_ = 0;
    int streams_ = 0;
    bool inside_ = false;
};

class PgStatement final : public Statement, private Lists {
  public:
    PgStatement(PgSession& session, const std::string& sql, Use use)
        : session_(session),
          sql_(inDialect(Dialect::postgresql, sql)),
          use_(use),
          tells_(sql.ends_with("{or trouble}")) {}
    ~PgStatement() override { close(); }

    void bind(int at, std::int64_t value) override { parameters_.put(at, value); }
    void bind(int at, std::string_view text) override { parameters_.putBytes(at, text); }
    void bindBytes(int at, std::string_view bytes) override { parameters_.putBytes(at, bytes); }
    void bindNull(int at) override { parameters_.putNull(at); }
    void bindUid(int at, std::string_view uid) override { parameters_.putBytes(at, packedUid(uid)); }
    Lists* lists() override { return this; }
    void bindNumbers(int at, const std::vector<std::int64_t>& values) override {
        parameters_.put(at, values);
    }
    void bindTexts(int at, const std::vector<std::string>& values) override {
        parameters_.putBytes(at, values);
    }
    void bindUids(int at, const std::vector<std::string>& values) override {
        std::vector<std::string> packed;
        packed.reserve(values.size());
        for (const std::string& uid : values) packed.push_back(packedUid(uid));
        parameters_.putBytes(at, packed);
    }
    bool step() override {
        if (result_ == nullptr) {
            begin();
        } else {
            ++row_;
        }
        if (row_ >= libpq().PQntuples(result_.get()) && isOpen() && row_ >= page_) fetch(kMoreRows);
        if (row_ < libpq().PQntuples(result_.get())) return true;
        close();
        return false;
    }
    void post(int rows) override {
        send(tells_ ? kAnyRows : rows);
        session_.link().settleSome();
    }
    void reset() override {
        close();
        parameters_.clear();
    }
    std::int64_t integer(int column) override;
    std::string_view text(int column) override;
    std::string_view uid(int column) override {
        return made_.at(static_cast<std::size_t>(column)) = unpackedUid(text(column));
    }

  private:
    bool isOpen() const { return !cursor_.empty(); }

    void begin() {
        session_.ask([this] {
            if (use_ == Use::stream) return open();
            send(kAnyRows);
            result_ = session_.link().wait();
        });
        row_ = 0;
    }
    void send(int rows) {
        if (use_ != Use::often) return session_.link().send(sql_, parameters_, rows);
        if (preparedBy_ != session_.connection()) {
            name_ = session_.newName();
            session_.link().prepare(name_, sql_, parameters_);
            (void)session_.link().wait();
            preparedBy_ = session_.connection();
        }
        session_.link().sendPrepared(name_, parameters_, rows);
    }
    void open() {
        cursor_ = session_.newName();
        session_.beginStream();
        try {
            session_.link().send("DECLARE " + cursor_ + " NO SCROLL CURSOR FOR " + sql_, parameters_);
            fetch(kFirstRows);
        } catch (...) {
            close();
            throw;
        }
    }
    void fetch(int rows) {
        if (row_ > 0) session_.link().askGuard();
        session_.link().send("FETCH FORWARD " + std::to_string(rows) + " FROM " + cursor_);
        result_ = session_.link().wait();
        page_ = rows;
        row_ = 0;
    }
    void close() noexcept {
        result_.reset();
        row_ = 0;
        if (!isOpen()) return;
        session_.endStream(cursor_);
        cursor_.clear();
    }

    PgSession& session_;
    std::string sql_;
    Use use_;
    bool tells_;  // by an error that the row that it changes is not there
    PgParameters parameters_;
    std::string name_;
    unsigned int preparedBy_ = 0;
    std::string cursor_;  // "" without an open one
    PgResult result_;
    int row_ = 0;
    int page_ = 0;                      // rows that were asked for
    std::array<std::string, 20> made_;  // texts of columns that have another form
};

std::int64_t PgStatement::integer(int column) {
    if (libpq().PQgetisnull(result_.get(), row_, column) != 0) return 0;
    const auto* const bytes =
        reinterpret_cast<const unsigned char*>(libpq().PQgetvalue(result_.get(), row_, column));
    const int length = libpq().PQgetlength(result_.get(), row_, column);
    // Those of one, two, four and eight bytes come in order, the highest first.
    std::uint64_t value = length > 0 && length < 8 && length != 1 && bytes[0] >= 0x80 ? ~std::uint64_t{0} : 0;
    for (int i = 0; i < length; ++i) value = value << 8 | bytes[i];
    return static_cast<std::int64_t>(value);
}

std::string_view PgStatement::text(int column) {
    constexpr Oid bytea = 17;
    constexpr Oid text = 25;
    if (libpq().PQgetisnull(result_.get(), row_, column) != 0) return {};
    const Oid type = libpq().PQftype(result_.get(), column);
    if (type != bytea && type != text) {
        std::string& number = made_.at(static_cast<std::size_t>(column));
        number = std::to_string(integer(column));
        return number;
    }
    return {libpq().PQgetvalue(result_.get(), row_, column),
            static_cast<std::size_t>(libpq().PQgetlength(result_.get(), row_, column))};
}

std::unique_ptr<Statement> PgSession::make(const std::string& sql, Use use) {
    return std::make_unique<PgStatement>(*this, sql, use);
}

class PgEngine final : public Engine {
  public:
    PgEngine(std::string url, bool fast) : url_(std::move(url)), fast_(fast) {}

    std::unique_ptr<Session> connect(bool writing) override {
        return std::make_unique<PgSession>(url_, std::string(kSettings) + (!writing ? kReading
                                                                           : fast_  ? kFast
                                                                                    : kWriting));
    }

  private:
    std::string url_;
    bool fast_;
};

}  // namespace

std::unique_ptr<Engine> openPostgresql(const std::string& place, INDEX_OPEN /*how*/, bool fast) {
    try {
        const PgLink tried(place);
    } catch (const Trouble& trouble) {
        fail(INDEX_PLACE, trouble.text);
    }
    return std::make_unique<PgEngine>(place, fast);
}

}  // namespace orvkit::index
