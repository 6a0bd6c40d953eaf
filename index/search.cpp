#include "index/search.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string>
#include <unordered_set>

#include "index/answer.h"
#include "index/plan.h"
#include "index/trouble.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

using Clock = std::chrono::steady_clock;

// What a row of a plan says of any attribute.
class Facts {
  public:
    Facts(Statement& row, Level level, Terms& terms) : row_(row), level_(level), terms_(terms) {}

    // Lives until the next call.
    std::optional<Attribute> find(unsigned int tag) {
        if (isComputed(tag)) return computed(tag);
        switch (levelOf(tag)) {
            case Level::patient:
                return attributeOf(row_.text(Columns::patientAttributes), tag);
            case Level::study:
                return attributeOf(row_.text(Columns::studyAttributes), tag);
            case Level::series:
                return attributeOf(row_.text(Columns::seriesAttributes), tag);
            default:
                return ofImage(tag);
        }
    }
    std::string value(unsigned int tag) {
        const std::optional<Attribute> attribute = find(tag);
        return attribute.has_value() ? std::string(trimmed(attribute->value)) : "";
    }

  private:
    // Its own, over what all of the series have.
    std::optional<Attribute> ofImage(unsigned int tag) {
        if (level_ != Level::image) return std::nullopt;
        std::optional<Attribute> own = attributeOf(row_.text(Columns::ownAttributes), tag);
        if (!own.has_value()) return attributeOf(row_.text(Columns::common), tag);
        if (own->vr == kAbsent) return std::nullopt;
        return own;
    }

    std::optional<Attribute> computed(unsigned int tag) {
        struct Row {
            unsigned int tag;
            DICT_VR vr;
            int column;
        };
        static constexpr Row rows[] = {
            {T_0008_0061_modalitiesInStudy, VR_CS, Columns::modalities},
            {T_0008_0062_sopClassesInStudy, VR_UI, Columns::classes},
            {T_0020_000d_studyInstanceUid, VR_UI, Columns::studyUid},
            {T_0020_000e_seriesInstanceUid, VR_UI, Columns::seriesUid},
            {T_0020_1200_numberOfPatientRelatedStudies, VR_IS, Columns::patientStudies},
            {T_0020_1202_numberOfPatientRelatedSeries, VR_IS, Columns::patientSeries},
            {T_0020_1204_numberOfPatientRelatedInstances, VR_IS, Columns::patientInstances},
            {T_0020_1206_numberOfStudyRelatedSeries, VR_IS, Columns::studySeries},
            {T_0020_1208_numberOfStudyRelatedInstances, VR_IS, Columns::studyInstances},
            {T_0020_1209_numberOfSeriesRelatedInstances, VR_IS, Columns::seriesInstances},
        };
        if (tag == T_0008_0016_sopClassUid)
            return Attribute{tag, VR_UI, terms_.uid(row_.integer(Columns::sopClass))};
        if (tag == T_0008_0018_sopInstanceUid) return Attribute{tag, VR_UI, row_.uid(Columns::instanceUid)};
        const auto* const row =
            std::find_if(std::begin(rows), std::end(rows), [tag](const Row& r) { return r.tag == tag; });
        return Attribute{tag, row->vr, row_.text(row->column)};
    }

    Statement& row_;
    Level level_;
    Terms& terms_;
};

class Query {
  public:
    Query(Session& session, Terms& terms, const Request& request, const DcIndexQuery& how, void* context,
          DcIndexAnswerCB answer, DcIndexFound& found)
        : session_(session),
          terms_(terms),
          request_(request),
          how_(how),
          context_(context),
          answer_(answer),
          found_(found),
          end_(Clock::now() + std::chrono::milliseconds(how.maxMilliseconds)) {}

