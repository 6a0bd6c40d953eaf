// orvkit serve: a storage and verification provider.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "orvkit/result.h"
#include "platform/clock.h"
#include "platform/new_file.h"
#include "platform/process.h"
#include "platform/socket.h"
#include "platform/stop.h"
#include "services/accepted_uids.h"
#include "services/door.h"
#include "services/network_text.h"
#include "services/out_of_memory.h"
#include "services/paths.h"
#include "services/provider.h"
#include "services/received_set.h"
#include "services/report.h"
#include "services/workers.h"
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
    bool anyClass = false;
    std::vector<std::string> acceptFrom;
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
    const std::string whole = stamp + line + "\n";
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
    if (!platform::takeHangup() || security == nullptr) return;
    tellLine(security->reload()
                 ? "the files of TLS were read again"
                 : "the files of TLS are not taken, and things go on as they were: " + security->fault());
}

int serve(const ServeOptions& options) {
    StoreServer server;
    ReceivedSet set;
    if (!prepare(options, server)) return EXIT_FAILED;
    if (options.fileSet && !prepareFileSet(set, server)) return EXIT_FAILED;
    const Listener listener(options.aet.c_str(), TSM_ROLE_SCP, options.port);
    server.port = listener.getPort();
    if (listener.socket() == platform::kNoSocket)
        return failed("cannot listen on port %d: %s", options.port, socketText(lastFault()).c_str());
    platform::noteStops();
    if (options.security != nullptr) platform::noteHangups();
    goOnWithoutMemory();
    platform::ignoreBrokenPipe();  // a log that nobody reads any more
    const std::size_t waiting = mostWaiting(options.workers);
    tellLine("listening on port " + std::to_string(server.port) + (options.tls.on ? " (TLS) as " : " as ") +
             server.aet + ", storing into " + server.directory + "; " + std::to_string(options.workers) +
             " associations served at once, " + std::to_string(waiting) + " more connections can wait");
    {
        Doorman doorman(listener.socket(),
                        options.security != nullptr ? Greeting::tlsHello : Greeting::associationRequest,
                        waiting / 2, std::chrono::seconds(options.timeout), tellLine);
        Workers workers(server, doorman, static_cast<std::size_t>(options.workers), waiting / 2);
        bool pressed = false;
        while (!platform::stopAsked()) {
            try {
                std::vector<platform::WaitEntry> watched = workers.watched();
                doorman.wait(pressed ? kShortTick : kTick, watched);
                pressed = workers.serve(watched);
                doorman.refuseLate();
                reloadSecurity(options.security.get());
                if (options.fileSet && set.isOverdue()) server.settle();
            } catch (const std::bad_alloc&) {
                complain("not enough memory to look after all connections");
                std::this_thread::sleep_for(kPause);
            }
        }
        tellLine("stopping");
    }
    tellLine("stopped: " + std::to_string(server.associations) + " associations, " +
             std::to_string(server.stored) + " objects stored, " + std::to_string(server.failed) + " failed");
    if (!options.fileSet || writeDicomdir(set)) return EXIT_OK;
    tellLine("the next server of this file set will list what it lacks");
    return EXIT_FAILED;
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
    command.number("--workers", options->workers, "Associations served at once; idle ones give way")
        .range(1, 1024);
    command.flag("--no-sync", options->noSync,
                 "Do not wait for the disk before an object is confirmed: faster, but a power failure may "
                 "lose what was confirmed");
    command.flag("--file-set", options->fileSet,
                 "What is received becomes part of the file set in DIR, and of its DICOMDIR");
    command.flag("--any-class", options->anyClass,
                 "Take objects of SOP classes that the registry does not know, too, such as private ones");
    command.run([options]() -> int {
        muteLog();
        if (!openSecurity(*options)) return EXIT_USAGE;
        if (options->tls.on && !options->portGiven) options->port = TLS_PORT;
        if (options->acceptFrom.size() <= kMostAcceptFrom) return serve(*options);
        return misused("--accept-from takes at most %zu titles", kMostAcceptFrom);
    });
}

}  // namespace tools
