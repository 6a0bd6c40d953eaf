// orvkit serve: a storage and verification provider.
#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/result.h"
#include "platform/clock.h"
#include "platform/new_file.h"
#include "platform/process.h"
#include "platform/socket.h"
#include "platform/stop.h"
#include "services/accepted_uids.h"
#include "services/charset.h"
#include "services/door.h"
#include "services/isolation.h"
#include "services/metrics.h"
#include "services/network_text.h"
#include "services/out_of_memory.h"
#include "services/paths.h"
#include "services/provider.h"
#include "services/received_set.h"
#include "services/report.h"
#include "services/store_transcode.h"
#include "services/workers.h"
#include "services/worklist.h"
#include "tools/archive_options.h"
#include "tools/commands.h"
#include "tools/net_options.h"

namespace tools {
namespace {

namespace platform = orvkit::platform;

constexpr int kTick = 250;                               // milliseconds
constexpr int kShortTick = 20;                           // while somebody waits for a thread
constexpr auto kPause = std::chrono::milliseconds(100);  // for memory to come back
constexpr std::size_t kMostAcceptFrom = MSM_AE_ACCEPT_MAX;

struct ServeOptions : EntityOptions {
    std::string directory;
    int port = 11112;
    int workers = 128;
    bool noSync = false;
    bool fileSet = false;
    std::string transcode;  // the syntax to store in; "": as objects come
    bool transcodeLossy = false;
    bool noIsolate = false;
    bool anyClass = false;
    ServedArchive archive;
    std::vector<std::string> acceptFrom;
    std::string peers;
    bool printPeers = false;
    std::vector<std::string> limitWords;
    Limits limits;
    std::string users;
    std::string tokenKeys;
    std::string tokenAudience;
    IdentityRules identity;
    std::string trace;
    std::string metrics;
    std::string userId;
    std::string keepFreeText;
    std::uint64_t keepFree = 0;
    bool aetGiven = false;
    bool portGiven = false;
};

// How many connections may wait, without an association or idle in one: the rest of the open files that the
// system allows belongs to the workers, each with its connection, its object and the directory of that.
std::size_t mostWaiting(int workers) {
    constexpr std::size_t few = 16;
    constexpr std::size_t plenty = 4000;  // more cost time at each look
    const std::size_t taken = 3 * static_cast<std::size_t>(workers) + 32;
    const std::size_t most = platform::mostOpenFiles();
    return most < taken + few ? few : std::min(most - taken, plenty);
}

// A line with the time of day on standard error, whole also when several threads tell something.
void tellLine(const std::string& line) {
    static std::mutex mutex;
    std::tm now{};
    char stamp[32] = "";
    if (platform::localTime(now)) std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S ", &now);
    const std::string whole = stamp + withEscapes(line) + "\n";
    const std::lock_guard lock(mutex);
    std::fwrite(whole.data(), 1, whole.size(), stderr);
    std::fflush(stderr);  // not every C library writes at once what is meant for a file
}

// The entity that listens, for all associations.
struct Listener : DcMsm {
    using DcMsm::DcMsm;
    unsigned int socket() const { return sockListen_; }
};

bool prepare(const ServeOptions& options, StoreServer& server) {
    std::error_code error;
    std::filesystem::create_directories(pathOf(options.directory), error);
    if (!std::filesystem::is_directory(pathOf(options.directory), error))
        return complain("%s is not a directory", options.directory.c_str());
    if (const int count = platform::removeUnfinished(options.directory); count > 0) {
        tellLine(std::to_string(count) + " unfinished files of a server that was killed removed");
    }
    server.directory = options.directory;
    server.aet = options.aet;
    server.sync = !options.noSync;
    server.timeouts = options.timeouts();
    server.maxPdu = options.maxPdu;
    // Without a title given, any is answered to.
    if (options.aetGiven) server.aeTitleCheck = 2;
    if (!options.acceptFrom.empty()) server.aeTitleCheck = 3;
    for (const std::string& title : options.acceptFrom) server.acceptFrom.push_back(title.c_str());
    server.acceptFrom.push_back(nullptr);
    server.support = storageSupport(options.anyClass);
    if (options.security != nullptr) server.security = options.security->get();
    server.addresses.setLimits(options.limits);
    server.admission.setLimits(options.limits);
    server.keepFree = options.keepFree;
    server.tell = tellLine;
    return true;
}

bool writeDicomdir(ReceivedSet& set) {
    std::string fault;
    const bool written = set.write(fault);
    if (!written) tellLine("the DICOMDIR is not written: " + fault);
    return written;
}

bool prepareFileSet(ReceivedSet& set, StoreServer& server) {
    if (!set.open(server.directory, server.sync, tellLine)) return false;
    server.place = [&set](StoreFile& file, std::string& told) { return set.place(file, told); };
    server.settle = [&set] { (void)writeDicomdir(set); };
    return true;
}

// The files of TLS once more, when asked to.
void reloadSecurity(Security* security) {
    if (security == nullptr) return;
    if (security->reload()) {
        tellLine("the files of TLS were read again");
        if (!security->remark().empty()) tellLine("WARNING: " + security->remark());
    } else {
        tellLine("the files of TLS are not taken, and things go on as they were: " + security->fault());
    }
}

// False: what is in use stays.
bool readPeers(const ServeOptions& options, StoreServer& server, std::string& fault) {
    auto peers = KnownPeers::read(options.peers, fault);
    if (peers == nullptr) return false;
    const auto listens = [](const KnownPeer& peer) { return peer.port != 0; };
    if (options.archive.on && !options.archive.canReach() && std::ranges::any_of(peers->all(), listens)) {
        fault = options.peers + ": where peers listen over TLS needs --tls-ca or --tls-pin";
        return false;
    }
    server.admission.use(std::move(peers));
    return true;
}

bool readUsers(const ServeOptions& options, StoreServer& server, std::string& fault) {
    IdentityRules rules = options.identity;
    if (!options.users.empty() && (rules.users = Users::read(options.users, fault)) == nullptr) return false;
    if (!options.tokenKeys.empty()) {
        rules.tokens.emplace();
        rules.tokens->audience = options.tokenAudience.empty() ? options.aet : options.tokenAudience;
        if (!readKeys(options.tokenKeys, *rules.tokens, fault)) return false;
    }
    server.identities.use(std::move(rules));
    return true;
}

// The files that may be read again while the server runs.
struct Reread {
    const char* name;
    bool given;
    bool (*read)(const ServeOptions& options, StoreServer& server, std::string& fault);
};
std::array<Reread, 2> rereads(const ServeOptions& options) {
    return {{{"peers", !options.peers.empty(), readPeers},
             {"users", !options.users.empty() || !options.tokenKeys.empty(), readUsers}}};
}

void reload(const ServeOptions& options, StoreServer& server) {
    if (!platform::takeHangup()) return;
    std::string lost;
    if (!options.trace.empty() && !server.trace.reopen(lost)) tellLine(lost);
    (void)server.trace.write(Event(EventId::alert, EventType::securityConfiguration));
    reloadSecurity(options.security.get());
    if (Security* const outward = options.archive.outward.security.get(); outward != nullptr)
        (void)outward->reload();  // of the same files
    for (const Reread& row : rereads(options)) {
        std::string fault;
        if (!row.given) continue;
        const std::string what = std::string("the file of ") + row.name;
        tellLine(row.read(options, server, fault)
                     ? what + " was read again"
                     : what + " is not taken, and things go on as they were: " + fault);
    }
}

int printPeers(const ServeOptions& options) {
    std::string fault;
    const auto peers = KnownPeers::read(options.peers, fault);
    if (peers == nullptr) return misused("%s", fault.c_str());
    for (const KnownPeer& peer : peers->all()) std::printf("%s\n", peer.line().c_str());
    return EXIT_OK;
}

// What is told of who is turned away at the door.
void tellRefused(StoreServer& server, const std::string& line) {
    Event alert(EventId::alert, EventType::nodeAuthentication, EventOutcome::minorFailure);
    alert.result = line;
    ++server.refused;
    (void)server.trace.write(alert);
    tellLine(line);
}

bool traceRun(StoreServer& server, EventType type) {
    return server.trace.write(Event(EventId::application, type)) || complain("the trace cannot be written");
}

// EXIT_OK, or what the command ends with.
int chooseTranscoding(const ServeOptions& options, StoreServer& server) {
    if (options.transcode.empty()) return EXIT_OK;
    ConversionRequest wanted;
    chooseTarget(options.transcode, wanted);
    const DcImageCodec* const codec = wanted.frames.target;
    if (codec != nullptr && losesSomething(*codec) && !options.transcodeLossy)
        return misused("%s loses some of each image; --transcode-lossy agrees", options.transcode.c_str());
    server.transcode = [wanted, &options](StoreFile& file) {
        return transcodeStored(file, options.directory, wanted);
    };
    return EXIT_OK;
}

// An archive brings what it sends to what its peers take.
int prepareTranscoding(const ServeOptions& options, StoreServer& server) {
    if (const int status = chooseTranscoding(options, server); status != EXIT_OK) return status;
    if (options.transcode.empty() && !options.archive.on) return EXIT_OK;
    dirSetMaxFileSize(INT_MAX);
    return options.noIsolate || isolateCodecs() ? EXIT_OK : EXIT_FAILED;
}

// What has to be had before the rights of another user are taken; then all that is made is his.
bool begin(const ServeOptions& options, StoreServer& server, const Listener& listener) {
    std::string fault;
    server.port = listener.getPort();
    if (listener.socket() == platform::kNoSocket) {
        return complain("cannot listen on port %d: %s", options.port, socketText(lastFault()).c_str());
    }
    if (!options.userId.empty() && !platform::becomeUser(options.userId, fault))
        return complain("%s", fault.c_str());
    if (!options.trace.empty() && !server.trace.open(options.trace, options.aet, fault)) {
        return complain("%s", fault.c_str());
    }
    return prepare(options, server) && traceRun(server, EventType::start);
}

// Until it is asked to stop.
void run(const ServeOptions& options, StoreServer& server, const Listener& listener, ReceivedSet& set) {
    const std::size_t waiting = mostWaiting(options.workers);
    tellLine("listening on port " + std::to_string(server.port) + (options.tls.on ? " (TLS) as " : " as ") +
             server.aet + ", storing into " + server.directory + "; " + std::to_string(options.workers) +
             " associations served at once, " + std::to_string(waiting) + " more connections can wait");
    Doorman doorman(listener.socket(),
                    options.security != nullptr ? Greeting::tlsHello : Greeting::associationRequest,
                    server.addresses, waiting / 2, std::chrono::seconds(options.timeout),
                    [&server](const std::string& line) { tellRefused(server, line); });
    Workers workers(server, doorman, static_cast<std::size_t>(options.workers), waiting / 2);
    bool pressed = false;
    while (!platform::stopAsked()) {
        try {
            std::vector<platform::WaitEntry> watched = workers.watched();
            doorman.wait(pressed ? kShortTick : kTick, watched);
            pressed = workers.serve(watched);
            doorman.refuseLate();
            reload(options, server);
            if (options.fileSet && set.isOverdue()) server.settle();
        } catch (const std::bad_alloc&) {
            complain("not enough memory to look after all connections");
            std::this_thread::sleep_for(kPause);
        }
    }
    tellLine("stopping");
}

int serve(const ServeOptions& options) {
    StoreServer server;
    std::string fault;
    if (!readUsers(options, server, fault)) return misused("%s", fault.c_str());
    if (!options.peers.empty() && !readPeers(options, server, fault)) return misused("%s", fault.c_str());
    if (const int status = prepareTranscoding(options, server); status != EXIT_OK) return status;
    ReceivedSet set;
    const Listener listener(options.aet.c_str(), TSM_ROLE_SCP, options.port);
    if (!begin(options, server, listener)) return EXIT_FAILED;
    if (options.fileSet && !prepareFileSet(set, server)) return EXIT_FAILED;
    std::unique_ptr<RunningArchive> archive =
        options.archive.on ? beginArchive(options.archive, server) : nullptr;
    if (options.archive.on && archive == nullptr) return EXIT_FAILED;
    Worklist worklist(options.archive.worklist, static_cast<unsigned int>(options.archive.maxResults),
                      tellLine);
    if (!options.archive.worklist.empty() && !worklist.serve(server)) return EXIT_FAILED;
    Metrics metrics([&server] { return metricsText(server); });
    if (!options.metrics.empty() && !metrics.start(options.metrics, fault))
        return failed("%s", fault.c_str());
    if (metrics.port() != 0) tellLine("metrics on port " + std::to_string(metrics.port()));
    platform::noteStops();
    if (options.security != nullptr || !options.trace.empty() ||
        std::ranges::any_of(rereads(options), &Reread::given)) {
        platform::noteHangups();
    }
    goOnWithoutMemory();
    platform::ignoreBrokenPipe();  // a log that nobody reads any more
    run(options, server, listener, set);
    archive.reset();  // what it gives up is told in front of the end
    (void)traceRun(server, EventType::stop);
    tellLine("stopped: " + std::to_string(server.associations) + " associations, " +
             std::to_string(server.stored) + " objects stored, " + std::to_string(server.failed) + " failed");
    if (!options.fileSet || writeDicomdir(set)) return EXIT_OK;
    tellLine("the next server of this file set will list what it lacks");
    return EXIT_FAILED;
}

void addUserOptions(Command& command, ServeOptions& options) {
    command.text(
        "--users FILE", options.users,
        "Only the users of FILE come in, by their names and passwords; `orvkit user` makes a line of it");
    command.text(
        "--jwt-key FILE", options.tokenKeys,
        "Users may come by JSON Web Tokens, signed by a key of FILE: public keys (PEM), or one secret");
    command.text("--jwt-audience NAME", options.tokenAudience,
                 "Whom their tokens must be for, unless that is --aet");
    command.text(
        "--verify-user COMMAND", options.identity.program,
        "Run COMMAND for each user that nothing else checks, such as those with a SAML assertion or a "
        "Kerberos "
        "ticket: it reads what they are, and its exit status 0 lets them in (orvkit(1) tells how)");
    command
        .number("--verify-time SECONDS", options.identity.programTime,
                "The longest that it may take, in seconds")
        .range(1, 600);
    command.flag(
        "--insecure", options.identity.insecure,
        "Take passwords, tokens, assertions and tickets also without TLS, as everybody on the way can");
}

void addTraceOptions(Command& command, ServeOptions& options) {
    command.text(
        "--log-json FILE", options.trace,
        "Write what happens to FILE, one line of JSON an event, with the fields of PS3.15 A.5; nothing "
        "is "
        "confirmed that is not in it");
    command.text(
        "--metrics FILE|PORT", options.metrics,
        "Counts in the text form of Prometheus: in a file, or at a port of this machine; ADDRESS:PORT "
        "for others");
    command.text("--user-id USER", options.userId,
                 "Once the port is had, go on with the rights of this user; what is read again later must be "
                 "his to read");
}

void addLimitOptions(Command& command, ServeOptions& options) {
    command
        .texts("--limit NAME=NUMBER", options.limitWords,
               "What a peer may take, NAME=NUMBER: of an address, connections at once and failures (attempts "
               "to come in "
               "that failed, in a minute); of an AE title, associations at once; of an association, objects, "
               "bytes, "
               "object-size and idle (seconds). May be given several times")
        .check([&limits = options.limits](const std::string& word) {
            const std::size_t at = std::min(word.find('='), word.size());
            return takeLimit(limits, word.substr(0, at), word.substr(std::min(at + 1, word.size())));
        });
    command
        .text("--keep-free BYTES", options.keepFreeText,
              "Refuse objects while less than this would be left on the disk: bytes, or 500M, 20G")
        .check([&bytes = options.keepFree](const std::string& text) {
            return parseBytes(text, bytes) ? "" : "a number of bytes, such as 500M or 20G";
        });
}

void addTranscodeOptions(Command& command, ServeOptions& options) {
    command
        .text("--transcode SYNTAX", options.transcode,
              "Store images in this transfer syntax, by its name for `orvkit convert --to`. What cannot be "
              "brought to it without a fault stays as it came, and that is told")
        .check(whyNoTarget)
        .oneOf(targetNames());
    command.flag("--transcode-lossy", options.transcodeLossy,
                 "Also in one that loses something; each object is another instance then");
    command.flag("--no-isolate", options.noIsolate,
                 "Run codec libraries in the server itself: faster, but what a hostile image does to them "
                 "it does to the server");
}

}  // namespace

void addServe(Command& program) {
    auto options = std::make_shared<ServeOptions>();
    Command& command =
        program.command("serve", "Receive objects from the network and store them as Part 10 files");
    command.text("DIR", options->directory, "Directory for the files; made if absent").required();
    command
        .number("--port", options->port,
                "Port to listen on; 0: a free one, which is told; with --tls it is 2762 unless given")
        .range(0, 65535)
        .given(options->portGiven);
    addEntityOptions(command, *options).given(options->aetGiven);
    addProviderTlsOptions(command, options->tls);
    command.texts("--accept-from", options->acceptFrom, "AE titles whose associations are accepted")
        .severalAtOnce()
        .check([](const std::string& title) { return isAeTitle(title) ? "" : "not an AE title: " + title; });
    command.text(
        "--peers FILE", options->peers,
        "Only the peers of FILE come in: AE titles with addresses, certificates, what they may do and "
        "how many "
        "associations they may have (orvkit(1) tells how)");
    addUserOptions(command, *options);
    addLimitOptions(command, *options);
    addTraceOptions(command, *options);
    command.flag("--print-peers", options->printPeers, "Print what was read of that file, and end");
    command.number("--workers", options->workers, "Associations served at once; idle ones give way")
        .range(1, 1024);
    command.flag("--no-sync", options->noSync,
                 "Do not wait for the disk before an object is confirmed: faster, but a power failure may "
                 "lose what was confirmed");
    command.flag("--file-set", options->fileSet,
                 "What is received becomes part of the file set in DIR, and of its DICOMDIR");
    addArchiveOptions(command, options->archive);
    addTranscodeOptions(command, *options);
    command.flag("--any-class", options->anyClass,
                 "Take objects of SOP classes that the registry does not know, too, such as private ones");
    command.run([options]() -> int {
        muteLog();
        if (options->printPeers && options->peers.empty()) return misused("--print-peers needs --peers");
        if (options->printPeers) return printPeers(*options);
        if (const std::string fault = archiveFault(options->archive, options->fileSet); !fault.empty())
            return misused("%s", fault.c_str());
        if (options->tls.on && options->tls.certificate.empty()) {
            return misused("serve --tls needs a certificate and its key (--tls-cert, --tls-key)");
        }
        if (!openSecurity(*options) || !takeDestinations(*options, options->archive)) return EXIT_USAGE;
        if (options->tls.on && !options->portGiven) options->port = TLS_PORT;
        if (options->acceptFrom.size() <= kMostAcceptFrom) return serve(*options);
        return misused("--accept-from takes at most %zu titles", kMostAcceptFrom);
    });
}

}  // namespace tools
