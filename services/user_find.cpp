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
#include "services/print_forms.h"
#include "services/query_keys.h"
#include "services/report.h"
#include "services/retrieve.h"
#include "services/tag_names.h"
#include "services/values.h"

namespace services {
namespace {

constexpr auto kWorthOfResult = std::chrono::milliseconds(100);  // ten a second are as good as none missing
constexpr std::size_t kMostHeld = 64 << 20;

// Results as they come, for programs.
class JsonResults {
  public:
    JsonResults() : form_(makeJsonForm(out_)) { form_->begin(); }
    void result(DumpedFile& result) { form_->file(result, Pick(), nullptr); }
    std::size_t held() const { return 0; }
    void finish() { form_->end(); }

  private:
    Output out_;
    std::unique_ptr<DumpForm> form_;
};

// A row for each result, a column for each key; columns as wide as they need to be, so that it is printed at
// the end.
class TableResults {
  public:
    explicit TableResults(const std::vector<unsigned int>& tags) : tags_(tags) {
        rows_.emplace_back();
        for (unsigned int tag : tags_) rows_[0].push_back(keywordOf(tag));
    }
    void result(DumpedFile& result) {
        const Place place(result.data, result);
        std::vector<std::string> row;
        for (unsigned int tag : tags_) {
            DcElem* const e = elementOf(result.data, tag);
            row.push_back(e != nullptr ? text(*e, place) : "");
            held_ += sizeof(std::string) + row.back().size();
        }
        rows_.push_back(std::move(row));
    }
    std::size_t held() const { return held_; }  // bytes
    void finish() const {
        if (rows_.size() == 1) return;
        std::vector<std::size_t> widths(tags_.size());
        for (const auto& row : rows_) {
            for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns(row[i]));
        }
        Output out;
        for (const auto& row : rows_) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                out << row[i];
                if (i + 1 < row.size()) out.pad(widths[i] - columns(row[i]) + 2);
            }
            out << '\n';
        }
    }

  private:
    // Characters of a UTF-8 text.
    static std::size_t columns(const std::string& text) {
        return static_cast<std::size_t>(
            std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
    }
    std::string text(DcElem& e, const Place& place) {
        values_.load(e, place);
        std::string all;
        for (std::size_t i = 0; i < values_.count(); ++i) {
            if (i != 0) all += '\\';
            switch (values_.kind()) {
                case ValueKind::text:
                    all += withEscapes(values_.text(i));
                    break;
                case ValueKind::integer:
                    all += values_.integerText(i);
                    break;
                case ValueKind::real:
                    all += std::to_string(values_.real(i));
                    break;
                default:
                    break;
            }
        }
        return all;
    }

    const std::vector<unsigned int>& tags_;
    std::vector<std::vector<std::string>> rows_;
    std::size_t held_ = 0;
    Values values_;
};

// The results of a query; what keeps it from success is told.
template <typename Results>
int receiveResults(Association& association, const QueryOptions& options, Answers& answers,
                   Results& results) {
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
};

void propose(Association& association, const QueryOptions& options, DICT_UID model) {
    std::vector<unsigned char> wanted;
    std::size_t used = 0;
    for (const Feature& feature : kFeatures) {
        wanted.push_back(options.*feature.wanted ? 1 : 0);
        if (options.*feature.wanted) used = wanted.size();
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
        if (!(options.*kFeatures[i].wanted) || (i < agreed.size() && agreed[i] == 1)) continue;
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
    int status = EXIT_FAILED;
    if (options.json) {
        JsonResults results;
        status = receiveResults(association, options, answers, results);
    } else {
        TableResults results(keys.tags());
        status = receiveResults(association, options, answers, results);
    }
    association.release();
    return status;
}

}  // namespace services
