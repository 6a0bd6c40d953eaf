// One association of `orvkit serve`, from its request to its end: verification and storage (PS3.4 A, B).
#ifndef ORVKIT_SERVICES_PROVIDER_H
#define ORVKIT_SERVICES_PROVIDER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orvkit/msm.h"
#include "services/door.h"
#include "services/store_file.h"

namespace services {

// What all associations of a server share.
struct StoreServer {
    std::string directory;
    std::string aet;
    int port = 0;
    int aeTitleCheck = 0;
    bool sync = true;
    std::vector<const char*> acceptFrom;  // ended by null
    std::vector<DcMsmSopXferSyn> support;
    DcTsmTimeoutInfo timeouts;
    unsigned int maxPdu = 0;
    // Gives an object that is whole its place instead of DIRECTORY/INSTANCE.dcm; the status for its sender,
    // and what is to be told of it in the text.
    std::function<unsigned short(StoreFile&, std::string& told)> place;
    // Called when an association that stored something has ended.
    std::function<void()> settle;
    std::function<void(const std::string&)> tell;  // a log line
    std::atomic<bool> stopping = false;
    std::atomic<std::uint64_t> associations = 0;
    std::atomic<std::uint64_t> stored = 0;
    std::atomic<std::uint64_t> failed = 0;
};

class StoreScp {
  public:
    StoreScp(StoreServer& server, Visitor visitor);
    void run();
    // The connection, for a stop that waits no longer.
    unsigned int socket() const { return socket_; }

  private:
    void tell(const std::string& text);
    void setBounds();
    bool open();
    // False: the association is over.
    bool serveNext();
    bool awaitMessage();
    bool echo(DcMsg& request);
    bool store(DICT_UID sopClass, DcMsg& request);
    // False: no whole data set came, and the association is over.
    static int take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int last);
    static unsigned char* room(void* self, unsigned int* size);
    bool receive(StoreFile& file, DcMsg& request, const std::string& instance);
    unsigned short keep(StoreFile& file, const std::string& instance, std::string& told);
    // `lost` is told with it.
    bool ended(int outcome, const std::string& lost = {});

    StoreServer& server_;
    Visitor visitor_;
    unsigned int socket_;
    std::uint64_t number_;
    std::string callingAet_;
    std::string peer_;
    DcMsm msm_;
    StoreFile* file_ = nullptr;  // of the object that is arriving
    std::uint64_t stored_ = 0;
};

}  // namespace services

#endif
