// One association of `orvkit serve`, from its request to its end. What it does with a message is the affair
// of that message's handler (handlers.h).
#ifndef ORVKIT_SERVICES_PROVIDER_H
#define ORVKIT_SERVICES_PROVIDER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "orvkit/msm.h"
#include "services/admission.h"
#include "services/door.h"
#include "services/identity.h"
#include "services/store_file.h"
#include "services/trace.h"

namespace services {

// The counts of a server, for Metrics.
struct StoreServer;
struct Service;
class Archive;      // archive_server.h
class Commitments;  // commitment_provider.h
class ReportBook;   // commitment_user.h
class Worklist;     // worklist.h
class Provider;
std::string metricsText(const StoreServer& server);

// What all associations of a server share.
struct StoreServer {
    std::string directory;
    std::string aet;
    int port = 0;
    int aeTitleCheck = 0;
    bool sync = true;
    std::vector<const char*> acceptFrom;  // ended by null
    std::vector<DcMsmSopXferSyn> support;
    DcSecurity* security = nullptr;  // of all its connections; null: none
    Addresses addresses;
    Admission admission;
    IdentityCheck identities;
    std::uint64_t keepFree = 0;  // bytes that stay free where objects are stored
    Trace trace;
    DcTsmTimeoutInfo timeouts;
    unsigned int maxPdu = 0;
    // Brings an object that is complete to the transfer syntax that they are stored in, or tells why not.
    std::function<std::string(StoreFile&)> transcode;
    // Gives an object that is whole its place instead of DIRECTORY/INSTANCE.dcm; the status for its sender,
    // and what is to be told of it in the text.
    std::function<unsigned short(StoreFile&, std::string& told)> place;
    // What it gives lives while an object is being received and stored.
    std::function<std::shared_ptr<void>()> storing;
    // What else it does with messages, and what it agrees to of what is proposed for that.
    std::vector<std::span<const Service>> services;
    std::function<void(const DcPduNegotiation& asked, DcPduNegotiation& answer)> agree;
    // Of those services; null without them.
    Archive* archive = nullptr;
    Commitments* commitments = nullptr;
    ReportBook* reports = nullptr;
    Worklist* worklist = nullptr;
    // Called when an association that stored something has ended.
    std::function<void()> settle;
    // A log line, in which peers have their say: what prints it sees to control characters.
    std::function<void(const std::string&)> tell;
    std::atomic<bool> pressed = false;  // all threads are taken
    std::atomic<bool> stopping = false;
    std::atomic<std::uint64_t> associations = 0;
    std::atomic<std::uint64_t> accepted = 0;
    std::atomic<std::uint64_t> refused = 0;
    std::atomic<std::uint64_t> inside = 0;
    std::atomic<std::uint64_t> echoes = 0;
    std::atomic<std::uint64_t> storedBytes = 0;
    std::atomic<std::uint64_t> stored = 0;
    std::atomic<std::uint64_t> failed = 0;
    std::atomic<std::uint64_t> queries = 0;
    std::atomic<std::uint64_t> retrievals = 0;
    std::atomic<std::uint64_t> sent = 0;              // objects of these
    std::atomic<std::uint64_t> commitmentsAsked = 0;  // requests that were taken, and their reports
    std::atomic<std::uint64_t> commitmentsRefused = 0;
    std::atomic<std::uint64_t> reported = 0;
    std::atomic<std::uint64_t> unreported = 0;
};

// What a service keeps for an association; it goes when that is over.
class Companion {
  public:
    Companion() = default;
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;
    virtual ~Companion() = default;
    // For a moment nothing has come from the peer. False: the association is over.
    virtual bool paused(Provider& provider) = 0;
};

// Used by one thread at a time.
class Provider {
  public:
    Provider(StoreServer& server, Visitor visitor);

    // Serves it to its end; or, when all threads are taken, until it is idle between two messages: then it is
    // to be called again when its connection can be read, or when it is late. So it is, whoever else waits,
    // while the handshake of a secured connection, or its request, is not done: the first call makes the
    // first answer of the handshake.
    void run();
    bool isIdle() const { return idle_; }
    // Whether it has an association.
    bool isOpen() const { return open_; }
    // Whether the peer has been silent for longer than it may.
    bool isLate() const;
    // It is to end when it runs next, unless a message has come by then.
    void giveWay() { givesWay_ = true; }
    // Ends it because it cannot be served.
    void refuse(const std::string& why);
    // The connection, to wait for, and for a stop that waits no longer.
    unsigned int socket() const { return socket_; }

    // ---- for handlers: what gives false has ended the association -----------------------------------------
    StoreServer& server() { return server_; }
    const std::string& callingAet() const { return callingAet_; }
    void tell(const std::string& line);
    void countStored(const StoreFile& file);
    // An event of this association, with what is known of it.
    Event event(EventId id, EventOutcome outcome, const std::string& result) const;
    // Why so many bytes of one more object are too many; "" when they are not. Whether it was told so before.
    std::string boundOf(std::uint64_t size);
    bool isBeyond() const { return beyond_; }
    // The data set of a request, which `what` names when it does not come: into a file as its fragments
    // arrive, or into memory, within a bound (null: it has not come).
    bool receive(StoreFile& file, DcMsg& request, const std::string& what);
    std::unique_ptr<DcMsg> receive(DcMsg& request, const std::string& what);
    bool respond(DcMsg& request, DcMsg& response, unsigned short status);
    // A message of this side, in that context.
    bool send(unsigned char context, DcMsg& message);
    // Null without one.
    Companion* companion() const { return companion_.get(); }
    void setCompanion(std::unique_ptr<Companion> companion) { companion_ = std::move(companion); }
    bool abort(const std::string& why);
    // The next message, that comes while another one is being answered.
    std::unique_ptr<DcMsg> next();
    DcMsm& msm() { return msm_; }

  private:
    using Clock = std::chrono::steady_clock;

    void setBounds();
    bool admit();
    bool hasRequest() const;
    bool turnAway(const std::string& why);
    void enter();
    void leave();
    void traceRefusal(const std::string& why);
    int tick() const;
    bool open();
    bool comesIn(DcPduAssoRq& request, DcPduNegotiation& answer, DcPduInfoRj& reject);
    bool takeUser(DcPduAssoRq& request, DcPduNegotiation& answer, const Caller& caller);
    static int judge(void* self, DcPduAssoRq& request, DcPduNegotiation& answer, DcPduInfoRj& reject);
    // Whether the file of peers allows it.
    bool may(Right right) const { return ticket_.may(right); }
    bool serveNext();
    bool deny(const Service& service, DcMsg& request);
    bool awaitMessage();
    // `lost` is told with it.
    bool ended(int outcome, const std::string& lost = {});

    StoreServer& server_;
    Visitor visitor_;
    unsigned int socket_;
    std::uint64_t number_;
    std::string callingAet_;
    std::string peer_;
    std::string user_;      // what is told of its user
    std::string userName_;  // that was checked
    Admission::Ticket ticket_;
    std::string secured_;      // and of what secures the connection
    std::string certificate_;  // that the peer has shown
    DcMsm msm_;
    std::uint64_t stored_ = 0;
    std::uint64_t storedBytes_ = 0;
    bool beyond_ = false;      // the limits of its association
    Clock::time_point since_;  // it has been idle
    Clock::time_point begun_;
    bool judged_ = false;   // its request came as far as comesIn
    bool entered_ = false;  // and was accepted
    bool open_ = false;
    bool spoken_ = false;  // after its request
    bool idle_ = false;
    bool givesWay_ = false;
    std::unique_ptr<Companion> companion_;
};

}  // namespace services

#endif
