// What is known of instances, put together again.
#include "index/search.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

// What stands in columns, as attributes.
Bytes columnsOf(Statement& row, Terms& terms) {
    Bytes bytes;
    append(bytes, T_0008_0016_sopClassUid, VR_UI, terms.uid(row.integer(7)));
    append(bytes, T_0008_0018_sopInstanceUid, VR_UI, row.uid(6));
    append(bytes, T_0020_000d_studyInstanceUid, VR_UI, row.text(4));
    append(bytes, T_0020_000e_seriesInstanceUid, VR_UI, row.text(5));
    return bytes;
}

}  // namespace

int describeInstances(Session& session, Terms& terms, const std::string& study, const std::string& series,
                      const std::string& instance, void* context, DcIndexAnswerCB answer) {
    const auto find = session.stream(
        "SELECT p.attributes, s.attributes, e.attributes, e.common, s.uid, e.uid, i.uid, i.class, "
        "i.attributes "
        "FROM study s CROSS JOIN patient p CROSS JOIN series e CROSS JOIN instance i "
        "WHERE s.uid = $1 AND p.id = s.patient AND e.study = s.id AND e.uid = $2 AND i.study = e.study AND "
        "i.series = e.id AND ($3 = '' OR i.uid = $3)");
    for (bool more = find->run(study, series, Uid{instance}); more; more = find->step()) {
        Bytes bytes = overlay(find->text(3), find->text(8));
        for (int level = 0; level < 3; ++level) bytes = overlay(bytes, find->text(level));
        bytes = overlay(bytes, columnsOf(*find, terms));
        Texts texts;
        lookAtTexts(bytes, "ISO_IR 192", texts);
        DcElemList dataset;
        giveAttributes(bytes, texts.ascii ? "" : "ISO_IR 192", dataset);
        if (!texts.ascii) dataset.add(new DcElem(T_0008_0005_specificCharacterSet, "ISO_IR 192"));
        if (answer(context, dataset) != 0) return INDEX_STOPPED;
    }
    return RESULT_OK;
}

}  // namespace orvkit::index
