// C-FIND for the modality worklist (PS3.4 K.4.1).
#include <algorithm>

#include "index/answer.h"
#include "index/match.h"
#include "index/trouble.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/handlers.h"
#include "services/long_request.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/worklist.h"

namespace services {

Handler answerWorklist;  // here
Handler answerCancel;    // long_request.cpp

namespace {

namespace ix = orvkit::index;

constexpr ix::Bounds kKeyBounds{64 << 10, 4 << 10, 256 << 10};
constexpr unsigned int kBetweenLooks = 64;  // steps

// clang-format off
constexpr Service kWorklistServices[] = {
    {DICT_MSG_C_FIND_RQ,   Right::find, answerWorklist, responseTo<DcCmdCFindRsp, DcCmdCFindRq>,
     UID_MODALITY_WORKLIST_FIND},
    {DICT_MSG_C_CANCEL_RQ, Right::find, answerCancel,   nullptr},
};
// clang-format on

std::string charsetOfKeys(DcElemList& keys) {
    std::string terms;
    for (int i = 0; i < keys.getValueCount(T_0008_0005_specificCharacterSet); ++i) {
        char term[65] = "";
        (void)keys.getValue(T_0008_0005_specificCharacterSet, term, sizeof term - 1, i);
        terms += (i == 0 ? "" : "\\") + std::string(term);
    }
    return terms;
}

class WorklistFind {
  public:
    WorklistFind(LongRequest& inquiry, DcCmdCFindRq& request) : inquiry_(inquiry), request_(request) {}

    unsigned short run() {
        try {
            return search();
        } catch (const ix::Trouble& trouble) {
            inquiry_.fail(trouble.text);
            return kUnableToProcess;
        }
    }
    unsigned int answers() const { return answers_; }

  private:
    unsigned short search() {
        ix::Bytes attributes;
        if (!ix::takeAttributes(inquiry_.keys(), kKeyBounds, attributes)) {
            inquiry_.fail("the keys are nested too deep");
            return kDoesNotMatchClass;
        }
        keys_ = ix::makeKeys(attributes, 0);
        // What belongs to the request, and to queries of another service.
        std::erase_if(keys_, [](const ix::Key& key) {
            return key.tag == T_0008_0052_queryRetrieveLevel || key.tag == T_0008_0201_timezoneOffsetFromUtc;
        });
        if (keys_.empty()) {
            inquiry_.fail("nothing is asked for");
            return kDoesNotMatchClass;
        }
        takeStart();
        charset_ = charsetOfKeys(inquiry_.keys());
        Worklist& worklist = *inquiry_.provider().server().worklist;
        unsigned int looked = 0;
        for (const WorklistStep& step : worklist.steps()) {
            if (looked++ % kBetweenLooks == 0 && !inquiry_.goesOn()) return kCancelled;
            if (!matches(*step)) continue;
            if (worklist.most() != 0 && answers_ == worklist.most()) {
                inquiry_.fail("there are more results");
                return kOutOfResources;
            }
            if (!inquiry_.goesOn() || !inquiry_.note(send(*step))) return kCancelled;
        }
        return kSuccess;
    }

    // A range of start dates and one of start times are one, from the first time of the first day to the last
    // of the last (PS3.4 K.6.1.2.2).
    void takeStart() {
        const auto sequence =
            std::ranges::find(keys_, T_0040_0100_scheduledProcedureStepSequence, &ix::Key::tag);
        if (sequence == keys_.end()) return;
        const auto isRange = [](const ix::Key& key) {
            return (key.tag == T_0040_0002_scheduledProcedureStepStartDate ||
                    key.tag == T_0040_0003_scheduledProcedureStepStartTime) &&
                   key.values.size() == 1 && key.values[0].find('-') != std::string::npos;
        };
        if (std::ranges::count_if(sequence->item, isRange) == 2) starts_ = ix::takePairs(sequence->item);
    }

    bool matches(const ix::Bytes& step) const {
        return std::ranges::all_of(
                   keys_,
                   [&](const ix::Key& key) { return ix::matches(key, ix::attributeOf(step, key.tag)); }) &&
               std::ranges::all_of(starts_,
                                   [&](const ix::DateTimeKey& start) { return isWithin(start, step); });
    }
    static bool isWithin(const ix::DateTimeKey& start, const ix::Bytes& step) {
        const auto sequence = ix::attributeOf(step, T_0040_0100_scheduledProcedureStepSequence);
        std::string_view item;
        return sequence.has_value() && ix::ItemReader(sequence->value).next(item) &&
               ix::matches(start, ix::valueOf(item, start.date), ix::valueOf(item, start.time), 0);
    }

    bool send(const ix::Bytes& step) {
        auto identifier = std::make_unique<DcElemList>();
        ix::giveAnswer(ix::projected(keys_, step), charset_, *identifier);
        DcCmdCFindRsp response(&request_);
        (void)response.add(identifier.release());
        ++answers_;
        return inquiry_.provider().respond(request_, response, kPending);
    }

    LongRequest& inquiry_;
    DcCmdCFindRq& request_;
    std::vector<ix::Key> keys_;
    std::vector<ix::DateTimeKey> starts_;
    std::string charset_;
    unsigned int answers_ = 0;
};

}  // namespace

bool answerWorklist(Provider& provider, DICT_UID, DcMsg& message) {
    auto& request = static_cast<DcCmdCFindRq&>(message);
    LongRequest inquiry(provider, request);
    if (!inquiry.receive()) return false;
    DICT_UID asked = UID_NONE;
    (void)request.getValue(T_0000_0002_affectedSopClassUid, asked);
    WorklistFind find(inquiry, request);
    const unsigned short status = asked == UID_MODALITY_WORKLIST_FIND ? find.run() : kClassNotSupported;
    DcCmdCFindRsp response(&request);
    return inquiry.end(response, status, EventId::query, find.answers(),
                       "worklist asked, " + std::to_string(find.answers()) + " results");
}

bool Worklist::serve(StoreServer& server) {
    if (!isFolder(directory_)) return complain("%s is not a directory", directory_.c_str());
    supportQueries(server, UID_MODALITY_WORKLIST_FIND);
    server.services.emplace_back(kWorklistServices);
    server.worklist = this;
    tell_("the worklist " + directory_ + " has " + std::to_string(steps().size()) + " procedure steps");
    return true;
}

}  // namespace services
