// The instances that unique keys select.
#ifndef ORVKIT_INDEX_SELECTION_H
#define ORVKIT_INDEX_SELECTION_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "index/request.h"
#include "index/session.h"

namespace orvkit::index {

struct SelectedSeries {
    std::int64_t patient = 0;
    std::int64_t study = 0;
    std::int64_t series = 0;
    std::string studyUid;
    std::string seriesUid;
    std::uint64_t instances = 0;
    std::uint64_t bytes = 0;
    std::vector<std::string> uids;  // at the level of images, those of it
};
struct SelectedInstance {
    std::string uid;
    std::int64_t copy = 0;
    std::int64_t sopClass = 0;  // a term
    std::int64_t syntax = 0;    // a term
    std::int64_t size = 0;
    std::string path;  // as it stands in the index
};

// The series that the selection is in, by study and series.
std::vector<SelectedSeries> selectSeries(Session& session, const Request& selection);
// So many series behind a row, for all that there are.
std::vector<SelectedSeries> nextSeries(Session& session, std::int64_t behind, std::size_t most);
// Its instances of one of them, in the order of their UIDs, a page at a time, until `take` gives false: then
// so does this.
bool eachInstance(Session& session, Level level, const SelectedSeries& series,
                  const std::function<bool(const SelectedInstance&)>& take);

}  // namespace orvkit::index

#endif
