// The index of an archive: what objects it has, found by their attributes (PS3.4 C) and by their UIDs. A
// library of its own, orvkit_index, over SQLite, and PostgreSQL where that was there when it was built: link
// it beside orvkit.
//
//     DcIndex index;
//     if (index.open("sqlite:/archive/index.sqlite", INDEX_CREATE) != 0) puts(DcIndex::fault());
//     DcIndexFile file;
//     file.path = "4f/a0/1.2.3.dcm";
//     DcIndexStored stored;
//     index.store(dataset, file, INDEX_KEEP, stored);
//     index.query(how, keys, &peer, [](void* peer, DcElemList& answer) { ... return 0; }, found);
//
// The truth is the files: a file is on the disk under its name before it is stored here, and what is lost
// here is made again from their headers. The index knows files by the paths that it was given, and touches
// none.
//
// Patients, studies, series and instances have a row each, and a row belongs to the one above: the same
// Study Instance UID for two patients is two studies, the same SOP Instance UID in two studies, or two
// series, is two instances. All are found, and store tells. A patient is known by Patient ID and its issuer;
// without an ID each study has a patient of its own. What a level knows is what its first object said.
//
// Texts of the interface are UTF-8. Data sets have the character set that they name (0008,0005).
//
// Results: 0; INDEX_NULL_ARGUMENT; INDEX_CLOSED not open, or open for reading alone; INDEX_DAMAGED what is
// stored there cannot be: it is to be rebuilt; INDEX_FULL there is no room left, or nothing may be written;
// INDEX_BUSY another program has held it for 30 seconds; INDEX_ENGINE the engine failed otherwise, or the
// database cannot be reached: what was being stored then may be there or not, and storing it again finds out;
// ELEM_NO_MEMORY; and what stands with each function. Failures are told as LOG_ERROR, requests that cannot be
// answered as LOG_VALIDATION, and fault() has the text.
//
// Any number of threads may use one DcIndex, except for open and close, and any number of programs one index.
// A database that went and came back is used again with the next call: nothing that was confirmed is lost, if
// the database keeps what it confirms (its own setting "fsync"). Callbacks run on the calling thread, and may
// call the DcIndex.
#ifndef ORVKIT_INDEX_H
#define ORVKIT_INDEX_H

#include "orvkit/elemlist.h"

#if defined(_WIN32) && !defined(ORVKIT_STATIC)
#if defined(ORVKIT_INDEX_BUILDING)
#define ORVKIT_INDEX_API __declspec(dllexport)
#else
#define ORVKIT_INDEX_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ORVKIT_INDEX_API __attribute__((visibility("default")))
#else
#define ORVKIT_INDEX_API
#endif

inline constexpr int INDEX_VERSION_CURRENT = 2;                // of how things are laid out in an index
inline constexpr unsigned int INDEX_PATH_MAX = 1023;           // bytes of a file's path
inline constexpr unsigned int INDEX_WINDOW = 5;                // milliseconds: see DcIndexBusy
inline constexpr unsigned int INDEX_LONGEST_TEXT = 4096;       // bytes of a text value that is kept
inline constexpr unsigned int INDEX_LONGEST_BINARY = 256;      // and of any other
inline constexpr unsigned int INDEX_LONGEST_SEQUENCE = 16384;  // of a sequence with all that is in it
inline constexpr int INDEX_NESTING = 8;                        // of sequences, in objects and in keys

enum INDEX_OPEN : int {
    INDEX_READ = 0,    // one that is there, for reading
    INDEX_WRITE = 1,   // one that is there; one of an earlier version becomes one of this
    INDEX_CREATE = 2,  // made if absent
};

// What may be asked (PS3.4 C.6, Y, Z).
enum INDEX_ROOT : int {
    INDEX_ROOT_PATIENT = 0,
    INDEX_ROOT_STUDY = 1,     // without the level PATIENT
    INDEX_ROOT_INSTANCE = 2,  // the level IMAGE alone, by SOP Instance UIDs alone: to retrieve, not to query
};

