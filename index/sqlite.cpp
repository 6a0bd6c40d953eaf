// The embedded engine: one file, which others may read and write at the same time
// (https://sqlite.org/wal.html).
#include <chrono>
#include <new>
#include <thread>

#include "index/dialect.h"
#include "index/libsqlite.h"
#include "index/session.h"
#include "index/trouble.h"
#include "orvkit/result.h"
#include "platform/file.h"

namespace orvkit::index {
namespace {

constexpr int kPatience = 30000;   // milliseconds that another writer may take
constexpr int kGuardSteps = 2000;  // of the virtual machine, between two looks at the time: some 0.1 ms
constexpr int kApplication = 1869769592;  // "orkx", as {mark} makes it
constexpr int kMostParameters = 1000;

int resultOf(int code) {
    switch (code & 0xFF) {
        case SQLITE_NOMEM:
            return ELEM_NO_MEMORY;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return INDEX_BUSY;
        case SQLITE_FULL:
        case SQLITE_READONLY:
            return INDEX_FULL;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return INDEX_DAMAGED;
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
        case SQLITE_AUTH:
            return INDEX_PLACE;
        case SQLITE_INTERRUPT:
            return INDEX_STOPPED;
        default:
            return INDEX_ENGINE;
    }
}

[[noreturn]] void failed(sqlite3* database, int code, const std::string& path, int result) {
    if (code == SQLITE_NOMEM) throw std::bad_alloc();
    std::string text =
        path + ": " +
        (database != nullptr ? libsqlite().sqlite3_errmsg(database) : libsqlite().sqlite3_errstr(code));
    if (result == INDEX_DAMAGED)
        text += "; the index is damaged, and is made again from the files by: orvkit index rebuild DIR";
    fail(result, text);
}

[[noreturn]] void failed(sqlite3* database, int code, const std::string& path) {
    failed(database, code, path, resultOf(code));
}

struct Close {
    void operator()(sqlite3* database) const { (void)libsqlite().sqlite3_close_v2(database); }
};
using Database = std::unique_ptr<sqlite3, Close>;

class SqliteStatement final : public Statement {
  public:
    SqliteStatement(sqlite3* database, const std::string& path, const std::string& sql)
        : database_(database), path_(path) {
        const std::string own = inDialect(Dialect::sqlite, sql);
        const int code = libsqlite().sqlite3_prepare_v2(database, own.data(), static_cast<int>(own.size()),
                                                        &statement_, nullptr);
        // A table or a column is not there.
        if (code == SQLITE_ERROR &&
            std::string_view(libsqlite().sqlite3_errmsg(database)).starts_with("no such "))
            failed(database, code, path, INDEX_DAMAGED);
        check(code);
    }
    ~SqliteStatement() override { (void)libsqlite().sqlite3_finalize(statement_); }

    void bind(int at, std::int64_t value) override {
        check(libsqlite().sqlite3_bind_int64(statement_, at, value));
    }
    void bind(int at, std::string_view text) override {
        check(libsqlite().sqlite3_bind_text64(statement_, at, data(text), text.size(), SQLITE_TRANSIENT,
                                              SQLITE_UTF8));
    }
    void bindBytes(int at, std::string_view bytes) override {
        check(libsqlite().sqlite3_bind_blob64(statement_, at, data(bytes), bytes.size(), SQLITE_TRANSIENT));
    }
    void bindNull(int at) override { check(libsqlite().sqlite3_bind_null(statement_, at)); }
    bool step() override {
        const int code = libsqlite().sqlite3_step(statement_);
        if (code == SQLITE_ROW) return true;
        if (code != SQLITE_DONE) {
            (void)libsqlite().sqlite3_reset(statement_);
            failed(database_, code, path_);
        }
        (void)libsqlite().sqlite3_reset(statement_);
        return false;
    }
    void post(int rows) override {
        while (step()) continue;
        if (rows != kAnyRows && libsqlite().sqlite3_changes(database_) != rows)
            fail(INDEX_BUSY, path_ + ": rows were changed by another program", Remedy::again);
    }
    void reset() override {
        (void)libsqlite().sqlite3_reset(statement_);
        (void)libsqlite().sqlite3_clear_bindings(statement_);
    }
    std::int64_t integer(int column) override { return libsqlite().sqlite3_column_int64(statement_, column); }
    std::string_view text(int column) override {
        const void* const bytes = libsqlite().sqlite3_column_blob(statement_, column);
        const int length = libsqlite().sqlite3_column_bytes(statement_, column);
        if (bytes == nullptr) return {};
        return {static_cast<const char*>(bytes), static_cast<std::size_t>(length)};
    }

  private:
    // A null address is null, not an empty text.
    static const char* data(std::string_view text) { return text.empty() ? "" : text.data(); }
    void check(int code) const {
        if (code != SQLITE_OK) failed(database_, code, path_);
    }

