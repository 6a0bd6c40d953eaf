// Which edition of the standard the dictionary answers from, and what today's registry says of data elements
// and UIDs (PS3.6, PS3.7 annex E, edition of 2026).
//
// The library begins with the edition of 2008. Today's edition keeps every tag, number and name of it, and
// knows some 2,750 data elements, 291 UIDs and seven value representations more; a few tags have another VR
// or VM there. What an application added or subtracted stays as it is in both.
#ifndef ORVKIT_EDITION_H
#define ORVKIT_EDITION_H

#include <cstddef>

#include "orvkit/dict.h"
#include "orvkit/export.h"
#include "orvkit/uids.h"

enum DICT_EDITION : int {
    DICT_EDITION_2008 = 1,
    DICT_EDITION_CURRENT = 2,
};

// Switches the global dictionary `Dict`, at any time and in both directions: RESULT_OK, or
// RESULT_DICT_EDITION (and nothing changes) for any other number. Like an addition to the dictionary it needs
// the dictionary to itself. Data sets that exist keep the VRs with which they were made.
ORVKIT_API int dictSetEdition(DICT_EDITION edition);
ORVKIT_API DICT_EDITION dictGetEdition() noexcept;

// Whose registry an element stands in: the standard's own, that of non-destructive testing (ASTM E2339), that
// of security screening (NEMA IIC 1), or the library's (the file reference, (0006,0007)).
enum DICT_REGISTRY : int {
    DICT_REGISTRY_DICOM = 0,
    DICT_REGISTRY_DICONDE = 1,
    DICT_REGISTRY_DICOS = 2,
    DICT_REGISTRY_LIBRARY = 3,
};

// A data element as today's registry has it, whichever edition is set. The texts live as long as the library.
struct DcDictEntry {
    unsigned int tag;     // 60FF3000 for the elements of repeating groups
    unsigned int mask;    // the bits of the tag that the registry leaves open: 000000FF for (0020,31xx), or 0
    DICT_VR vr;           // as getElemInfo answers in today's edition
    int vm;               // likewise
    const char* symbol;   // "T_0010_0010_patientsName", the name of the 2008 edition where it has the element
    const char* keyword;  // "PatientName"; "" for numbers that are assigned and have none
    char name[80];        // "Patient's Name", in UTF-8
    const char* vrs;      // as printed, alternatives with a bar: "US|SS"; "" for items and delimiters
    const char* vms;      // as printed: "1-n"
    bool retired;
    DICT_REGISTRY registry;
};

// The entry of a tag: RESULT_OK, or RESULT_DICT_NOT_FOUND. Elements of repeating groups and of other ranges
// are found by any tag in them.
ORVKIT_API int dictGetEntry(unsigned int tag, DcDictEntry& entry) noexcept;
// By keyword ("PatientName"), by symbol, or by the last part of a symbol ("patientsName"). RESULT_DICT_NULL
// for a null argument.
ORVKIT_API int dictGetEntry(const char* name, DcDictEntry& entry) noexcept;
// All of them, ascending by tag.
ORVKIT_API std::size_t dictEntryCount() noexcept;
ORVKIT_API int dictGetEntryAt(std::size_t index, DcDictEntry& entry) noexcept;

// What objects of a SOP class are about.
enum DICT_STORAGE : int {
    DICT_STORAGE_NONE = 0,     // it is no storage class
    DICT_STORAGE_PATIENT = 1,  // composite objects of patients
    DICT_STORAGE_OTHER = 2,    // objects without a patient: hanging protocols, palettes, implant templates
};

// A UID as today's registry has it, whichever edition is set. The texts live as long as the library.
struct DcDictUidEntry {
    DICT_UID value;  // its number; those that the edition of 2008 lacks lie above 1,000,000,000
    DICT_UID_TYPE type;
    const char* uid;              // "1.2.840.10008.5.1.4.1.1.2"
    const char* name;             // "CT Image Storage"
    const char* keyword;          // "CTImageStorage"
    const char* kind;             // as printed: "SOP Class", "Transfer Syntax", "Coding Scheme"
    const char* directoryRecord;  // type of the directory record for objects of the class (PS3.3 F.5), or ""
    DICT_STORAGE storage;
    bool retired;
};

// The entry of a UID or keyword: RESULT_OK, RESULT_DICT_NOT_FOUND, RESULT_DICT_NULL.
ORVKIT_API int dictGetUidEntry(const char* uidOrKeyword, DcDictUidEntry& entry) noexcept;
// All of them, in the order of their numbers.
ORVKIT_API std::size_t dictUidEntryCount() noexcept;
ORVKIT_API int dictGetUidEntryAt(std::size_t index, DcDictUidEntry& entry) noexcept;

#endif
