// The data dictionary: what is known of every data element, value representation (VR) and UID.
#ifndef ORVKIT_DICT_H
#define ORVKIT_DICT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "orvkit/export.h"
#include "orvkit/uids.h"

// Value representations (PS3.5 6.2), and codes of the library's own from VR_OX on.
enum DICT_VR : int {
    VR_AE = 1,
    VR_AS = 2,
    VR_AT = 3,
    VR_CS = 4,
    VR_DA = 5,
    VR_DS = 6,
    VR_DT = 7,
    VR_FL = 8,
    VR_FD = 9,
    VR_IS = 10,
    VR_LO = 11,
    VR_LT = 12,
    VR_OB = 13,
    VR_OF = 14,
    VR_OW = 15,
    VR_PN = 16,
    VR_SH = 17,
    VR_SL = 18,
    VR_SQ = 19,
    VR_SS = 20,
    VR_ST = 21,
    VR_TM = 22,
    VR_UI = 23,
    VR_UL = 24,
    VR_UN = 25,
    VR_US = 26,
    VR_UT = 27,
    VR_OX = 28,  // OB or OW, decided by transfer syntax and context
    VR_XL = 29,  // UL or SL
    VR_XS = 30,  // US or SS
    VR_RT = 31,  // a retired element
    VR_IM = 32,  // "as the dictionary says": the implicit VR
    VR_EX = 33,  // internal, without a value of its own
    VR_SI = 34,  // items and delimitation items
    VR_UNKNOWN = 35,
    // Of later editions (edition.h):
    VR_OD = 36,
    VR_OL = 37,
    VR_OV = 38,
    VR_SV = 39,
    VR_UC = 40,
    VR_UR = 41,
    VR_UV = 42,
};

// The unit of a VR's binary values: what byte swapping works on.
enum DICT_VR_SIZE : int {
    VR_SIZE_CHAR = 0,    // single bytes or characters
    VR_SIZE_16 = 1,      // 16-bit words
    VR_SIZE_32 = 2,      // 32-bit integers
    VR_SIZE_FLOAT = 3,   // 32-bit floating point
    VR_SIZE_DOUBLE = 4,  // 64-bit floating point
    VR_SIZE_NONE = 5,    // no binary unit (sequences), or no answer
    VR_SIZE_64 = 6,      // 64-bit integers
};

// DIMSE message types: the values of the command field (0000,0100), PS3.7 E.1.
enum DICT_MSG : int {
    DICT_MSG_C_STORE_RQ = 0x0001,
    DICT_MSG_C_STORE_RSP = 0x8001,
    DICT_MSG_C_GET_RQ = 0x0010,
    DICT_MSG_C_GET_RSP = 0x8010,
    DICT_MSG_C_FIND_RQ = 0x0020,
    DICT_MSG_C_FIND_RSP = 0x8020,
    DICT_MSG_C_MOVE_RQ = 0x0021,
    DICT_MSG_C_MOVE_RSP = 0x8021,
    DICT_MSG_C_ECHO_RQ = 0x0030,
    DICT_MSG_C_ECHO_RSP = 0x8030,
    DICT_MSG_C_CANCEL_RQ = 0x0FFF,
    DICT_MSG_N_EVENT_RQ = 0x0100,
    DICT_MSG_N_EVENT_RSP = 0x8100,
    DICT_MSG_N_GET_RQ = 0x0110,
    DICT_MSG_N_GET_RSP = 0x8110,
    DICT_MSG_N_SET_RQ = 0x0120,
    DICT_MSG_N_SET_RSP = 0x8120,
    DICT_MSG_N_ACTION_RQ = 0x0130,
    DICT_MSG_N_ACTION_RSP = 0x8130,
    DICT_MSG_N_CREATE_RQ = 0x0140,
    DICT_MSG_N_CREATE_RSP = 0x8140,
    DICT_MSG_N_DELETE_RQ = 0x0150,
    DICT_MSG_N_DELETE_RSP = 0x8150,
};

// The record of a data element.
struct DcDictElemInfo {
    unsigned int tag;  // group in the high 16 bits, element in the low 16
    DICT_VR vr;
    int vm;               // n > 0: exactly n values; 0: one or more; -n: one to n
    unsigned int tagDef;  // the identifier by which callers name the record: the (mapped) tag
    char name[64];        // at most 60 characters, "T_0008_0016_sopClassUid"
};

