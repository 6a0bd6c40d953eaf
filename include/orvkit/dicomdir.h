// DICOMDIR file sets: directory records, their hierarchy, and the DICOMDIR file (PS3.3 Annex F, PS3.10 8).
//
// Every operation returns a result code, 0 for success, unless it returns a record. Refusals are logged once,
// at LOG_ERROR unless said otherwise. "Null argument passed" (DIR_NULL_ARGUMENT) has level LOG_VALIDATION.
#ifndef ORVKIT_DICOMDIR_H
#define ORVKIT_DICOMDIR_H

#include <cstdio>

#include "orvkit/dirrec.h"
#include "orvkit/elemlist.h"
#include "orvkit/export.h"
#include "orvkit/file.h"
#include "orvkit/list.h"

class DcDirDicomDir;
class DcDirRec;

namespace orvkit {
class DicomDirReader;
class FileIdIndex;
struct DirRecAccess;
struct MrdrLinks;
}  // namespace orvkit

// (0004,1410) Record In-use Flag.
enum DIR_REC_IN_USE : int { DIR_REC_NOT_IN_USE = 0x0000, DIR_REC_USED = 0xFFFF };
// (0004,1212) File-set Consistency Flag.
enum DIR_FILESET_CONSISTENT : int { DIR_FILESET_IS_CONSISTENT = 0x0000, DIR_FILESET_INCONSISTENT = 0xFFFF };
// Whether an operation goes on to all records below.
enum DIR_INCLUDE_CHILD : int { DIR_WITHOUT_CHILD = 0, DIR_WITH_CHILD = 1 };

// A File ID is at most 8 components of at most 8 characters A-Z, 0-9 and "_" (PS3.10 8.2), told with a
// backslash between them.
inline constexpr int DIR_FILE_ID_COMPONENTS = 8;
inline constexpr int DIR_FILE_ID_LIMIT = 71;
inline constexpr int DIR_ROOT_PATH_LIMIT = 257;

// What a record says of itself. Texts hold one character more than their limit, for the NUL.
struct ORVKIT_API DcDirRecInfo {
    DIR_REC_IN_USE inUseFlag;
    char privateRecordUid[65];
    char refFileId[DIR_FILE_ID_LIMIT + 1];  // components with backslashes between
    DICT_UID refFileXferSyn;                // UID_NONE without one, and for a UID that is not registered
    DICT_UID refFileSopClass;
    char refFileSopInstance[65];
    int numberOfReferences;  // records linked to a multi-referenced record (MRDR)

    DcDirRecInfo() noexcept { reset(); }
    void reset() noexcept;
    int printInfo(FILE* file) const;  // DIR_NULL_ARGUMENT null
};

// The records of one directory entity, in order. It owns them. Copies share the records, as DcList's.
class ORVKIT_API DcDirRecList : public DcList {
  public:
    DcDirRecList() noexcept = default;
    DcDirRecList(const DcDirRecList&) = default;
    DcDirRecList& operator=(const DcDirRecList&) = default;
    ~DcDirRecList() override;

    // Appends. Null gives null.
    DcDirRec* add(DcDirRec* record);
    // Unlinks without destroying; returns the record that followed.
    DcDirRec* subtract(DcDirRec* record);
    DcDirRecList& operator+(DcDirRec* record);
    DcDirRecList& operator-(DcDirRec* record);
    DcDirRec* first() const;
    DcDirRec* last() const;
};

// One directory record: its data elements, and the records of its lower-level directory entity, which it
// owns.
//
// What links a record into the DICOMDIR is not among its elements: (0004,1400), (0004,1410), (0004,1420),
// (0004,1430), (0004,1504) and (0004,1600) are made when it is framed. The private record UID and the
// referenced file (0004,1432), (0004,1500), (0004,1510) to (0004,1512) are.
//
// Trees may be of any depth: no operation works by recursion.
class ORVKIT_API DcDirRec : public DcNode {
  public:
    // A record in use (0xFFFF) without elements.
    explicit DcDirRec(DIR_REC type);
    // The record whose item begins at `offset` of a whole DICOMDIR file (explicit VR little endian). `parent`
    // becomes its parent, whose children stay as they are; the record's own children are not read. One that
    // cannot be read is logged with its offset and left of type UNKNOWN, without elements.
    DcDirRec(DcDirRec* parent, unsigned char* buf, unsigned int length, unsigned int offset);
    // Copies are deep: elements, and all records below. The copy has no parent and is in no list; links to
    // MRDRs are kept between records of the copied tree. An assigned record keeps its place.
    DcDirRec(const DcDirRec& other);
    DcDirRec& operator=(const DcDirRec& other);
    ~DcDirRec() override;

