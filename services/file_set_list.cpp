// orvkit dicomdir list: the records of a DICOMDIR as a tree.
#include <algorithm>
#include <string>

#include "dictionary/vr_table.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/file_set.h"
#include "services/file_set_jobs.h"
#include "services/folder.h"
#include "services/json_writer.h"
#include "services/output.h"
#include "services/record_types.h"
#include "services/report.h"

namespace services {
namespace {

// All values of an element in UTF-8, with backslashes between.
std::string utf8Of(DcElem& element, const Charset& charset) {
    std::string text;
    char value[1025] = "";
    for (int i = 0, count = element.getValueCount(); i < count; ++i) {
        if (element.getValue(value, sizeof value - 1, i) != RESULT_OK) break;
        if (i != 0) text += '\\';
        text += charset.toUtf8(value, element.getVr());
    }
    return text;
}

bool isText(DICT_VR vr) {
    using orvkit::Kind;
    const Kind kind = orvkit::vrRowOfAny(vr).kind;
    return kind != Kind::hidden && kind != Kind::uid && kind != Kind::bytes && kind != Kind::unknown;
}

void showTree(DcDirDicomDir& set, Output& out) {
    int level = 0;
    for (DcDirRec* r = set.first(); r != nullptr && !out.failed(); r = nextRecord(set, r, level)) {
        const DcDirRecInfo info = infoOf(*r);
        const Charset charset(textOf(*r, T_0008_0005_specificCharacterSet));
        // Deeper than this nothing fits a line.
        out.pad(2 * static_cast<std::size_t>(std::min(level, 60))) << typeName(*r);
        for (const RecordKey& key : keysOf(typeOf(*r))) {
            DcElem* const element = elementOf(*r, key.tag);
            if (element == nullptr || !isText(element->getVr())) continue;
            const std::string value = withEscapes(utf8Of(*element, charset));
            if (!value.empty()) out << "  " << value;
        }
        if (info.refFileId[0] != '\0') out << "  " << withEscapes(charset.toUtf8(info.refFileId, VR_ST));
        if (mrdrOf(*r) != nullptr) out << "  (multi-referenced)";
        if (info.inUseFlag == DIR_REC_NOT_IN_USE) out << "  (not in use)";
        out << '\n';
    }
}

// The object of a record, but for its end.
void putRecord(const DcDirRec& record, Output& out) {
    const DcDirRecInfo info = infoOf(record);
    JsonWriter json(out, JsonWriter::Layout::tight);
    json.beginObject().member("type", typeName(record)).member("offset", offsetOf(record));
    if (info.inUseFlag == DIR_REC_NOT_IN_USE) json.member("inUse", false);
    if (const DcDirRec* mrdr = mrdrOf(record)) json.member("multiReferenced", offsetOf(*mrdr));
    if (info.numberOfReferences != 0) json.member("references", info.numberOfReferences);
    const Charset charset(textOf(record, T_0008_0005_specificCharacterSet));
    const std::pair<const char*, unsigned int> file[] = {
        {"fileId", T_0004_1500_referencedFileId},
        {"sopClassUid", T_0004_1510_referencedFileClassUid},
        {"sopInstanceUid", T_0004_1511_referencedFileInstanceUid},
        {"transferSyntaxUid", T_0004_1512_referencedFileXferSynUid},
    };
    for (const auto& [name, tag] : file) {
        if (DcElem* const e = elementOf(record, tag)) json.member(name, utf8Of(*e, charset));
    }
    json.key("keys").beginObject();
    for (DcElem* e = record.firstElem(); e != nullptr; e = e->next()) {
        const unsigned int tag = tagOf(*e);
        if (tag >> 16 == 0x0004 || !(isText(e->getVr()) || e->getVr() == VR_UI)) continue;
        char name[16];
        std::snprintf(name, sizeof name, "%08X", tag);
        json.member(name, utf8Of(*e, charset));
    }
    json.endObject();
}

// A record at a time, so that neither the number of records nor their depth matters.
void showJson(DcDirDicomDir& set, Output& out) {
    DcDirDicomDirInfo info;
    set.getInfo(info);
    const Charset ascii;
    JsonWriter(out, JsonWriter::Layout::tight)
        .beginObject()
        .member("fileSetId", ascii.toUtf8(info.filesetId, VR_CS))
        .member("consistent", info.consistencyFlag == DIR_FILESET_IS_CONSISTENT);
    out << ", \"records\": [";
    int level = 0;
    int open = 0;  // arrays of children that are not closed
    bool first = true;
    for (DcDirRec* r = set.first(); r != nullptr && !out.failed(); r = nextRecord(set, r, level)) {
        for (; open > level; --open) out << "]}";
        out << (first ? "\n" : ",\n");
        out.pad(static_cast<std::size_t>(std::min(level, 60)) + 1);
        putRecord(*r, out);
        first = r->first() != nullptr;
        if (first) {
            out << ", \"children\": [";
            ++open;
        } else {
            out << '}';
        }
    }
    for (; open > 0; --open) out << "]}";
    out << "\n]}\n";
}

}  // namespace

int listDicomdir(const DicomdirOptions& options) {
    DcDirDicomDir set;
    if (!readDicomdir(set, options.directory, false)) return EXIT_FAILED;
    Output out;
    if (options.json) {
        showJson(set, out);
    } else {
        showTree(set, out);
    }
    out.flush();
    return errorsLogged() == 0 ? EXIT_OK : EXIT_FAILED;
}

}  // namespace services