// The record of a UID.
struct DcDictUidInfo {
    DICT_UID value;      // UID_NONE in a free slot
    DICT_UID_TYPE type;  // what the UID names
    char uid[65];        // at most 64 characters (PS3.5 9.1)
    char desc[61];       // at most 60 characters
};

// What the dictionary says of a tag, in short (DcDict::facts).
struct DcDictFacts {
    DICT_VR vr;
    int vm;
    bool known;  // false: vr and vm are the fallback, UN and 1
};

// The properties of a VR (DcDict::vrFacts).
struct DcDictVrFacts {
    int length;  // the longest value in bytes, 0 for no fixed limit
    DICT_VR_SIZE size;
    bool ok;  // false: the VR has no properties, length and size are 0 and VR_SIZE_NONE
};

enum DICT_EDITION : int;
namespace orvkit {
struct EditionTables;
}

// The facts of a record, as close together as look-ups like them.
struct DcDictTagFacts_ {
    unsigned int tag;
    DICT_VR vr;
    int vm;
};

// The dictionary of data elements, VRs and UIDs. There is one, the global `Dict`; it starts with 2607
// elements, 34 VRs and 210 UIDs, can be added to and subtracted from, and is brought back to its first state
// by reset. edition.h tells how it comes to know today's edition of the standard instead; then the limits
// below hold for what is added, and nothing else is different.
//
// Keys. Elements of repeating groups (even groups 50xx and 60xx, PS3.5 7.6) are stored and looked up under
// the groups 50FF and 60FF. In an odd (private) group, elements below 0100 are stored and looked up under
// 00FF, the private creator slot (PS3.5 7.8.1), all others with their high byte set to FF: (0009,1010) is the
// same as (0009,FF10). The groups 50FF and 60FF are private in a data set, too: of the definitions of
// repeating elements, which have these groups, only getTag knows; everything else needs a real, even group.
//
// Failures are logged under "DcDict::" and the operation's name, at level LOG_NOTICE but for "Null argument
// passed", which has level LOG_VALIDATION. A tag, UID string or VR code that is merely not found is not
// logged. Result codes: 0; RESULT_DICT_EXISTS the entry exists already; RESULT_DICT_NOT_FOUND not in the
// dictionary; RESULT_DICT_NULL a null or unusable argument; RESULT_DICT_LIMIT a table is full;
// RESULT_DICT_NOT_SQ not a sequence; RESULT_DICT_NOT_XFER_SYN not a transfer syntax.
//
// The const operations and the three generators may be called from any number of threads at once as long as
// no thread adds, subtracts, resets or assigns; those need the dictionary to themselves.
//
// Copies are member-wise: a copy begins with the source's entries and counters and is independent from then
// on. Every dictionary creates `Log` when it is constructed and there is none, and every dictionary, a copy
// included, deletes `Log` when it is destroyed: a copy should live as long as the global.
class ORVKIT_API DcDict {
  public:
    static constexpr std::size_t maxTags = 4096;
    static constexpr std::size_t maxSequences = 160;
    static constexpr std::size_t maxUids = 256;
    static constexpr std::size_t maxSqTags = 64;  // in a sequence's tag list, the closing zero included

    DcDict();  // creates Log; logs nothing
    DcDict(const DcDict&) = default;
    DcDict& operator=(const DcDict&) = default;
    ~DcDict();  // deletes Log and sets it to null

    // ---- data elements ----

    // The record of a tag; `info` may be null. Element 0000 of any group is its group length: UL, VM 1, name
    // "T_gggg_0000_groupLength". A private creator without a record of its own is LO, VM 1, name
    // "T_gggg_eeee_privateCreatorId". For any other unknown tag RESULT_DICT_NOT_FOUND and the fallback: UN,
    // VM 1, "T_gggg_eeee".
    int getElemInfo(unsigned int tag, DcDictElemInfo* info) const;
    int getElemInfo(unsigned short group, unsigned short element, DcDictElemInfo* info) const;

    // Single facts of the same record, the fallback and RESULT_DICT_NOT_FOUND for an unknown tag. `name`
    // needs room for 61 characters, `code` for 4. Text arguments that are null give RESULT_DICT_NULL.
    int getDesc(unsigned int tag, char* name) const;
    int getDesc(unsigned short group, unsigned short element, char* name) const;
    int getVr(unsigned int tag, char* code) const;
    int getVr(unsigned short group, unsigned short element, char* code) const;
    int getVrDef(unsigned int tag, DICT_VR& vr) const;
    int getVrDef(unsigned short group, unsigned short element, DICT_VR& vr) const;
    int getVm(unsigned int tag, int& vm) const;
    int getVm(unsigned short group, unsigned short element, int& vm) const;

