// Directory trees for tests: what they hold as plain values, DICOMDIR files made byte by byte, and file sets
// with real files.
#ifndef ORVKIT_TESTS_MEDIA_DIR_TREE_H
#define ORVKIT_TESTS_MEDIA_DIR_TREE_H

#include "media/leaves.h"
#include "media/part10.h"
#include "orvkit/dicomdir.h"

// A record: its depth, type and flag, and its elements with their values.
struct RecordFacts {
    int depth = 0;
    std::string type;
    unsigned int inUse = 0xFFFF;
    std::vector<std::pair<unsigned int, std::string>> elements;

    friend bool operator==(const RecordFacts&, const RecordFacts&) = default;
};

// All records below one, each before those below itself; only for trees of little depth.
inline void collectRecords(const DcDirRec& top, int depth, std::vector<RecordFacts>& all) {
    for (DcDirRec* r = top.first(); r != nullptr; r = r->next()) {
        RecordFacts facts;
        char type[32];
        DcDirRecInfo info;
        r->getDesc(type);
        r->getInfo(info);
        facts.depth = depth;
        facts.type = type;
        facts.inUse = static_cast<unsigned int>(info.inUseFlag);
        for (DcElem* e = r->firstElem(); e != nullptr; e = e->next()) {
            unsigned int tag = 0;
            e->getTag(tag);
            std::string value;
            if (orvkit::ElemAccess::isSequence(*e)) {
                std::vector<unsigned char> bytes(65536);
                unsigned int used = 0;
                e->frame(bytes.data(), used, UID_LITTLE_ENDIAN_EXPLICIT);
                value.assign(bytes.begin(), bytes.begin() + used);
            } else {
                value = valueOf(*e, UID_LITTLE_ENDIAN_EXPLICIT);
            }
            facts.elements.emplace_back(tag, value);
        }
        all.push_back(facts);
        collectRecords(*r, depth + 1, all);
    }
}

inline std::vector<RecordFacts> recordsOf(const DcDirRec& top) {
    std::vector<RecordFacts> all;
    collectRecords(top, 0, all);
    return all;
}

// "PATIENT(STUDY(SERIES(IMAGE,IMAGE))),MRDR"
inline std::string shapeOf(const DcDirRec& top) {
    std::string shape;
    for (DcDirRec* r = top.first(); r != nullptr; r = r->next()) {
        char type[32];
        r->getDesc(type);
        if (!shape.empty()) shape += ',';
        shape += type;
        if (r->first() != nullptr) shape += "(" + shapeOf(*r) + ")";
    }
    return shape;
}

// ---- files byte by byte -----------------------------------------------------------------------------------

inline constexpr unsigned int kCraftedSize = 72;  // bytes of a crafted record, its item header included

struct CraftedRecord {
    std::string type = "PATIENT";
    unsigned int next = 0, lower = 0;
};

// A DICOMDIR whose records stand at craftedOffset(0), craftedOffset(1), ...
inline std::string craftedHeader(unsigned int first, unsigned int records) {
    Stream meta = Stream().elem(0x00020001, "OB", std::string("\0\1", 2));
    meta.ui(0x00020002, uidOf(UID_MEDIA_STORAGE_DIR_STORAGE)).ui(0x00020003, "1.2.3");
    Stream s = part10(meta.ui(0x00020010, uidOf(UID_LITTLE_ENDIAN_EXPLICIT)));
    s.elem(0x00041130, "CS", "TEST").ul(0x00041200, first).ul(0x00041202, first);
    s.us(0x00041212, 0).header(0x00041220, "SQ", records * kCraftedSize);
    return s.text();
}

inline unsigned int craftedOffset(unsigned int index) {
    static const auto header = static_cast<unsigned int>(craftedHeader(0, 0).size());
    return header + index * kCraftedSize;
}

inline std::string crafted(unsigned int first, const std::vector<CraftedRecord>& records) {
    Stream s;
    for (const CraftedRecord& r : records) {
        s.item(kCraftedSize - 8).ul(0x00041400, r.next).us(0x00041410, 0xFFFF).ul(0x00041420, r.lower);
        std::string type = r.type;
        type.resize(8, ' ');
        s.elem(0x00041430, "CS", type).elem(0x00041432, "UI", evenUid("1.2.3"));
    }
    return craftedHeader(first, static_cast<unsigned int>(records.size())) + s.text();
}

// ---- file sets with files ------------------------------------------------------------

// A Part 10 file below a folder, by its File ID with slashes.
inline void makeImage(const TempDir& root, const std::string& fileId,
                      const std::string& instance = "1.2.3.4") {
    const std::filesystem::path path(root / fileId);
    std::filesystem::create_directories(path.parent_path());
    DcDirMetaInfo meta = metaFor(UID_LITTLE_ENDIAN_EXPLICIT);
    std::snprintf(meta.sopInstanceUid, sizeof meta.sopInstanceUid, "%s", instance.c_str());
    DcElemList dataset;
    dataset.add(new DcElem(0x00080016u, UID_CT_IMAGE_STORAGE));
    dataset.add(new DcElem(0x00080018u, instance.c_str()));
    dirWriteFile(path.string().c_str(), meta, dataset);
}

// A chain of new records from PATIENT to IMAGE below the file set; gives the IMAGE.
inline DcDirRec* addImagePath(DcDirRec& set) {
    DcDirRec* at = &set;
    for (const DIR_REC type : {DIR_REC_PATIENT, DIR_REC_STUDY, DIR_REC_SERIES, DIR_REC_IMAGE})
        at = at->add(new DcDirRec(type));
    return at;
}

#endif
