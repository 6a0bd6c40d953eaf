// How a request is searched for: by the one of its keys that narrows most, through an index of its own; all
// else is looked at on the rows that come.
#ifndef ORVKIT_INDEX_PLAN_H
#define ORVKIT_INDEX_PLAN_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "index/request.h"
#include "index/session.h"

namespace orvkit::index {

// A part of a statement with its parameters.
class Sql {
  public:
    using Value = std::variant<std::int64_t, std::string, Uid>;

    Sql& operator<<(std::string_view text) {
        text_ += text;
        return *this;
    }
    // Its placeholder.
    Sql& put(Value value) {
        values_.push_back(std::move(value));
        text_ += '$';
        text_ += std::to_string(values_.size());
        return *this;
    }
    const std::string& text() const { return text_; }
    void bindTo(Statement& statement) const {
        for (std::size_t i = 0; i < values_.size(); ++i) {
            std::visit([&](const auto& value) { statement.bindAny(static_cast<int>(i + 1), value); },
                       values_[i]);
        }
    }

  private:
    std::string text_;
    std::vector<Value> values_;
};

struct Plan {
    // One statement after another, for long lists of UIDs; none where nothing can match.
    std::vector<Sql> statements;
    bool repeats = false;     // a row may come again
    bool everything = false;  // no key narrows it
};
Plan makePlan(Session& session, const Request& request);

// The columns of its rows, level by level as far as the request's.
struct Columns {
    static constexpr int patientAttributes = 0;
    static constexpr int patientStudies = 1;
    static constexpr int patientSeries = 2;
    static constexpr int patientInstances = 3;
    static constexpr int studyAttributes = 4;
    static constexpr int studyUid = 5;
    static constexpr int modalities = 6;
    static constexpr int classes = 7;
    static constexpr int studySeries = 8;
    static constexpr int studyInstances = 9;
    static constexpr int seriesAttributes = 10;
    static constexpr int seriesUid = 11;
    static constexpr int seriesInstances = 12;
    static constexpr int common = 13;
    static constexpr int instanceUid = 14;
    static constexpr int sopClass = 15;
    static constexpr int ownAttributes = 16;
    // Where the number is that a row of the level has for itself: of an image that of its copy, and then of
    // its series.
    static int row(Level level);
};

}  // namespace orvkit::index

#endif