    // Between a tag definition and the tag of its record, and from a tag to the definition of its record.
    // They are the same number; one without a record comes back as it is, with RESULT_DICT_NOT_FOUND.
    int getTag(unsigned int tagDef, unsigned int& tag) const;
    int getTag(unsigned int tagDef, unsigned short& group, unsigned short& element) const;
    int getTagDef(unsigned int tag, unsigned int& tagDef) const;
    int getTagDef(unsigned short group, unsigned short element, unsigned int& tagDef) const;

    // The tags expected in the items of a sequence, closed by a zero; `tagList` needs room for 64 entries. A
    // sequence without a registered list and an unknown tag have an empty list and the result 0; a known tag
    // that is not SQ has an empty list and RESULT_DICT_NOT_SQ.
    int getSqTagList(unsigned int tag, unsigned int* tagList) const;
    int getSqTagList(unsigned short group, unsigned short element, unsigned int* tagList) const;

    // Adds an element. A null `name` stands for the default "T_gggg_eeee" (with "xx" for the digits that the
    // key leaves open); longer names are cut to 60 characters. `tagDef`, when given, receives the tag
    // definition (0xFFFFFFFF when the table is full). Without `tagDef`, group lengths and private creators
    // are passed over with 0. A private creator is always LO, an SQ always has VM 1. Only element 00FF of an
    // even group is refused as a duplicate (RESULT_DICT_EXISTS); any other tag gets one more record, and the
    // latest answers lookups.
    int add(unsigned int tag, DICT_VR vr, int vm, const char* name, unsigned int* tagDef);
    int add(unsigned short group, unsigned short element, DICT_VR vr, int vm, const char* name,
            unsigned int* tagDef);

    // Adds a sequence with the list of tags expected in its items: at most 63 and a closing zero (else
    // RESULT_DICT_LIMIT).
    int add(unsigned int tag, const unsigned int* tagList, const char* name, unsigned int* tagDef);
    int add(unsigned short group, unsigned short element, const unsigned int* tagList, const char* name,
            unsigned int* tagDef);

    // Removes an element, built-in or added, until the next reset; of a sequence also its tag list.
    int subtract(unsigned int tag);
    int subtract(unsigned short group, unsigned short element);

    // Brings back the built-in state of the edition that is set, and sets the three counters to 1.
    int reset();

    // ---- value representations ----

    // The code of a VR ("" with RESULT_DICT_NOT_FOUND when it has none) and the VR of a code (VR_UNKNOWN with
    // RESULT_DICT_NOT_FOUND when there is none).
    int getVr(DICT_VR vr, char* code) const;
    int getVrDef(const char* code, DICT_VR& vr) const;
    // The longest value in bytes (0: no fixed limit) and the unit of values. RESULT_DICT_NOT_FOUND with 0 and
    // VR_SIZE_NONE for RT, IM, EX and numbers that are no VR; VR_UNKNOWN has 0 and VR_SIZE_CHAR.
    int getVrLen(DICT_VR vr, int& length) const;
    int getVrSize(DICT_VR vr, DICT_VR_SIZE& size) const;

    // ---- UIDs ----

    // `uid` needs room for 65 characters, `text` for 61; both are made empty when the answer is
    // RESULT_DICT_NOT_FOUND.
    int getUid(DICT_UID value, char* uid) const;
    // UID_NONE with RESULT_DICT_NOT_FOUND; of two values the lower
    int getUidDef(const char* uid, DICT_UID& value) const;
    int getDesc(DICT_UID value, char* text) const;
    int getDesc(DICT_MSG message, char* text) const;  // "C-STORE-RQ"
    // UID_TYPE_OTHER when the UID is not registered.
    DICT_UID_TYPE getUidType(DICT_UID value) const;
    DICT_UID_TYPE getUidType(const char* uid) const;
    int getUidType(DICT_UID value, DICT_UID_TYPE& type) const;
    int getUidType(const char* uid, DICT_UID_TYPE& type) const;

    // The byte order of a transfer syntax; ENDIAN_NONE and RESULT_DICT_NOT_XFER_SYN for any other UID.
    int getEndian(DICT_UID xferSyn, ARCH_ENDIAN& endian) const;
    // 0 for the four syntaxes with native pixel data (173 to 176), 1 for every other number, UID or not.
    int isEncapsulated(DICT_UID xferSyn) const;