    // ---- records below ----------------------------------------------------------------------------------
    // Puts a record below this one; it belongs to it from then on. One that may not stand here (PS3.3 F.4;
    // DIR_LEVEL_RULE is logged by "DcDirRec::checkLevel") is destroyed, and null returned. MRDRs stay at the
    // end: any other record goes in front of them. Constant time.
    DcDirRec* add(DcDirRec* child);
    // Unlinks a child without destroying it; returns the one that followed.
    DcDirRec* subtract(DcDirRec* child);
    DcDirRec& operator+(DcDirRec* child);
    DcDirRec& operator-(DcDirRec* child);
    DcDirRec* first() const;  // child
    DcDirRec* last() const;
    DcDirRec* next() const;  // in the parent's list
    DcDirRec* previous() const;
    DcDirRec* parent() const { return parent_; }
    int getParent(DcDirRec*& parent) const;
    int setParent(DcDirRec* parent);  // only the member: add and subtract see to it
    // Reverses the order of the children, MRDRs still last; with DIR_WITH_CHILD of all records below.
    int reverse(DIR_INCLUDE_CHILD include);

    // ---- elements ---------------------------------------------------------------------------------------
    // As DcElemList's.
    DcElem* add(DcElem* element);
    DcElem* subtract(DcElem* element);
    DcDirRec& operator+(DcElem* element);
    DcDirRec& operator-(DcElem* element);
    DcElem* firstElem() const;
    DcElem* lastElem() const;
    // ELEM_NOT_FOUND when absent.
    int getElem(unsigned int tag, DcElem** out) const;
    // Destroys the elements that are made when a record is framed.
    int destroyTempElem(DIR_INCLUDE_CHILD include);

    // ---- properties -------------------------------------------------------------------------------------
    int getType(DIR_REC& type) const;
    int getDesc(char* text) const;  // "PATIENT": room for 19 characters
    int getInfo(DcDirRecInfo& info) const;
    int getMrdr(DcDirRec*& mrdr) const;         // null without a link
    int getOffset(unsigned int& offset) const;  // in the file read or framed last
    int setOffset(unsigned int offset);         // where frame is to believe the record stands
    // The file set's, room for 258 bytes. DIR_LEVEL_RULE when the topmost record is not of type DICOMDIR.
    int getRootPath(char* path) const;
    int setInUseFlag(DIR_REC_IN_USE flag);
    // "" removes it. DIR_STRING_SIZE longer than 64 characters, DIR_NULL_ARGUMENT null.
    int setPvtRecUid(const char* uid);
    // The file that the record describes, as a File ID with backslashes or slashes; "" for none. Class,
    // instance and transfer syntax are taken from the file's meta information. A link to an MRDR is undone.
    // DIR_FILE_ID refused: not a File ID, no such file below the root path, referenced by another record of
    // the file set, or not a Part 10 file; DIR_LEVEL_RULE as getRootPath. The record is then unchanged.
    int setRefFile(const char* fileId);

    // ---- encoding ---------------------------------------------------------------------------------------
    // An upper bound of the bytes that frame writes. DIR_FILE_SIZE when it does not fit 32 bits.
    int getBufSize(unsigned int& size, DIR_INCLUDE_CHILD include) const;
    // Writes the record as an item of (0004,1220), with DIR_WITH_CHILD its children behind it, each record
    // followed by those below it. `length` is the room at `buf`, `used` receives the bytes written. The
    // record stands at its own offset (setOffset); those below receive theirs. Offsets written are those that
    // the records have when they are written: frame twice, or patch as DcDirDicomDir::write does. An MRDR
    // without references is left out. ELEM_SHORT_BUFFER too little room, DIR_NULL_ARGUMENT null.
    int frame(unsigned char* buf, unsigned int length, unsigned int& used, DIR_INCLUDE_CHILD include);

    // The record and all below it. DIR_NULL_ARGUMENT null.
    int printNodeTree(FILE* file) const;  // a line for each record
    int printNodeList(FILE* file) const;  // addresses of each record and of those around it

  protected:
    // DIR_LEVEL_RULE when a record of the child's type may not stand below this one.
    int checkLevel(const DcDirRec& child) const;

  private:
    friend class DcDirDicomDir;
    friend class orvkit::DicomDirReader;
    friend struct orvkit::DirRecAccess;

    void insert(DcDirRec* child);
    void destroyChildren();
    void copyOwn(const DcDirRec& other);
    void copyTree(const DcDirRec& other);
    int numberOfReferences() const;
    void linkTo(DcDirRec* mrdr);
    void dropLinks();
    DcDirDicomDir* fileSet() const;

    DcElemList elems_;
    DcDirRecList children_;
    DcDirRec* parent_ = nullptr;
    DcDirRec* mrdr_ = nullptr;
    orvkit::MrdrLinks* links_ = nullptr;  // of an MRDR: the records linked to it
    DIR_REC type_;
    DIR_REC_IN_USE inUse_ = DIR_REC_USED;
    unsigned int offset_ = 0;
    unsigned int indexKey_ = 0;  // in the file set's index of File IDs; 0: not there
};

