// A query, from its plan to its answers.
#ifndef ORVKIT_INDEX_SEARCH_H
#define ORVKIT_INDEX_SEARCH_H

#include "index/request.h"
#include "index/session.h"
#include "index/terms.h"

namespace orvkit::index {

// The result: 0, INDEX_STOPPED, INDEX_RESULTS or INDEX_TIME.
int search(Session& session, Terms& terms, const Request& request, const DcIndexQuery& how, void* context,
           DcIndexAnswerCB answer, DcIndexFound& found);

// All that is known of the instances of a series, or of one ("": all). The result: 0 or INDEX_STOPPED.
int describeInstances(Session& session, Terms& terms, const std::string& study, const std::string& series,
                      const std::string& instance, void* context, DcIndexAnswerCB answer);

}  // namespace orvkit::index

#endif
