// What is called of libpq. It takes longer to start than most commands take to run, and is linked by a module
// that is loaded when the first PostgreSQL index is opened.
#ifndef ORVKIT_INDEX_LIBPQ_H
#define ORVKIT_INDEX_LIBPQ_H

#include <libpq-fe.h>

namespace orvkit::index {

#define ORVKIT_LIBPQ(row)                                                                                 \
    row(PQcancel) row(PQclear) row(PQcmdTuples) row(PQconnectdbParams) row(PQconsumeInput)                \
        row(PQenterPipelineMode) row(PQerrorMessage) row(PQexec) row(PQexitPipelineMode) row(PQfinish)    \
            row(PQfreeCancel) row(PQftype) row(PQgetCancel) row(PQgetResult) row(PQgetisnull)             \
                row(PQgetlength) row(PQgetvalue) row(PQisBusy) row(PQntuples) row(PQpipelineSync)         \
                    row(PQresultErrorField) row(PQresultStatus) row(PQsendPrepare) row(PQsendQueryParams) \
                        row(PQsendQueryPrepared) row(PQsetNoticeProcessor) row(PQsocket) row(PQstatus)

struct Libpq {
#define ORVKIT_LIBPQ_MEMBER(name) decltype(&::name) name;
    ORVKIT_LIBPQ(ORVKIT_LIBPQ_MEMBER)
#undef ORVKIT_LIBPQ_MEMBER
};

// Trouble, INDEX_ENGINE: the module cannot be loaded.
const Libpq& libpq();

}  // namespace orvkit::index

extern "C"
#ifdef __GNUC__
    __attribute__((visibility("default")))
#endif
    const orvkit::index::Libpq*
    orvkitIndexLibpq();  // libpq_table.cpp

#endif
