// What a peer holds (C-FIND, PS3.4 annex C).
#include "services/user.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include "dictionary/uid_text.h"
#include "foundation/text.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/association.h"
#include "services/network_text.h"
#include "services/query_keys.h"
#include "services/query_results.h"
#include "services/report.h"
#include "services/retrieve.h"

namespace services {
namespace {

constexpr auto kWorthOfResult = std::chrono::milliseconds(100);  // ten a second are as good as none missing
constexpr std::size_t kMostHeld = 64 << 20;

// The results of a query; what keeps it from success is told.
int receiveResults(Association& association, const QueryOptions& options, Answers& answers,
                   QueryResults& results) {
    const std::string peer = options.peer();
    int status = EXIT_OK;
    int count = 0;
    int empty = 0;
    std::unique_ptr<DcMsg> response;
    const auto next = [&] {
        response = answers.await() ? association.receive(DICT_MSG_C_FIND_RSP) : nullptr;
        return response != nullptr && statusKind(statusOf(*response)) == StatusKind::pending;
    };
    while (next()) {
        if (++count > options.maxResults) {
            answers.cancel("more than " + std::to_string(options.maxResults) + " results (--max-results)");
            continue;
        }
        DumpedFile result;
        result.path = "/";
        takeDataset(*response, result.data);
        if (result.data.first() == nullptr) {
            ++empty;
            continue;
        }
        results.result(result);
        answers.gain(kWorthOfResult);
        if (results.held() > kMostHeld) answers.cancel("the results take more than 64 MB");
    }
    results.finish();
    (void)std::fflush(stdout);
    if (answers.tellCancelled()) status = EXIT_FAILED;
    if (empty > 0) {
        complain("%s: %d results came without an identifier", peer.c_str(), empty);
        status = EXIT_FAILED;
    }
    if (response != nullptr && statusKind(statusOf(*response)) == StatusKind::success) return status;
    const std::string fault =
        response != nullptr ? "the peer answered " + statusText(*response) : answers.fault();
    return failed("%s: %s", peer.c_str(), fault.c_str());
}

// What PS3.4 C.5.1.1 has a byte for, in that order.
struct Feature {
    bool QueryOptions::*wanted;
    const char* what;
};
constexpr Feature kFeatures[] = {
    {&QueryOptions::relational, "relational queries"},
    {&QueryOptions::dateTime, "matching dates and times as one"},
    {&QueryOptions::fuzzyNames, "fuzzy matching of names"},
    {&QueryOptions::timezone, "adjusting time zones"},
    {nullptr, "converting images of several frames"},
    {&QueryOptions::emptyValues, "matching of empty values"},
};

bool isWanted(const QueryOptions& options, const Feature& feature) {
    return feature.wanted != nullptr && options.*feature.wanted;
}

void propose(Association& association, const QueryOptions& options, DICT_UID model) {
    std::vector<unsigned char> wanted;
    std::size_t used = 0;
    for (const Feature& feature : kFeatures) {
        wanted.push_back(isWanted(options, feature) ? 1 : 0);
        if (isWanted(options, feature)) used = wanted.size();
    }
    if (used == 0) return;
    DcPduExtNeg item;
    orvkit::copyText(item.sopClassUid, orvkit::uidText(model));
    item.info = {wanted.data(), static_cast<unsigned int>(used)};
    (void)association.proposed().extNegAdd(&item);
}

// The peer answers all the same, by what it knows.
void tellWhatIsNotAgreed(const Association& association, const QueryOptions& options, DICT_UID model) {
    const std::vector<unsigned char> agreed = association.agreed(model);
    for (std::size_t i = 0; i < std::size(kFeatures); ++i) {
        if (!isWanted(options, kFeatures[i]) || (i < agreed.size() && agreed[i] == 1)) continue;
        complain("%s: the peer did not agree to %s, and answers without", options.peer().c_str(),
                 kFeatures[i].what);
    }
}

}  // namespace

int find(const QueryOptions& options) {
    QueryKeys keys;
    if (!keys.parse(options)) return EXIT_USAGE;
    keys.askForUsual();
    const DICT_UID model = options.patientRoot() ? UID_PAT_ROOT_Q_R_FIND : UID_STUDY_ROOT_Q_R_FIND;
    Association association(options);
    propose(association, options, model);
    if (!openFor(association, options, model, {})) return EXIT_FAILED;
    tellWhatIsNotAgreed(association, options, model);
    DcCmdCFindRq request;
    fillRequest(request, model, keys);
    Answers answers(association, options, model);
    if (!association.send(request, model))
        return failed("%s: %s", options.peer().c_str(), association.fault().c_str());
    const auto results = makeQueryResults(keys.tags(), options.json);
    const int status = receiveResults(association, options, answers, *results);
    association.release();
    return status;
}

}  // namespace services