// A file that is stored.
struct DcIndexFile {
    const char* path = nullptr;     // 1 to INDEX_PATH_MAX bytes, with slashes, from the archive's directory
    const char* xferSyn = nullptr;  // UID of its transfer syntax
    unsigned long long size = 0;    // bytes
};

// What becomes of an instance that its series has already.
enum INDEX_DUPLICATE : int {
    INDEX_KEEP = 0,     // it stays as it is, and the new file is not stored
    INDEX_REPLACE = 1,  // the new file takes its place
    INDEX_BOTH = 2,     // both are there, one behind the other
    INDEX_NEW = 3,      // as INDEX_KEEP, and quicker: the caller has just looked, and nothing has its UID
};

// What became of a file, and bits of what contradicts it.
enum INDEX_STORED : int {
    INDEX_STORED_NEW = 0,
    INDEX_STORED_KEPT = 1,      // nothing was stored: `other` is the path of the one that is there, the
                                // file's own where it was stored before
    INDEX_STORED_REPLACED = 2,  // `other` is the path of the one that was there, now nobody's
    INDEX_STORED_BOTH = 3,      // `other` is the path of the first
};
inline constexpr unsigned int INDEX_INSTANCE_ELSEWHERE =
    1;                                                     // the instance is also in another series or study
inline constexpr unsigned int INDEX_SERIES_ELSEWHERE = 2;  // the series is also in another study
inline constexpr unsigned int INDEX_STUDY_ELSEWHERE = 4;   // the study is also another patient's
inline constexpr unsigned int INDEX_PATIENT_DIFFERS =
    8;  // name, birth date or sex are not those that are known
struct DcIndexStored {
    INDEX_STORED what = INDEX_STORED_NEW;
    unsigned int conflicts = 0;  // told of new ones alone
    char other[INDEX_PATH_MAX + 1] = "";
};

// An instance, for callbacks: its texts live until they return.
struct DcIndexInstance {
    const char* path;
    const char* sopClass;
    const char* sopInstance;
    const char* xferSyn;
    const char* study;
    const char* series;
    unsigned long long size;  // bytes of the file
};
// Anything but 0 ends the walk, with INDEX_STOPPED.
typedef int (*DcIndexInstanceCB)(void* context, const DcIndexInstance& instance);

// How a query matches beyond the baseline (PS3.4 C.5.1.1). Names of persons match whatever their case; other
// texts by it, and all by their accents, unless asked for here.
inline constexpr unsigned int INDEX_RELATIONAL = 1;    // keys of upper levels need not be there
inline constexpr unsigned int INDEX_DATE_TIME = 2;     // ranges of a date and of its time are one range
inline constexpr unsigned int INDEX_FUZZY_NAMES = 4;   // each word of the key begins some word of the name
inline constexpr unsigned int INDEX_TIMEZONE = 8;      // by (0008,0201) of the keys: times that have a zone
inline constexpr unsigned int INDEX_EMPTY_VALUE = 16;  // "" in quotes asks for what has no value
inline constexpr unsigned int INDEX_ANY_CASE = 32;
inline constexpr unsigned int INDEX_ANY_ACCENT = 64;

// Asked every few milliseconds while a query searches: anything but 0 ends it, with INDEX_STOPPED.
typedef int (*DcIndexStopCB)(void* context);

