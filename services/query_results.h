// What a query has found, on standard output: a table for people, or the DICOM JSON model (PS3.18 Annex F).
#ifndef ORVKIT_SERVICES_QUERY_RESULTS_H
#define ORVKIT_SERVICES_QUERY_RESULTS_H

#include <cstddef>
#include <memory>
#include <vector>

#include "services/dump_file.h"

namespace services {

class QueryResults {
  public:
    QueryResults() = default;
    QueryResults(const QueryResults&) = delete;
    QueryResults& operator=(const QueryResults&) = delete;
    virtual ~QueryResults() = default;
    virtual void result(DumpedFile& result) = 0;
    // Bytes that wait for the end.
    virtual std::size_t held() const = 0;
    virtual void finish() = 0;
};
// A row for each result, a column for each of these tags; columns as wide as they need to be, so that it is
// printed at the end. Or JSON, as the results come.
std::unique_ptr<QueryResults> makeQueryResults(const std::vector<unsigned int>& tags, bool json);

}  // namespace services

#endif
