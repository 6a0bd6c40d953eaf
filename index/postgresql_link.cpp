#include "index/postgresql_link.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "index/session.h"
#include "orvkit/result.h"
#include "platform/socket.h"

namespace orvkit::index {
namespace {

constexpr Oid kInt8 = 20;
constexpr Oid kBytea = 17;
constexpr Oid kInt8s = 1016;
constexpr Oid kByteas = 1001;
constexpr std::size_t kMostSent = 256;  // commands whose results nobody has looked at
constexpr int kGuardMilliseconds = 3;

// What is behind the five characters of SQLSTATE, by their beginning.
struct State {
    std::string_view code;
    int result;
    Remedy remedy;
};
constexpr State kStates[] = {
    {"40", INDEX_BUSY, Remedy::again},         // deadlock, serialization
    {"23505", INDEX_BUSY, Remedy::again},      // another has written the same
    {"22012", INDEX_BUSY, Remedy::again},      // another has written a row that was to be changed
    {"55P03", INDEX_BUSY, Remedy::none},       // lock_timeout
    {"57014", INDEX_STOPPED, Remedy::none},    // cancelled
    {"57P", INDEX_ENGINE, Remedy::reconnect},  // shut down, starts up
    {"08", INDEX_ENGINE, Remedy::reconnect},   // the connection
    {"53100", INDEX_FULL, Remedy::none},       // disk full
    {"25006", INDEX_FULL, Remedy::none},       // a server that is read alone
    {"XX001", INDEX_DAMAGED, Remedy::none},    // a damaged page
    {"XX002", INDEX_DAMAGED, Remedy::none},    // a damaged index
    {"42P01", INDEX_DAMAGED, Remedy::none},    // a table is not there
    {"42703", INDEX_DAMAGED, Remedy::none},    // a column is not there
};
constexpr State kOther{"", INDEX_ENGINE, Remedy::none};

const State& stateOf(std::string_view code) {
    const auto* const row = std::find_if(std::begin(kStates), std::end(kStates),
                                         [code](const State& s) { return code.starts_with(s.code); });
    return row != std::end(kStates) ? *row : kOther;
}

std::string oneLine(const char* words) {
    std::string text = words != nullptr ? words : "";
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string bigEndian(std::int64_t value, std::size_t width = 8) {
    std::string bytes(width, '\0');
    auto rest = static_cast<std::uint64_t>(value);
    for (std::size_t i = bytes.size(); i-- > 0; rest >>= 8) bytes[i] = static_cast<char>(rest & 0xFF);
    return bytes;
}

std::string bigEndian32(std::size_t value) {
    return bigEndian(static_cast<std::int64_t>(value), 4);
}

// A list as it is sent: one dimension, no nulls, numbered from 1; each value behind its length.
template <typename Value, typename Bytes>
std::string listOf(const std::vector<Value>& values, Oid type, Bytes bytesOf) {
    std::string list =
        bigEndian32(1) + bigEndian32(0) + bigEndian32(type) + bigEndian32(values.size()) + bigEndian32(1);
    for (const Value& value : values) {
        const std::string& bytes = bytesOf(value);
        list += bigEndian32(bytes.size()) + bytes;
    }
    return list;
}

// What a URL leaves open. A server that has vanished is noticed in half a minute.
PGconn* connectTo(const std::string& url) {
    static constexpr const char* keys[] = {"connect_timeout", "tcp_user_timeout", "dbname",
                                           "fallback_application_name", nullptr};
    const char* const values[] = {"10", "30000", url.c_str(), "orvkit", nullptr};
    return libpq().PQconnectdbParams(keys, values, 1);
}

template <typename Work>
void tryTo(Work work) noexcept {
    try {
        work();
    } catch (...) {
        return;
    }
}

}  // namespace

PgParameters::Value& PgParameters::at(int at, Oid type) {
    const auto place = static_cast<std::size_t>(at - 1);
    count_ = std::max(count_, at);
    if (kept_.size() <= place) {
        kept_.resize(place + 1);
        types_.resize(place + 1, kBytea);
        formats_.resize(place + 1, 1);
    }
    types_[place] = type;
    kept_[place].null = false;
    return kept_[place];
}

void PgParameters::put(int at, std::int64_t value) {
    this->at(at, kInt8).bytes = bigEndian(value);
}

void PgParameters::putBytes(int at, std::string_view bytes) {
    this->at(at, kBytea).bytes = bytes;
}

void PgParameters::put(int at, const std::vector<std::int64_t>& list) {
    this->at(at, kInt8s).bytes = listOf(list, kInt8, [](std::int64_t value) { return bigEndian(value); });
}

void PgParameters::putBytes(int at, const std::vector<std::string>& list) {
    this->at(at, kByteas).bytes =
        listOf(list, kBytea, [](const std::string& bytes) -> const std::string& { return bytes; });
}

void PgParameters::putNull(int at) {
    this->at(at, kBytea).null = true;
}

const char* const* PgParameters::values() {
    values_.clear();
    for (const Value& value : kept_) values_.push_back(value.null ? nullptr : value.bytes.data());
    return values_.data();
}

const int* PgParameters::lengths() {
    lengths_.clear();
    for (const Value& value : kept_) lengths_.push_back(static_cast<int>(value.bytes.size()));
    return lengths_.data();
}

PgLink::PgLink(const std::string& url) : told_(tellable(url)), link_(connectTo(url)) {
    if (link_ == nullptr) throw std::bad_alloc();
    if (lost()) fail(INDEX_ENGINE, told_ + ": " + oneLine(libpq().PQerrorMessage(link_.get())));
    (void)libpq().PQsetNoticeProcessor(
        link_.get(), [](void*, const char*) {}, nullptr);
    if (libpq().PQenterPipelineMode(link_.get()) != 1) failLost();
}

void PgLink::failLost() {
    const std::string words = oneLine(libpq().PQerrorMessage(link_.get()));
    sent_.clear();
    fail(INDEX_ENGINE, told_ + ": " + (words.empty() ? "the connection to the database is lost" : words),
         Remedy::reconnect);
}

void PgLink::sent(int done, int rows) {
    if (done != 1) failLost();
    sent_.push_back({rows});
}

void PgLink::prepare(const std::string& name, const std::string& sql, const PgParameters& parameters) {
    sent(
        libpq().PQsendPrepare(link_.get(), name.c_str(), sql.c_str(), parameters.count(), parameters.types()),
        kAnyRows);
}

void PgLink::sendPrepared(const std::string& name, PgParameters& parameters, int rows) {
    sent(libpq().PQsendQueryPrepared(link_.get(), name.c_str(), parameters.count(), parameters.values(),
                                     parameters.lengths(), parameters.formats(), 1),
         rows);
}

void PgLink::send(const std::string& sql, PgParameters& parameters, int rows) {
    sent(libpq().PQsendQueryParams(link_.get(), sql.c_str(), parameters.count(), parameters.types(),
                                   parameters.values(), parameters.lengths(), parameters.formats(), 1),
         rows);
}

void PgLink::send(const std::string& sql) {
    PgParameters none;
    send(sql, none);
}

void PgLink::cancel() {
    cancelled_ = true;
    char words[256];
    PGcancel* const how = libpq().PQgetCancel(link_.get());
    if (how != nullptr) (void)libpq().PQcancel(how, words, sizeof words);
    libpq().PQfreeCancel(how);
}

void PgLink::waitForInput() {
    const auto socket = static_cast<unsigned int>(libpq().PQsocket(link_.get()));
    const bool guarded = guard_ && !cancelled_ && !abandoning_;
    if (platform::waitReadable(socket, guarded ? kGuardMilliseconds : -1) || !guarded) {
        broken_ = libpq().PQconsumeInput(link_.get()) != 1;
    } else if (guard_()) {
        cancel();
    }
}

// Null at the end of a command's results.
PGresult* PgLink::next() {
    while (!lost() && libpq().PQisBusy(link_.get()) != 0) waitForInput();
    return libpq().PQgetResult(link_.get());
}

// The first trouble is the one that counts: others come of it.
void PgLink::note(int result, const std::string& text, Remedy remedy) {
    if (!trouble_.has_value()) trouble_ = Trouble{result, text, remedy};
}

void PgLink::judge(const PGresult* result, const Sent& command) {
    const ExecStatusType status = libpq().PQresultStatus(result);
    if (status == PGRES_PIPELINE_ABORTED) return;
    if (status == PGRES_TUPLES_OK || status == PGRES_COMMAND_OK) {
        const std::string changed = libpq().PQcmdTuples(const_cast<PGresult*>(result));
        if (command.rows != kAnyRows && changed != std::to_string(command.rows))
            note(INDEX_BUSY, told_ + ": rows were changed by another server", Remedy::again);
        return;
    }
    const char* const code = libpq().PQresultErrorField(result, PG_DIAG_SQLSTATE);
    const char* const words = libpq().PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    if (code == nullptr) return;
    const State& state = stateOf(code);
    const bool damaged = state.result == INDEX_DAMAGED;
    note(
        state.result,
        told_ + ": " + oneLine(words) +
            (damaged ? "; the index is damaged, and is made again from the files by: orvkit index rebuild DIR"
                     : ""),
        state.remedy);
}

PgResult PgLink::receive(const Sent& command) {
    PgResult last;
    while (PGresult* const result = next()) {
        last.reset(result);
        judge(result, command);
        if (lost()) break;
    }
    return last;
}

PgResult PgLink::receiveAll() {
    PgResult last;
    for (; !sent_.empty(); sent_.pop_front()) {
        last = receive(sent_.front());
        if (lost()) break;
    }
    // The mark of the end.
    if (!lost()) libpq().PQclear(next());
    sent_.clear();
    return last;
}

PgResult PgLink::wait() {
    trouble_.reset();
    cancelled_ = false;
    if (libpq().PQpipelineSync(link_.get()) != 1) failLost();
    PgResult last;
    try {
        last = receiveAll();
    } catch (...) {
        broken_ = true;
        throw;
    }
    if (lost() && !trouble_.has_value()) failLost();
    if (trouble_.has_value()) throw Trouble(*trouble_);
    if (cancelled_) fail(INDEX_STOPPED, told_ + ": ended by its caller");
    return last;
}

void PgLink::askGuard() {
    if (guard_ && guard_()) fail(INDEX_STOPPED, told_ + ": ended by its caller");
}

bool PgLink::expectsRows() const {
    return std::any_of(sent_.begin(), sent_.end(), [](const Sent& sent) { return sent.rows != kAnyRows; });
}

void PgLink::settleSome() {
    if (sent_.size() >= kMostSent) (void)wait();
}

void PgLink::abandon(const char* sql) noexcept {
    abandoning_ = true;
    // What fails here is why it is abandoned, or the connection is lost: whoever uses it next finds that.
    if (!sent_.empty() && !lost()) tryTo([this] { (void)wait(); });
    if (!lost()) {
        tryTo([&] {
            send(sql);
            (void)wait();
        });
    }
    abandoning_ = false;
}

void PgLink::execute(const std::string& sql) {
    if (!sent_.empty()) (void)wait();
    if (libpq().PQexitPipelineMode(link_.get()) != 1) failLost();
    trouble_.reset();
    const PgResult result(libpq().PQexec(link_.get(), sql.c_str()));
    if (!lost()) (void)libpq().PQenterPipelineMode(link_.get());
    judge(result.get(), {kAnyRows});
    if (lost() && !trouble_.has_value()) failLost();
    if (trouble_.has_value()) throw Trouble(*trouble_);
}

}  // namespace orvkit::index
