// The sub-operations of a C-GET or C-MOVE (PS3.4 C.4.2, C.4.3): a C-STORE for each instance that the keys
// select, and the account of them.
#ifndef ORVKIT_SERVICES_ARCHIVE_DELIVERY_H
#define ORVKIT_SERVICES_ARCHIVE_DELIVERY_H

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "services/archive_inquiry.h"

namespace services {

// Where objects go.
class Outlet {
  public:
    Outlet() = default;
    Outlet(const Outlet&) = delete;
    Outlet& operator=(const Outlet&) = delete;
    virtual ~Outlet() = default;
    // Whether it takes objects of the class in that transfer syntax.
    virtual bool takes(DICT_UID sopClass, DICT_UID xferSyn) const = 0;
    // The status that it answers with; nothing: it was not sent or not answered, and why() tells of it.
    virtual std::optional<unsigned int> store(DcCmdCStoreRq& request, DICT_UID sopClass,
                                              DICT_UID xferSyn) = 0;
    virtual std::string why() const = 0;
    // Whether it takes more.
    virtual bool isOpen() const = 0;
};

// Also of a class that no table has, and that nobody has named since the server began: all who were taken
// in are given back.
DICT_UID classOf(const DcIndexInstance& instance);

class Delivery {
  public:
    // Makes a response to the request.
    using Respond = std::function<std::unique_ptr<DcCmd>()>;

    Delivery(Inquiry& inquiry, Respond respond) : inquiry_(inquiry), respond_(std::move(respond)) {}

    // Looks how many there are: kSuccess, or the status to end with.
    unsigned short count();
    bool isNothing() const { return total_ == 0; }
    // The status to end with. `outlet` null: all fail.
    unsigned short run(Outlet* outlet);
    // The last response.
    [[nodiscard]] bool end(unsigned short status);

  private:
    using Clock = std::chrono::steady_clock;

    static int take(void* self, const DcIndexInstance& instance);
    bool deliver(const DcIndexInstance& instance);
    bool send(const std::string& path, std::string& fault);
    bool store(DcCmdCStoreRq& request, DICT_UID sopClass, DICT_UID xferSyn, std::string& fault);
    bool progress();
    void failed(const DcIndexInstance& instance, const std::string& why);
    void account(DcMsg& response, bool withRemaining) const;
    unsigned short verdict(int result);

    Inquiry& inquiry_;
    Respond respond_;
    Outlet* outlet_ = nullptr;
    unsigned long long total_ = 0;
    unsigned long long completed_ = 0;
    unsigned long long failed_ = 0;
    unsigned long long warned_ = 0;
    std::string failures_;    // UIDs, with backslashes between them
    Clock::time_point told_;  // the last response before the end
};

}  // namespace services

#endif