struct DcIndexQuery {
    INDEX_ROOT root = INDEX_ROOT_STUDY;
    unsigned int how = 0;              // bits of INDEX_RELATIONAL and so on
    unsigned int maxResults = 0;       // 0: no bound
    unsigned int maxMilliseconds = 0;  // of the search, without the time that callbacks take; 0: no bound
    void* stopContext = nullptr;
    DcIndexStopCB stop = nullptr;  // may be null
};
// What is known of a query, from the first answer on and at its end.
struct DcIndexFound {
    unsigned long long answers = 0;
    // Tags of keys that are not known at the level: they are not matched, and not in the answers. At most so
    // many are told.
    unsigned int unsupported[16] = {};
    unsigned int unsupportedCount = 0;
};
// An answer: (0008,0052), every key that is known, with its value or without (of (0008,0201) the object's
// own, which its times are in), and (0008,0005) where it needs one: that of the keys, or UTF-8 where these
// characters are not in it. It may be added to and taken from, and is gone when the call returns. Anything
// but 0 ends the query, with INDEX_STOPPED.
typedef int (*DcIndexAnswerCB)(void* context, DcElemList& answer);

// What there is.
struct DcIndexStats {
    int version = 0;
    unsigned long long patients = 0;
    unsigned long long studies = 0;
    unsigned long long series = 0;
    unsigned long long instances = 0;
    unsigned long long bytes = 0;           // of their files
    unsigned long long indexBytes = 0;      // of the index, without
    unsigned long long attributeBytes = 0;  // what it holds of attributes that are no columns
    unsigned long long graves = 0;
};
// One fault that verify has found, in words. Anything but 0 ends it, with INDEX_STOPPED.
typedef int (*DcIndexFaultCB)(void* context, const char* fault);

// A deletion that can still be undone.
struct DcIndexGrave {
    unsigned long long number;
    unsigned long long instances;
    unsigned long long bytes;
    long long when;  // seconds since 1970
};
typedef int (*DcIndexGraveCB)(void* context, const DcIndexGrave& grave);

typedef int (*DcIndexProgressCB)(void* context, unsigned long long instances);

class ORVKIT_INDEX_API DcIndex {
  public:
    DcIndex();
    DcIndex(const DcIndex&) = delete;
    DcIndex& operator=(const DcIndex&) = delete;
    ~DcIndex();

    // ---- opening
    // ------------------------------------------------------------------------------------------- `where`
    // names the engine and the place: "sqlite:PATH", or the URL of a database as libpq takes it,
    // "postgresql://USER@HOST/DATABASE", whose password is better told by PGPASSFILE and is in no text of
    // faults. INDEX_PLACE there is no such engine, or it cannot be opened; INDEX_ABSENT there is no index;
    // INDEX_VERSION it is of a later version than this library's, or for reading of an earlier one;
    // INDEX_DAMAGED it is something else.
    int open(const char* where, INDEX_OPEN how);
    // As open; and what is stored until close may be lost with the machine's power: for an index that is
    // being made and has another name until it is whole.
    int openFast(const char* where);
    // Waits for nobody: calls of other threads must have returned. 0.
    int close();

    // ---- storing
    // ------------------------------------------------------------------------------------------- Stores what
    // an object says. It is on the disk when the call returns. Several threads share a transaction as
    // DcIndexBusy tells. `dataset` stays as it is; Pixel Data and values that are too long for the index are
    // passed over. INDEX_IDENTITY it has no valid Study, Series or SOP Instance UID, or SOP Class UID, or the
    // file has no valid path or transfer syntax.
    int store(DcElemList& dataset, const DcIndexFile& file, INDEX_DUPLICATE duplicate, DcIndexStored& stored);

    // ---- asking
    // -------------------------------------------------------------------------------------------- Answers
    // the identifier of a C-FIND request: its level is that of (0008,0052), its keys are all elements else.
    // `answer` is called for each that matches, as soon as it is found; in no order. `found` may be asked by
    // callbacks, and belongs to the caller.
    //
    // Several values of one key, separated by backslashes, match any of them. A value of the object that has
    // several matches with any. A name matches by its whole text or by one of its component groups; with "="
    // in the key, group by group. A key of a sequence has one item, whose keys must all match in one item of
    // the object. Matching needs attributes that the index holds: longer ones (see the limits above) are as
    // absent.
    //
    // INDEX_KEYS the level is missing or not of the root, or a unique key above it is missing or has several
    // values or wild cards, without INDEX_RELATIONAL; or the keys are nested too deep. INDEX_STOPPED by a
    // callback; INDEX_RESULTS, INDEX_TIME: a bound was met, and there may be more.
    int query(const DcIndexQuery& how, DcElemList& keys, void* context, DcIndexAnswerCB answer,
              DcIndexFound& found);

