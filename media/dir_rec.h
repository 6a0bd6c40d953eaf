// What the parts of the DICOMDIR code share.
#ifndef ORVKIT_MEDIA_DIR_REC_H
#define ORVKIT_MEDIA_DIR_REC_H

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "encoding/header.h"
#include "orvkit/dicomdir.h"

namespace orvkit {

inline constexpr unsigned int kTagNextRecord = 0x00041400;
inline constexpr unsigned int kTagInUse = 0x00041410;
inline constexpr unsigned int kTagLowerRecord = 0x00041420;
inline constexpr unsigned int kTagRecordType = 0x00041430;
inline constexpr unsigned int kTagPrivateRecordUid = 0x00041432;
inline constexpr unsigned int kTagRefFileId = 0x00041500;
inline constexpr unsigned int kTagMrdrOffset = 0x00041504;
inline constexpr unsigned int kTagRefSopClass = 0x00041510;
inline constexpr unsigned int kTagRefSopInstance = 0x00041511;
inline constexpr unsigned int kTagRefXferSyn = 0x00041512;
inline constexpr unsigned int kTagReferences = 0x00041600;
inline constexpr unsigned int kRefFileTags[] = {kTagRefFileId, kTagRefSopClass, kTagRefSopInstance,
                                                kTagRefXferSyn};

inline constexpr unsigned int kItemHeader = 8;
// What a DICOMDIR in this mode is decoded as.
constexpr DICT_UID syntaxOfMode(Mode mode) noexcept {
    return mode.explicitVr ? UID_LITTLE_ENDIAN_EXPLICIT : UID_LITTLE_ENDIAN_IMPLICIT;
}
// A link that could not be read: no record stands there.
inline constexpr unsigned int kNoOffset = 0xFFFFFFFF;

// The records linked to an MRDR.
struct MrdrLinks {
    std::unordered_set<DcDirRec*> records;
};

// Where a record in a file leads to: offsets, 0 for none.
struct RecordLinks {
    unsigned int next = kNoOffset;
    unsigned int lower = 0;
    unsigned int mrdr = 0;
};

struct DirRecAccess {
    static DcElemList& elems(DcDirRec& r) noexcept { return r.elems_; }
    static const DcElemList& elems(const DcDirRec& r) noexcept { return r.elems_; }
    static DIR_REC type(const DcDirRec& r) noexcept { return r.type_; }
    static const DcDirRec* mrdr(const DcDirRec& r) noexcept { return r.mrdr_; }
    static unsigned int offset(const DcDirRec& r) noexcept { return r.offset_; }
    static unsigned int& indexKey(DcDirRec& r) noexcept { return r.indexKey_; }
    static void insert(DcDirRec& parent, DcDirRec* child) { parent.insert(child); }
    [[nodiscard]] static int checkLevel(const DcDirRec& parent, const DcDirRec& child) {
        return parent.checkLevel(child);
    }

    // Fills a new record from the content of an item, which ends at `end`. false: logged; `links` is told as
    // far as it can be read.
    [[nodiscard]] static bool parse(DcDirRec& r, std::span<const unsigned char> file, std::size_t end,
                                    unsigned int offset, RecordLinks& links,
                                    Mode mode = Mode::explicitLittle());
    // Where an item leads to; false when no record in use is there.
    [[nodiscard]] static bool readLinks(std::span<const unsigned char> item, RecordLinks& links, Mode mode);
    // Writes the record with the offsets known, or nothing.
    [[nodiscard]] static int frameOne(DcDirRec& r, std::span<unsigned char> room, unsigned int& used);
    // The same for those below, at the offsets that follow.
    [[nodiscard]] static int frameTree(DcDirRec& r, std::span<unsigned char> room, unsigned int& used,
                                       DIR_INCLUDE_CHILD include);
    // Writes the offsets of other records into a framed one.
    static void patch(const DcDirRec& r, unsigned char* at);
    // Not of an MRDR without references.
    static bool isFramed(const DcDirRec& r);
    static unsigned long long sizeOf(const DcDirRec& r, DIR_INCLUDE_CHILD include);

    static void setOffset(DcDirRec& r, unsigned int offset) noexcept { r.offset_ = offset; }
    static void setRefFile(DcDirRec& r, const std::string& fileId, const std::string& sopClass,
                           const std::string& instance, const std::string& xferSyn);
    static void clearRefFile(DcDirRec& r);
};

// The type of that name, "ENCAP_DOC" with its underscore; not logged.
[[nodiscard]] bool findRecordType(const std::string& text, DIR_REC& type);
// Of the edition that is set.
DIR_REC lastRecordType() noexcept;

// The first of a record and those behind it that is framed, or null.
const DcDirRec* firstFramed(const DcDirRec* r);

// Visits all records below one, each before those below itself, without recursion.
class TreeWalk {
  public:
    explicit TreeWalk(const DcDirRec& top) : top_(&top) {}
    DcDirRec* next();  // null at the end
    void skipChildren() noexcept { skip_ = true; }
    // Of the record visited last, from 0; its ancestors below the top, itself last.
    std::span<DcDirRec* const> path() const noexcept { return path_; }

  private:
    const DcDirRec* top_;
    std::vector<DcDirRec*> path_;
    bool skip_ = false;
};

// ---- File IDs ------------------------------------------------------------------------------------------

// The components with backslashes between; "" for none.
std::string fileIdOf(const DcDirRec& r);
std::string normalFileId(const char* fileId);
// A File ID by the rules for writing; logs under `reporter`, DIR_FILE_ID.
[[nodiscard]] int checkFileId(const char* fileId, const char* reporter);
// Whether a File ID, valid or not, names a file below the root.
bool staysBelowRoot(const std::string& normalId);
// The path of a file below a root path.
std::string pathBelow(const char* root, const std::string& normalId);

// Finds records by their File ID. Records linked to an MRDR are not in it.
class FileIdIndex {
  public:
    void add(DcDirRec& r);
    void remove(DcDirRec& r);
    void addTree(DcDirRec& top);
    void removeTree(DcDirRec& top);
    DcDirRec* find(const std::string& normalId) const;

  private:
    std::unordered_multimap<unsigned int, DcDirRec*> records_;
};

// ---- elements that are read -------------------------------------------------------------------------------

// While it lives, elements decoded into the data set keep values that break the rules of their VR: what is
// read is to be written again.
class AcceptAll {
  public:
    explicit AcceptAll(DcElemList& list);
    ~AcceptAll();
    AcceptAll(const AcceptAll&) = delete;
    AcceptAll& operator=(const AcceptAll&) = delete;

  private:
    DcElemList& list_;
};

// An upper bound of what frame writes.
unsigned int sizeOf(const DcElemList& list);
// The texts of an element with backslashes between, each without blanks around; "" without the element.
std::string textOf(const DcElemList& list, unsigned int tag);
// Replaces an element by a text, without the checks of its VR; "" removes it.
void setText(DcElemList& list, unsigned int tag, const std::string& text);
void destroyElem(DcElemList& list, unsigned int tag);

}  // namespace orvkit

#endif