    // Registers a UID of digits and dots, at most 64 characters (RESULT_DICT_NULL for anything else).
    // `value`, when given, receives its number, one above the highest in use; for a UID that exists already
    // the number it has. A null description stands for "Private UID"; longer ones are cut to 60 characters.
    int add(const char* uid, const char* description, DICT_UID* value, DICT_UID_TYPE type);
    // Removes a UID, built-in or added, until the next reset.
    int subtract(const char* uid);

    // ---- generators ----

    // Writes a new UID into `uid`, which needs room for 65 characters and must hold a text, if only an empty
    // one: the library's root, the local time and a 16-bit counter. If `uid` holds a branch of that root (a
    // component of five digits follows it), that text, cut to 36 characters, is the root instead.
    void genUid(char* uid);
    void genMsgId(unsigned short& id);     // 1, 3, ... 255, 1, ...
    void genPresCtxId(unsigned char& id);  // 1, 3, ... 253, 0, 2, ... 254, 0, ...

    // ---- for hot paths ----
    // The library's own way to ask, free for others too: nothing is copied and nothing logged. What a pointer
    // points to is valid until the dictionary changes.

    // The record under a tag's key, or null. Group lengths, and private creators that were not added, have
    // none.
    const DcDictElemInfo* find(unsigned int tag) const noexcept;
    // What getElemInfo answers.
    DcDictFacts facts(unsigned int tag) const noexcept;
    // The records in ascending order of their tags.
    std::size_t tagCount() const noexcept;
    const DcDictElemInfo& tagAt(std::size_t index) const noexcept;

    // The VR of a two-letter code, 0 when there is none; the code of a VR, "" when there is none.
    static DICT_VR vrOfCode(char first, char second) noexcept;
    static const char* vrName(DICT_VR vr) noexcept;
    static DcDictVrFacts vrFacts(DICT_VR vr) noexcept;

    // The record of a UID, or null.
    const DcDictUidInfo* findUid(DICT_UID value) const noexcept;
    const DcDictUidInfo* findUid(const char* uid) const noexcept;
    // The slots of the UID table in the order of lookups; a free slot has the value UID_NONE.
    std::size_t uidSlots() const noexcept;
    const DcDictUidInfo& uidAt(std::size_t slot) const noexcept;

  private:
    template <typename T>
    struct Counter {
        std::atomic<T> next{1};
        Counter() = default;
        Counter(const Counter& o) noexcept : next(o.next.load()) {}
        Counter& operator=(const Counter& o) noexcept {
            next = o.next.load();
            return *this;
        }
    };
    struct SqList {
        unsigned int tag;
        unsigned int tags[maxSqTags];
    };

    friend ORVKIT_API int dictSetEdition(DICT_EDITION edition);
    friend ORVKIT_API DICT_EDITION dictGetEdition() noexcept;

    std::size_t position(unsigned int key) const noexcept;
    std::size_t positionOf(unsigned int tag) const noexcept;
    bool isCurrent() const noexcept;
    std::size_t ownSlots() const noexcept;
    const DcDictUidInfo* currentUidAt(std::size_t position) const noexcept;
    void makeTags();
    void indexTags();
    void ownUids();

    const orvkit::EditionTables* edition_;
    // The built-in tables are constant data. The first change of a table copies it here; until then its flag
    // is false and the vectors are empty. The additions and subtractions are kept beside, so that an edition
    // can be changed under them.
    bool tagsOwned_ = false;
    bool uidsOwned_ = false;
    std::vector<DcDictElemInfo> tags_;      // ascending by tag
    std::vector<DcDictTagFacts_> facts_;    // of tags_, the same positions
    std::vector<std::uint16_t> tagIndex_;   // open-addressing hash of positions in tags_
    std::vector<DcDictElemInfo> added_;     // in the order of addition
    std::vector<unsigned int> subtracted_;  // keys of built-in elements
    std::vector<bool> currentUidsGone_;     // by their position, empty for none
    std::vector<SqList> sequences_;
    std::vector<DcDictUidInfo> uids_;
    Counter<std::uint16_t> uidCounter_;
    Counter<std::uint8_t> msgIdCounter_;
    Counter<std::uint8_t> presCtxIdCounter_;
};

extern ORVKIT_API DcDict Dict;

#endif