    int run() {
        found_ = {};
        for (const unsigned int tag : request_.unsupported) {
            if (found_.unsupportedCount < std::size(found_.unsupported))
                found_.unsupported[found_.unsupportedCount] = tag;
            ++found_.unsupportedCount;
        }
        session_.setGuard([this] { return isOver(); });
        int result = RESULT_OK;
        try {
            result = go();
        } catch (const Trouble& trouble) {
            session_.setGuard(nullptr);
            if (trouble.result != INDEX_STOPPED) throw;
            return over_ != RESULT_OK ? over_ : INDEX_STOPPED;
        } catch (...) {
            session_.setGuard(nullptr);
            throw;
        }
        session_.setGuard(nullptr);
        return result;
    }

  private:
    bool isOver() {
        if (over_ == RESULT_OK && how_.maxMilliseconds != 0 && Clock::now() >= end_) over_ = INDEX_TIME;
        if (over_ == RESULT_OK && how_.stop != nullptr && how_.stop(how_.stopContext) != 0)
            over_ = INDEX_STOPPED;
        return over_ != RESULT_OK;
    }

    int go() {
        const Plan plan = makePlan(session_, request_);
        for (const Sql& sql : plan.statements) {
            const auto statement = session_.stream(sql.text());
            sql.bindTo(*statement);
            while (statement->step()) {
                if (plan.repeats && !seen_.insert(rowKey(*statement)).second) continue;
                Facts facts(*statement, request_.level, terms_);
                if (!matchesAll(facts)) continue;
                if (how_.maxResults != 0 && found_.answers >= how_.maxResults) return INDEX_RESULTS;
                ++found_.answers;
                if (!tell(facts)) return INDEX_STOPPED;
            }
        }
        return RESULT_OK;
    }

    std::string rowKey(Statement& row) const {
        const int at = Columns::row(request_.level);
        if (request_.level != Level::image) return std::string(row.text(at));
        return std::string(row.text(Columns::instanceUid)) + ' ' + std::string(row.text(at)) + ' ' +
               std::string(row.text(at + 1));
    }

    bool matchesAll(Facts& facts) const {
        return std::all_of(
                   request_.keys.begin(), request_.keys.end(),
                   [&](const Key& key) { return key.isUniversal() || matches(key, facts.find(key.tag)); }) &&
               std::all_of(request_.pairs.begin(), request_.pairs.end(),
                           [&](const DateTimeKey& key) { return matchesPair(key, facts); });
    }
    bool matchesPair(const DateTimeKey& key, Facts& facts) const {
        std::int64_t offset = 0;
        const std::optional<std::int64_t> own = zoneOf(facts.value(T_0008_0201_timezoneOffsetFromUtc));
        if (request_.offset.has_value() && own.has_value()) offset = *own - *request_.offset;
        return matches(key, facts.value(key.date), facts.value(key.time), offset);
    }

    bool tell(Facts& facts) {
        Bytes bytes;
        bool levelTold = false;
        const auto tellLevel = [&] {
            append(bytes, T_0008_0052_queryRetrieveLevel, VR_CS, rowOf(request_.level).name);
            levelTold = true;
        };
        for (const Key& key : request_.keys) {
            if (!levelTold && key.tag > T_0008_0052_queryRetrieveLevel) tellLevel();
            addAnswer(bytes, key, facts.find(key.tag));
        }
        if (!levelTold) tellLevel();
        DcElemList dataset;
        giveAnswer(bytes, request_.charset, dataset);
        const Clock::time_point before = Clock::now();
        const bool goesOn = answer_(context_, dataset) == 0;
        end_ += Clock::now() - before;
        return goesOn;
    }

    Session& session_;
    Terms& terms_;
    const Request& request_;
    const DcIndexQuery& how_;
    void* context_;
    DcIndexAnswerCB answer_;
    DcIndexFound& found_;
    Clock::time_point end_;
    int over_ = RESULT_OK;
    std::unordered_set<std::string> seen_;  // rows that came by words
};

}  // namespace

int search(Session& session, Terms& terms, const Request& request, const DcIndexQuery& how, void* context,
           DcIndexAnswerCB answer, DcIndexFound& found) {
    return Query(session, terms, request, how, context, answer, found).run();
}

}  // namespace orvkit::index
