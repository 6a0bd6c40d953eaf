#include "tools/retrieve.h"

#include <csignal>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "tools/commands.h"
#include "tools/net_text.h"
#include "tools/options.h"

namespace tools {
namespace {

constexpr unsigned short kPriorityMedium = 0;

void readCount(DcMsg& response, unsigned int tag, int& count) {
    unsigned short value = 0;
    if (response.getValue(tag, value) == RESULT_OK) count = value;
}

}  // namespace

int runRetrieve(PeerOptions& options, bool wantsMore, const std::function<int()>& run) {
    std::signal(SIGPIPE, SIG_IGN);
    muteLog();
    return options.takePeer(wantsMore) ? run() : EXIT_USAGE;
}

bool openFor(Association& association, const PeerOptions& options, DICT_UID model,
             std::vector<DcMsmSopXferSyn> others) {
    others.insert(others.begin(), context(model, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}));
    if (!association.open(std::move(others))) {
        complain("%s: %s", options.peer().c_str(), association.fault().c_str());
        return false;
    }
    const int result = association.contextResult(model);
    if (result == PRES_CTX_AC_ACCEPT) return true;
    complain("%s: %s: %s", options.peer().c_str(), describeUid(model).c_str(), contextText(result).c_str());
    association.release();
    return false;
}

void fillRequest(DcCmd& request, DICT_UID model, const QueryKeys& keys) {
    (void)request.add(new DcElem(T_0000_0002_affectedSopClassUid, model));
    (void)request.add(new DcElem(T_0000_0700_priority, kPriorityMedium));
    (void)request.add(keys.identifier().release());
}

void Retrieval::response(DcMsg& response) {
    readCount(response, T_0000_1020_numberOfRemainingSubOperations, remaining_);
    readCount(response, T_0000_1021_numberOfCompletedSubOperations, completed_);
    readCount(response, T_0000_1022_numberOfFailedSubOperations, failed_);
    readCount(response, T_0000_1023_numberOfWarningSubOperations, warned_);
    status_ = statusOf(response);
    if (statusKind(status_) == StatusKind::pending) return;
    ended_ = true;
    statusText_ = statusText(response);
}

int Retrieval::finish(const std::string& fault) {
    if (options_.json) {
        nlohmann::ordered_json account = {
            {"completed", completed_}, {"warning", warned_}, {"failed", failed_}};
        if (ended_) account["status"] = status_;
        std::puts(account.dump(2).c_str());
    } else {
        std::printf("%d completed, %d with a warning, %d failed\n", completed_, warned_, failed_);
    }
    (void)std::fflush(stdout);
    const std::string peer = options_.peer();
    if (!ended_) {
        complain("%s: %s", peer.c_str(), fault.c_str());
        return EXIT_FAILED;
    }
    const bool success = statusKind(status_) == StatusKind::success;
    if (!success || failed_ != 0) complain("%s: the peer answered %s", peer.c_str(), statusText_.c_str());
    return success && failed_ == 0 ? EXIT_OK : EXIT_FAILED;
}

}  // namespace tools