    sqlite3* database_;
    const std::string& path_;
    sqlite3_stmt* statement_ = nullptr;
};

class SqliteSession final : public Session {
  public:
    SqliteSession(std::string path, bool writing, bool fast) : path_(std::move(path)) {
        sqlite3* database = nullptr;
        const int flags = (writing ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READWRITE) |
                          SQLITE_OPEN_NOMUTEX;
        int code = libsqlite().sqlite3_open_v2(path_.c_str(), &database, flags, nullptr);
        if (code != SQLITE_OK && !writing) {
            (void)libsqlite().sqlite3_close_v2(database);
            code = libsqlite().sqlite3_open_v2(path_.c_str(), &database,
                                               SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
        }
        database_.reset(database);
        if (code != SQLITE_OK) failed(database, code, path_);
        (void)libsqlite().sqlite3_busy_timeout(database, kPatience);
        (void)libsqlite().sqlite3_limit(database, SQLITE_LIMIT_VARIABLE_NUMBER, kMostParameters);
        // What is stored may have been made to deceive.
        (void)libsqlite().sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
        execute(
            "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON; PRAGMA mmap_size = 0;"
            "PRAGMA cache_size = -65536; PRAGMA temp_store = MEMORY;");
        if (!writing) {
            execute("PRAGMA query_only = ON;");
            return;
        }
        if (fast) {
            execute(
                "PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE;");
            return;
        }
        keepLog();
        execute(
            "PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 4000; PRAGMA journal_size_limit = "
            "67108864;");
    }
    ~SqliteSession() override { dropKept(); }

    void execute(const std::string& sql) override {
        const std::string own = inDialect(Dialect::sqlite, sql);
        const int code = libsqlite().sqlite3_exec(database_.get(), own.c_str(), nullptr, nullptr, nullptr);
        if (code != SQLITE_OK) failed(database_.get(), code, path_);
    }
    void begin(bool writing) override { execute(writing ? "BEGIN IMMEDIATE" : "BEGIN"); }
    void commit() override { execute("COMMIT"); }
    void rollback() noexcept override {
        (void)libsqlite().sqlite3_exec(database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    void setGuard(Guard guard) override {
        guard_ = std::move(guard);
        libsqlite().sqlite3_progress_handler(
            database_.get(), guard_ ? kGuardSteps : 0,
            [](void* self) { return static_cast<SqliteSession*>(self)->guard_() ? 1 : 0; }, this);
    }
    std::int64_t foreignChanges() override {
        Statement& statement = kept("PRAGMA data_version");
        const std::int64_t number = statement.run() ? statement.integer(0) : 0;
        statement.reset();
        return number;
    }
    std::uint64_t bytes() override {
        const auto size =
            prepare("SELECT page_count * page_size FROM pragma_page_count(), pragma_page_size()");
        return size->step() ? static_cast<std::uint64_t>(size->integer(0)) : 0;
    }
    void verifyPages(const std::function<bool(const std::string&)>& fault) override {
        const auto check = prepare("PRAGMA integrity_check");
        while (check->step()) {
            const std::string text(check->text(0));
            if (text != "ok" && !fault(text)) return;
        }
    }

  private:
    std::unique_ptr<Statement> make(const std::string& sql, Use /*use*/) override {
        return std::make_unique<SqliteStatement>(database_.get(), path_, sql);
    }

    // The library waits for nobody here, where several programs open a new file at once.
    void keepLog() {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatience);
        for (;;) {
            try {
                return execute("PRAGMA journal_mode = WAL");
            } catch (const Trouble& trouble) {
                if (trouble.result != INDEX_BUSY || std::chrono::steady_clock::now() >= end) throw;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    std::string path_;
    Database database_;
    Guard guard_;
};

class SqliteEngine final : public Engine {
  public:
    SqliteEngine(std::string path, bool fast) : path_(std::move(path)), fast_(fast) {}

    std::unique_ptr<Session> connect(bool writing) override {
        return std::make_unique<SqliteSession>(path_, writing, fast_);
    }

  private:
    std::string path_;
    bool fast_;
};

}  // namespace

std::unique_ptr<Engine> openSqlite(const std::string& place, INDEX_OPEN how, bool fast) {
    const std::string path = place.substr(place.find(':') + 1);
    platform::FileInfo info;
    const bool exists = platform::examine(path.c_str(), info);
    if (path.empty() || (exists && info.kind != platform::FileKind::regular))
        fail(INDEX_PLACE, path + ": not a file");
    if (!exists && how != INDEX_CREATE) fail(INDEX_ABSENT, path + ": there is no index");
    auto engine = std::make_unique<SqliteEngine>(path, fast);
    if (!exists || info.size == 0) return engine;
    const auto session = engine->connect(false);
    const auto application = session->prepare("PRAGMA application_id");
    const bool known = application->step() && application->integer(0) == kApplication;
    const auto table = session->prepare("SELECT COUNT(*) FROM sqlite_schema");
    if (!known && table->step() && table->integer(0) > 0)
        fail(INDEX_DAMAGED, path + ": it is not the index of an archive");
    return engine;
}

}  // namespace orvkit::index
