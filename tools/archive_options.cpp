#include "tools/archive_options.h"

#include <algorithm>
#include <utility>

#ifdef ORVKIT_WITH_INDEX
#include "services/archive_server.h"
#include "services/commitment_provider.h"
#endif
#include "services/report.h"
#include "services/security.h"
#include "tools/net_options.h"

namespace tools {
namespace {

#ifdef ORVKIT_WITH_INDEX
constexpr bool kHasIndex = true;

std::string layoutFault(const std::string& layout) {
    const std::string fault = ArchiveLayout().parse(layout);
    return fault.empty() ? "" : "--layout " + layout + ": " + fault;
}

// --destination has the first word, then the file of peers as it was read last.
std::optional<PeerOptions> destinationOf(const ServedArchive& options, StoreServer& server,
                                         std::string_view title) {
    const auto given = std::ranges::find(options.destinations, title, &PeerOptions::aec);
    if (given != options.destinations.end()) return *given;
    const std::shared_ptr<const KnownPeers> peers = server.admission.peers();
    const KnownPeer* const known = peers != nullptr ? peers->find(title) : nullptr;
    if (known == nullptr || known->port == 0) return std::nullopt;
    PeerOptions peer;
    static_cast<EntityOptions&>(peer) = options.outward;
    peer.aec = known->aet;
    peer.host = known->host;
    peer.port = known->port;
    return peer;
}

ArchiveSettings settingsOf(const ServedArchive& options, StoreServer& server) {
    ArchiveSettings settings;
    settings.index = options.index;
    settings.maxResults = static_cast<unsigned int>(options.maxResults);
    (void)settings.layout.parse(options.layout);
    settings.destination = [&options, &server](std::string_view title) {
        return destinationOf(options, server, title);
    };
    if (options.onDuplicate == "replace") settings.onDuplicate = OnDuplicate::replace;
    if (options.onDuplicate == "reject") settings.onDuplicate = OnDuplicate::reject;
    if (options.onDuplicate == "both") settings.onDuplicate = OnDuplicate::both;
    return settings;
}

class Running final : public RunningArchive {
  public:
    Running(const ServedArchive& options, StoreServer& server)
        : archive_(settingsOf(options, server)), begun_(archive_.serve(server)) {
        if (!begun_) return;
        const auto find = [this](std::string_view title) { return archive_.destination(title); };
        commitments_ = std::make_unique<Commitments>(server, archive_, find, options.reportTime);
    }
    bool begun() const { return begun_; }

  private:
    Archive archive_;
    bool begun_;
    std::unique_ptr<Commitments> commitments_;
};
#else
constexpr bool kHasIndex = false;

std::string layoutFault(const std::string& /*layout*/) {
    return "";
}
#endif

}  // namespace

#ifdef ORVKIT_WITH_INDEX
std::unique_ptr<RunningArchive> beginArchive(const ServedArchive& options, StoreServer& server) {
    auto running = std::make_unique<Running>(options, server);
    if (!running->begun()) running.reset();
    return running;
}
#else
std::unique_ptr<RunningArchive> beginArchive(const ServedArchive&, StoreServer&) {
    return nullptr;
}
#endif

std::string archiveFault(const ServedArchive& options, bool fileSet) {
    if (!options.on) {
        if (options.maxResults != 0 && options.worklist.empty())
            return "--max-results belongs to --archive and --worklist";
        return options.index.empty() && options.destinationWords.empty() && options.onDuplicate.empty() &&
                       options.layout.empty()
                   ? ""
                   : "--index, --on-duplicate, --layout and --destination belong to --archive";
    }
    if (fileSet) return "--archive and --file-set each have an order of their own for files";
    return kHasIndex ? layoutFault(options.layout)
                     : "archives are left out of this orvkit: it was built without SQLite";
}

bool takeDestinations(const EntityOptions& own, ServedArchive& options) {
    EntityOptions& outward = options.outward;
    outward = own;
    outward.security = nullptr;
    TlsOptions& tls = outward.tls;
    tls.noVerify = false;
    tls.check = TLS_CHECK_REQUIRE;
    if (options.on && tls.on && !(tls.authorities.empty() && tls.pins.empty())) {
        outward.security = std::make_shared<Security>();
        if (!outward.security->open(tls)) return complain("%s", outward.security->fault().c_str());
    }
    for (const std::string& word : options.destinationWords) {
        PeerOptions& peer = options.destinations.emplace_back();
        static_cast<EntityOptions&>(peer) = outward;
        if (!takeDestination(word, peer)) return false;
    }
    return options.destinations.empty() || options.canReach() ||
           complain("--destination over TLS needs --tls-ca or --tls-pin: whom else would it trust?");
}

void addArchiveOptions(Command& command, ServedArchive& options) {
    command.flag("--archive", options.on,
                 "What is received goes into an index, and requests for it are answered (C-FIND, C-GET, "
                 "C-MOVE, storage commitment)");
    command.text("--index PLACE", options.index,
                 "The archive's index, unless that is in DIR: sqlite:PATH or postgresql://HOST/DATABASE");
    command
        .number("--max-results N", options.maxResults,
                "Of a query no more are told, and its last answer is that there are more; 0: all")
        .range(0, 1000000000);
    command
        .text("--on-duplicate WHAT", options.onDuplicate,
              "Of another object of an instance that its series has: keep what is there (unless given), "
              "replace it, reject the new one, or have both")
        .oneOf({"keep", "replace", "reject", "both"});
    command.text("--layout NAMES", options.layout,
                 "Where files lie, such as '{PatientID}/{StudyDate}/{SeriesNumber}/{InstanceNumber}': names "
                 "with slashes between, made of attributes. Unless given, two folders deep by a hash");
    command.texts(
        "--destination AET=HOST:PORT", options.destinationWords,
        "Where a peer may have objects moved to, and takes reports of storage commitment: over TLS with "
        "--tls. --peers may tell it, too. May be given several times");
    command.text(
        "--worklist DIRECTORY", options.worklist,
        "Answer queries for a modality worklist from the files in DIRECTORY: DICOM files, or JSON (the "
        "DICOM JSON model); what changes there is seen by the next query");
    command
        .number("--report-time SECONDS", options.reportTime,
                "How long a report of storage commitment is tried again that its peer does not take")
        .range(1, 604800);
}

}  // namespace tools