// The header of a file set.
struct ORVKIT_API DcDirDicomDirInfo {
    char filesetId[17];                      // (0004,1130)
    char descriptorFileId[8][13];            // (0004,1141), one component each
    char charset[17];                        // (0004,1142)
    DIR_FILESET_CONSISTENT consistencyFlag;  // (0004,1212)

    DcDirDicomDirInfo() noexcept { reset(); }
    void reset() noexcept;
    int printInfo(FILE* file) const;  // DIR_NULL_ARGUMENT null
};

// A file set: a folder and the DICOMDIR in it, held as the tree of its records. It is itself the topmost
// record. Elements of the DICOMDIR's own data set that the library does not know are kept as its elements.
class ORVKIT_API DcDirDicomDir : public DcDirRec {
  public:
    // Reads the DICOMDIR below a root path; null for none. A root path of more than 257 characters, and a
    // bare drive ("D:"), are logged and leave it empty. What became of the reading is not told: see read.
    explicit DcDirDicomDir(const char* rootPath = nullptr);
    // Deep: the copy has its own records and links.
    DcDirDicomDir(const DcDirDicomDir& other);
    DcDirDicomDir& operator=(const DcDirDicomDir& other);
    ~DcDirDicomDir() override;

    // Replaces the tree by that of the DICOMDIR in the root path (null: the one already set). A missing file
    // is an empty file set (0, LOG_NOTICE); of an inconsistent one only the header is read. Records that
    // cannot be read are logged and left out with all below them, and the result is then DIR_READ_WRITE:
    // writing would lose them. DIR_STRING_SIZE root path too long, DIR_NOT_PART10 no root path or not a Part
    // 10 file, DIR_OPEN, DIR_FILE_SIZE file too large, DIR_STAT, DIR_META_INFO another transfer syntax or SOP
    // class than a DICOMDIR has; one in implicit VR is read where dirSetImplicitDirectory has it so.
    int read(const char* rootPath = nullptr);
    // Writes the tree to the DICOMDIR in the root path (null: the one already set) under another name, which
    // then takes the place of the old file: after a crash one of the two is there whole. All offsets are made
    // new. Writing the same tree again gives the same bytes.
    // DIR_STRING_SIZE, DIR_NOT_PART10 no root path, DIR_READ_WRITE write failed, DIR_OPEN cannot be opened,
    // DIR_FILE_SIZE too large.
    int write(const char* rootPath = nullptr);

    // Preamble, meta information and header, up to the Directory Record Sequence; `buf` holds what getBufSize
    // says. getBufSize with DIR_WITH_CHILD is the whole file. DIR_NULL_ARGUMENT null, DIR_FILE_SIZE above 32
    // bits.
    int frame(unsigned char* buf, unsigned int& length);
    int getBufSize(unsigned int& size, DIR_INCLUDE_CHILD include) const;

    // Makes a record refer to its file through an MRDR, whose description of the file it takes over; a null
    // `mrdr` undoes the link. DIR_NULL_ARGUMENT null record, DIR_MULTI_REFERENCE refused, DIR_STRING_SIZE the
    // MRDR has no File ID.
    int linkRecToMrdr(DcDirRec* record, DcDirRec* mrdr);
    // The record that references a File ID, given with backslashes or slashes; null when none does. Where
    // records are linked to an MRDR it is the MRDR. DIR_FILE_ID no such record (not logged),
    // DIR_NULL_ARGUMENT null.
    int getRefFileObj(const char* fileId, DcDirRec** record);

    int getRootPath(char* path) const;  // room for 258 bytes
    int getInfo(DcDirDicomDirInfo& info) const;
    int getMetaInfo(DcDirMetaInfo& meta) const;
    int setMetaInfo(const DcDirMetaInfo& meta);  // class and transfer syntax stay those of a DICOMDIR
    // "" clears. DIR_STRING_SIZE longer than the field, DIR_NULL_ARGUMENT null.
    int setFilesetId(const char* id);
    int setDescriptorFileId(const char (*components)[13]);  // 8 components
    int setCharset(const char* charset);
    int setConsistencyFlag(DIR_FILESET_CONSISTENT flag);

    // DIR_NULL_ARGUMENT null, DIR_OPEN a file that cannot be opened in that fopen mode.
    int printNodeList(const char* path, const char* mode) const;
    int printNodeTree(const char* path, const char* mode) const;
    using DcDirRec::printNodeList;
    using DcDirRec::printNodeTree;

  private:
    friend class DcDirRec;
    friend class orvkit::DicomDirReader;
    friend struct orvkit::DirRecAccess;

    void setDefaults();
    int initialize(const char* rootPath);
    int setRootPath(const char* path, const char* reporter);
    int frameHeader(unsigned char* buf, unsigned int& length, unsigned int first, unsigned int last);
    void resetContent();
    orvkit::FileIdIndex& index() const;

    char rootPath_[DIR_ROOT_PATH_LIMIT + 1];
    DcDirMetaInfo meta_;
    DcDirDicomDirInfo header_;
    mutable orvkit::FileIdIndex* index_ = nullptr;  // made when first needed
};

#endif