    // The instances that the identifier of a C-MOVE or C-GET request selects: unique keys alone, lists of
    // UIDs where they may be, and all others are passed over; as query, INDEX_KEYS. They come by study and
    // series, in the order of UIDs; what is stored or deleted meanwhile may be among them or not. A callback
    // may take its time: nobody waits for it.
    int walk(INDEX_ROOT root, unsigned int how, DcElemList& keys, void* context, DcIndexInstanceCB instance);
    // How many there are, and the bytes of their files. Quick.
    int count(INDEX_ROOT root, unsigned int how, DcElemList& keys, unsigned long long& instances,
              unsigned long long& bytes);
    // All instances with that SOP Instance UID; none: 0, and no call.
    int lookUp(const char* sopInstance, void* context, DcIndexInstanceCB instance);
    // Everything.
    int walkAll(void* context, DcIndexInstanceCB instance);
    // All that is known of a series' instances, or of one (`sopInstance`, or null for all): for those who
    // want more than keys. Each is a data set in UTF-8, without what is too long for the index.
    int describe(const char* study, const char* series, const char* sopInstance, void* context,
                 DcIndexAnswerCB answer);

    // ---- deleting
    // ------------------------------------------------------------------------------------------ Takes what
    // the keys select (as walk) out of the index, and notes it in a grave, in one transaction. Nothing
    // selected: 0 instances, and no grave. The files are the caller's, who finds them by walkGrave.
    int bury(INDEX_ROOT root, unsigned int how, DcElemList& keys, DcIndexGrave& grave);
    int walkGraves(void* context, DcIndexGraveCB grave);
    // INDEX_ABSENT no such grave.
    int walkGrave(unsigned long long number, void* context, DcIndexInstanceCB instance);
    // Forgets it: its files are gone, or they are where they were and stored again. INDEX_ABSENT.
    int closeGrave(unsigned long long number);
    // Takes one file out of the index, without a grave: it is not there, or is no object. INDEX_ABSENT it is
    // not stored under that path.
    int forget(const char* sopInstance, const char* path);

    // ---- copying
    // ------------------------------------------------------------------------------------------ Stores
    // what another index knows of its instances, which may go on being stored into; what is here already
    // stays. Graves are not copied. `progress` is told how many were looked at, some hundred at a time;
    // anything but 0 ends it, with INDEX_STOPPED.
    int copyAll(const DcIndex& from, void* context, DcIndexProgressCB progress);

    // ---- care
    // ----------------------------------------------------------------------------------------------
    int stats(DcIndexStats& stats);
    // Looks whether the index agrees with itself: its pages, its rows, and its counts. `fault` is called for
    // each that does not. 0: whatever was found.
    int verify(void* context, DcIndexFaultCB fault);

    // What the last failure of the calling thread was, in one line; "" after success. Until its next call.
    static const char* fault() noexcept;

  private:
    friend class DcIndexBusy;
    struct Own;
    Own* own_;
};

// Lives while a thread is about to store something: from the request of a C-STORE, say, until store has
// returned. A transaction closes when every busy thread waits for it, or INDEX_WINDOW after the first one
// began to: many share one wait for the disk, and one alone waits for nobody. Nothing depends on it but
// speed.
class ORVKIT_INDEX_API DcIndexBusy {
  public:
    explicit DcIndexBusy(DcIndex& index) noexcept;
    DcIndexBusy(const DcIndexBusy&) = delete;
    DcIndexBusy& operator=(const DcIndexBusy&) = delete;
    ~DcIndexBusy();

  private:
    DcIndex& index_;
    bool announced_;
};

#endif
