// What is known of instances, put together again.
#include "index/copy.h"
#include "index/search.h"
#include "index/selection.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

// The columns that whole() reads.
#define ORVKIT_INDEX_WHOLE                                                                      \
    "SELECT p.attributes, s.attributes, e.attributes, e.common, s.uid, e.uid, i.uid, i.class, " \
    "i.attributes, "                                                                            \
    "i.path, i.syntax, i.size "

// What stands in columns, as attributes.
Bytes columnsOf(Statement& row, Terms& terms) {
    Bytes bytes;
    append(bytes, T_0008_0016_sopClassUid, VR_UI, terms.uid(row.integer(7)));
    append(bytes, T_0008_0018_sopInstanceUid, VR_UI, row.uid(6));
    append(bytes, T_0020_000d_studyInstanceUid, VR_UI, row.text(4));
    append(bytes, T_0020_000e_seriesInstanceUid, VR_UI, row.text(5));
    return bytes;
}

// All attributes of an instance.
Bytes whole(Statement& row, Terms& terms) {
    Bytes bytes = overlay(row.text(3), row.text(8));
    for (int level = 0; level < 3; ++level) bytes = overlay(bytes, row.text(level));
    return overlay(bytes, columnsOf(row, terms));
}

}  // namespace

int describeInstances(Session& session, Terms& terms, const std::string& study, const std::string& series,
                      const std::string& instance, void* context, DcIndexAnswerCB answer) {
    const auto find = session.stream(
        ORVKIT_INDEX_WHOLE
        "FROM study s CROSS JOIN patient p CROSS JOIN series e CROSS JOIN instance i "
        "WHERE s.uid = $1 AND p.id = s.patient AND e.study = s.id AND e.uid = $2 AND i.study = e.study AND "
        "i.series = e.id AND ($3 = '' OR i.uid = $3)");
    for (bool more = find->run(study, series, Uid{instance}); more; more = find->step()) {
        const Bytes bytes = whole(*find, terms);
        Texts texts;
        lookAtTexts(bytes, "ISO_IR 192", texts);
        DcElemList dataset;
        giveAttributes(bytes, texts.ascii ? "" : "ISO_IR 192", dataset);
        if (!texts.ascii) dataset.add(new DcElem(T_0008_0005_specificCharacterSet, "ISO_IR 192"));
        if (answer(context, dataset) != 0) return INDEX_STOPPED;
    }
    return RESULT_OK;
}

bool eachRecord(Session& session, Terms& terms, const std::function<bool(std::vector<Record>&)>& take) {
    constexpr std::size_t page = 500;
    std::vector<Record> records;
    std::int64_t behind = 0;
    for (;;) {
        const std::vector<SelectedSeries> all = nextSeries(session, behind, page);
        for (const SelectedSeries& series : all) {
            const auto find =
                session.stream(ORVKIT_INDEX_WHOLE
                               "FROM series e CROSS JOIN study s CROSS JOIN patient p CROSS JOIN instance i "
                               "WHERE e.id = $1 AND s.id = e.study AND p.id = s.patient AND i.study = "
                               "e.study AND i.series = e.id "
                               "ORDER BY i.uid, i.copy");
            for (bool more = find->run(series.series); more; more = find->step()) {
                const std::string path = wholePath(find->text(9), find->uid(6));
                const std::string syntax = terms.uid(find->integer(10));
                const auto size = static_cast<unsigned long long>(find->integer(11));
                records.push_back(makeRecord(whole(*find, terms), {path.c_str(), syntax.c_str(), size}));
                if (records.size() < page) continue;
                if (!take(records)) return false;
                records.clear();
            }
        }
        if (all.size() < page) return records.empty() || take(records);
        behind = all.back().series;
    }
}

}  // namespace orvkit::index
