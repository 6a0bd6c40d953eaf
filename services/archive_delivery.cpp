#include "services/archive_delivery.h"

#include <algorithm>
#include <chrono>

#include "dictionary/learned_uids.h"
#include "network/store_request.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/network_text.h"
#include "services/outgoing_copy.h"
#include "services/report.h"
#include "services/send_plan.h"
#include "services/source_file.h"

namespace services {
namespace {

constexpr unsigned short kCannotCount = 0xA701;
constexpr unsigned short kCannotPerform = 0xA702;
constexpr unsigned short kSomeFailed = 0xB000;
constexpr std::chrono::milliseconds kBetweenResponses(100);
constexpr std::size_t kLongestList = 65'000;  // bytes of a UI value with a length of 16 bits

// A count of the wire has 16 bits.
unsigned short counted(unsigned long long number) {
    return static_cast<unsigned short>(std::min(number, 65535ULL));
}

}  // namespace

DICT_UID classOf(const DcIndexInstance& instance) {
    DICT_UID value = UID_NONE;
    return Dict.getUidDef(instance.sopClass, value) == RESULT_OK ? value
                                                                 : orvkit::learnSopClass(instance.sopClass);
}

unsigned short Delivery::count() {
    unsigned long long bytes = 0;
    const int result =
        inquiry_.archive().index().count(inquiry_.root(), inquiry_.how(), inquiry_.keys(), total_, bytes);
    const unsigned short status = inquiry_.statusOf(result);
    return status == kOutOfResources ? kCannotCount : status;
}

unsigned short Delivery::run(Outlet* outlet) {
    outlet_ = outlet;
    return verdict(inquiry_.archive().index().walk(inquiry_.root(), inquiry_.how(), inquiry_.keys(), this,
                                                   &Delivery::take));
}

unsigned short Delivery::verdict(int result) {
    if (result != RESULT_OK || inquiry_.isCancelled()) {
        const unsigned short status = inquiry_.isCancelled() ? kCancelled : inquiry_.statusOf(result);
        return status == kOutOfResources ? kCannotPerform : status;
    }
    if (failed_ == 0 && warned_ == 0) return kSuccess;
    return completed_ + warned_ == 0 ? kCannotPerform : kSomeFailed;
}

int Delivery::take(void* self, const DcIndexInstance& instance) {
    auto& delivery = *static_cast<Delivery*>(self);
    return delivery.inquiry_.goesOn() && delivery.deliver(instance) ? 0 : 1;
}

bool Delivery::deliver(const DcIndexInstance& instance) {
    std::string fault;
    if (outlet_ == nullptr) {
        failed(instance, "");
        return true;
    }
    (void)classOf(instance);
    if (!send(archivePath(inquiry_.provider().server().directory, instance.path), fault)) {
        if (inquiry_.isOver()) return false;
        failed(instance, fault);
    }
    return outlet_ == nullptr || progress();
}

void Delivery::failed(const DcIndexInstance& instance, const std::string& why) {
    ++failed_;
    const std::string uid = instance.sopInstance;
    if (failures_.size() + 1 + uid.size() <= kLongestList) failures_ += (failures_.empty() ? "" : "\\") + uid;
    if (!why.empty()) inquiry_.provider().tell("not sent: " + uid + ": " + why);
}

// False: `fault` tells why.
bool Delivery::send(const std::string& path, std::string& fault) {
    FileIdentity object;
    if (const int result = readIdentity(path, object, false); result != RESULT_OK) {
        fault = resultText(result);
        return false;
    }
    orvkit::platform::NewFile bare;
    if (inquiry_.withoutBulkData()) fault = copyWithoutBulkData(path, object, bare);
    if (!fault.empty()) return false;
    const std::string source = inquiry_.withoutBulkData() ? bare.path() : path;
    std::vector<DICT_UID> wanted = fallbacksOf(object.xferSyn, true);
    wanted.insert(wanted.begin(), object.xferSyn);
    const auto syntax =
        std::ranges::find_if(wanted, [&](DICT_UID each) { return outlet_->takes(object.sopClass, each); });
    if (syntax == wanted.end()) {
        fault =
            "the peer does not take " + describeUid(object.sopClass) + " in " + describeUid(object.xferSyn);
        return false;
    }
    orvkit::platform::NewFile copy;
    if (*syntax != object.xferSyn) fault = copyInSyntax(source, object, false, *syntax, copy);
    if (!fault.empty()) return false;
    DcCmdCStoreRq request;
    const std::string from = *syntax == object.xferSyn ? source : copy.path();
    if (!orvkit::fillStoreRequest(request, from.c_str(), object.sopClass, object.instance.c_str())) {
        fault = "its path is too long, or begins or ends with blanks";
        return false;
    }
    return store(request, object.sopClass, *syntax, fault);
}

bool Delivery::store(DcCmdCStoreRq& request, DICT_UID sopClass, DICT_UID xferSyn, std::string& fault) {
    const std::optional<unsigned int> status = outlet_->store(request, sopClass, xferSyn);
    if (!status) {
        fault = outlet_->why();
        if (outlet_->isOpen()) return false;
        inquiry_.fail(fault);
        outlet_ = nullptr;  // all others fail
        return false;
    }
    const StatusKind kind = statusKind(*status);
    if (kind != StatusKind::success && kind != StatusKind::warning) {
        fault = "the peer answered " + statusText(*status);
        return false;
    }
    ++(kind == StatusKind::success ? completed_ : warned_);
    return true;
}

void Delivery::account(DcMsg& response, bool withRemaining) const {
    const unsigned long long done = completed_ + failed_ + warned_;
    const auto add = [&response](unsigned int tag, unsigned long long number) {
        (void)response.add(new DcElem(tag, counted(number)));
    };
    if (withRemaining) add(T_0000_1020_numberOfRemainingSubOperations, total_ > done ? total_ - done : 0);
    add(T_0000_1021_numberOfCompletedSubOperations, completed_);
    add(T_0000_1022_numberOfFailedSubOperations, failed_);
    add(T_0000_1023_numberOfWarningSubOperations, warned_);
}

// The last response stands for the last of them.
bool Delivery::progress() {
    if (completed_ + failed_ + warned_ >= total_) return true;
    // Small objects go by the thousand a second: who waits need not hear of each.
    const auto now = Clock::now();
    if (now - told_ < kBetweenResponses) return true;
    told_ = now;
    const std::unique_ptr<DcCmd> response = respond_();
    account(*response, true);
    return inquiry_.note(inquiry_.provider().respond(inquiry_.request(), *response, kPending));
}

bool Delivery::end(unsigned short status) {
    const std::unique_ptr<DcCmd> response = respond_();
    account(*response, status == kCancelled);
    if (!failures_.empty()) {
        auto identifier = std::make_unique<DcElemList>();
        (void)identifier->add(new DcElem(T_0008_0058_failedSopInstanceUidList, failures_.c_str()));
        (void)response->add(identifier.release());
    }
    return inquiry_.end(*response, status, EventId::transfer, completed_ + warned_,
                        "retrieval answered, " + std::to_string(completed_) + " sent, " +
                            std::to_string(warned_) + " with a warning, " + std::to_string(failed_) +
                            " failed");
}

}  // namespace services
