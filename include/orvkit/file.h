// Part 10 files: preamble, "DICM", file meta information and a data set (PS3.10 7).
#ifndef ORVKIT_FILE_H
#define ORVKIT_FILE_H

#include <cstdio>

#include "orvkit/dirrec.h"
#include "orvkit/elemlist.h"
#include "orvkit/export.h"
#include "orvkit/uids.h"

// The file meta information (PS3.10 7.1). Texts hold one character more than their limit, for the NUL.
class ORVKIT_API DcDirMetaInfo {
  public:
    DcDirMetaInfo();
    DcDirMetaInfo(const DcDirMetaInfo& other);
    // Copies everything, the private information included.
    DcDirMetaInfo& operator=(const DcDirMetaInfo& other);
    ~DcDirMetaInfo();

    // Clears every field and frees the private information.
    void reset();
    // DIR_NULL_ARGUMENT null, DIR_OPEN file that cannot be opened.
    int printInfo(FILE* file);
    int printInfo(const char* path, const char* mode);

    unsigned char preamble[128];
    unsigned short version;          // (0002,0001); 0x0001 is the only one written
    DICT_UID sopClassUid;            // (0002,0002)
    char sopInstanceUid[65];         // (0002,0003)
    DICT_UID transferSyntax;         // (0002,0010)
    char implClassUid[65];           // (0002,0012)
    char implVersionName[17];        // (0002,0013)
    char sourceAeTitle[17];          // (0002,0016)
    char privateInfoCreatorUid[65];  // (0002,0100)
    unsigned char* privateInfo;      // (0002,0102), owned, from utilNew
    unsigned int privateInfoLen;     // bytes
};

// `end` receives the offset of the data set's first byte.
// DIR_NOT_PART10 not a Part 10 file or no meta information, DIR_READ_WRITE read error, DIR_OPEN cannot be
// opened, DIR_STAT cannot be examined, DIR_META_INFO meta information that cannot be decoded,
// DIR_NULL_ARGUMENT, ELEM_NO_MEMORY.
ORVKIT_API int dirReadFileMetaInfo(const char* path, DcDirMetaInfo& meta, unsigned int& end);
ORVKIT_API int dirReadFileMetaInfo(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta,
                                   unsigned int& end);
// The record as it may be written: checks it and fills in the implementation's identity where that is
// empty. DIR_META_INFO incomplete, RESULT_DICT_NOT_XFER_SYN not a transfer syntax (both LOG_ERROR).
ORVKIT_API int dirCheckMetaInfo(DcDirMetaInfo& meta);

// Meta information and the whole data set. What was read before an error stays. A transfer syntax that is not
// registered stays UID_NONE in the record; the data set is read in the syntax that its first element looks
// like (LOG_NOTICE). A deflated data set is inflated where the codec is registered (deflate.h), else it is
// ELEM_XFER_SYNTAX; ELEM_PACKED_STREAM one that is cut or damaged. DIR_FILE_SIZE above the size limit,
// ELEM_NO_MEMORY, the codes of dirReadFileMetaInfo and of DcElemList::parse.
ORVKIT_API int dirReadFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset);
ORVKIT_API int dirReadFile(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta, DcElemList& dataset);
// Everything up to Pixel Data, whose bytes are not read: `pixelOffset` receives the file offset of their
// first byte and `pixelLength` their number; for encapsulated pixel data the length up to, and without, the
// Sequence Delimitation Item. -1 and 0 without Pixel Data. Either may be null. Numbers of 2 GByte and more
// are stored as the unsigned 32-bit numbers that they are. The pixels of a deflated data set have a length
// and no place in the file: -1. Codes as dirReadFile; ELEM_VALUE_REFUSED when the pixels end with the file
// too early: the data set is complete then, and the length is that of what is there.
ORVKIT_API int dirReadNonPixelElem(const char* path, DcDirMetaInfo& meta, DcElemList& dataset,
                                   int* pixelOffset, int* pixelLength);
// The same for files of any size: the call above is DIR_FILE_SIZE where pixels begin, or are longer than, 4
// GByte, and has read the data set then.
ORVKIT_API int dirReadNonPixelElem64(const char* path, DcDirMetaInfo& meta, DcElemList& dataset,
                                     long long& pixelOffset, unsigned long long& pixelLength);

// What a tolerant reading found of a file that may be no Part 10 file by the letter.
struct DcDirFound {
    bool preamble = false;               // 128 bytes and "DICM"
    bool meta = false;                   // file meta information
    bool metaImplicit = false;           // ... without letters of its VRs
    bool groupLength = false;            // ... whose length it says, and rightly
    unsigned long long zerosBefore = 0;  // bytes of zero in front of everything else, preamble aside
    unsigned long long zerosBehind = 0;  // ... that fill up the file behind the data set
    DICT_UID xferSyn = UID_NONE;         // the syntax that the data set was read in
    bool guessed = false;                // by its looks: the file names none, or one that cannot be
    bool directoryImplicit = false;      // a DICOMDIR in implicit VR: see dirSetImplicitDirectory
};
// As dirReadFile, and beyond: a data set without meta information, in whichever of the three uncompressed
// syntaxes it looks like; meta information without a preamble, in implicit VR, or with a wrong group length
// or none; zeros in front and behind; a data set that looks otherwise than its meta information says. The
// transfer syntax in `meta` is then the one that was found. DIR_NOT_PART10 when it looks like no DICOM at
// all.
ORVKIT_API int dirReadAnyFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset, DcDirFound& found);
ORVKIT_API int dirReadAnyFile(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta,
                              DcElemList& dataset, DcDirFound& found);

// How dirReadAroundPixels reads, and what it tells beside the data set.
struct DcDirAround {
    DcElemList* meta = nullptr;   // in: receives the elements of group 0002; may be null
    DICT_UID xferSyn = UID_NONE;  // out: the syntax that the data set was read in
    // Out, from the first call of a callback of elemListRegisterFaultCB on: the file offset from which the
    // offsets of the faults are counted.
    unsigned long long streamOffset = 0;
    // In: null, or what receives how the file was found; it is then read as dirReadAnyFile does.
    DcDirFound* found = nullptr;
    // In: with a flag other than 0, fragments end where an Extended Offset Table says, if there are 512 or
    // more, its lengths leave no gap, some of its entries, the last one among them, prove right, and the
    // Sequence Delimitation Item is there. The headers of all others are not read then, which a slow disk
    // takes seconds for. In a file that was made to deceive, elements may look like part of a fragment.
    int byTable = 0;
};
// Meta information and the whole data set, but the bytes of Pixel Data are not read, whatever stands behind
// them: the element refers to them with a buffer of the type BUF_FILE (the name is `path`, or null for a
// block of memory; fragments are without their Sequence Delimitation Item). The transfer syntax of that
// buffer is UID_NONE for a value of undefined length in an uncompressed syntax, which no such syntax knows. A
// deflated data set is inflated into a file without a name, in the directory for temporary files: the buffer
// is a BUF_HANDLE on it, `xferSyn` is explicit little endian, and offsets count from the first inflated byte.
// Memory holds what is read and no more. Codes as dirReadFile; the size limit is that of what is read at
// once. ELEM_VALUE_REFUSED: a value ends with the file, too early; its element refers to what is there.
ORVKIT_API int dirReadAroundPixels(const char* path, DcDirMetaInfo& meta, DcElemList& dataset,
                                   DcDirAround& around);
ORVKIT_API int dirReadAroundPixels(unsigned char* buf, unsigned int length, DcDirMetaInfo& meta,
                                   DcElemList& dataset, DcDirAround& around);

// Writes a file in the transfer syntax of the record. Pixel data held in a file or behind a handle is
// copied from there. A write error leaves a partial file: write under another name and rename where that
// matters. DIR_OPEN cannot be opened, DIR_FILE_SIZE above the size limit, DIR_META_INFO,
// RESULT_DICT_NOT_XFER_SYN, ELEM_NO_MEMORY, DIR_NULL_ARGUMENT null path; a deflated data set is compressed on
// its way where the codec is registered (deflate.h); DIR_READ_WRITE when the bytes cannot
// be read or written in full (LOG_ERROR).
// Elements of group 0002 in the data set are left out, but in today's edition (edition.h) those that the
// record has no place for: the AE titles and addresses of (0002,0017), (0002,0018) and (0002,0026) to
// (0002,0028). DcDirAround::meta tells what a file has of them.
ORVKIT_API int dirWriteFile(const char* path, DcDirMetaInfo& meta, DcElemList& dataset);
// Builds the file in memory from a data set that holds group 0002 itself; `buf` holds getBufSize of the data
// set and 132 bytes, `length` receives the size. DIR_META_INFO missing element,
// DIR_NULL_ARGUMENT null, ELEM_SHORT_BUFFER deflated and larger than that.
ORVKIT_API int dirWriteFile(unsigned char* buf, unsigned int& length, DcElemList& dataset);

// Between the record and elements of group 0002. Empty optional fields make no element; elements that are
// missing leave their field empty. ELEM_NO_MEMORY.
ORVKIT_API int dirFileMetaInfoToElemList(DcDirMetaInfo& meta, DcElemList& dataset);
ORVKIT_API int dirElemListToFileMetaInfo(DcElemList& dataset, DcDirMetaInfo& meta);

// Largest data set that is read or written, in bytes; initially 536870912. For the whole process, from any
// thread. DIR_FILE_SIZE below 1: the limit stays.
ORVKIT_API int dirSetMaxFileSize(int bytes);

// Whether a DICOMDIR is read that some writers have put in implicit VR, against PS3.10 8.6. In any stream the
// library takes groups 0002 and 0004 for explicit VR little endian; with a flag other than 0 it looks whether
// the first element of a data set in implicit VR, when it is one of group 0004, has the letters of a VR at
// all, and reads all groups as they lie when it has none (LOG_NOTICE for files). Holds for
// DcDirDicomDir::read, the functions of this header and DcElemList::parse, for the whole process, from any
// thread; off initially. Writing is explicit VR in any case. Always RESULT_OK.
ORVKIT_API int dirSetImplicitDirectory(int flag);

// The text of a DICOMDIR record type ("PATIENT", at most 18 characters) and back. DIR_NULL_ARGUMENT null,
// DIR_RESERVED_09 unknown (both LOG_VALIDATION). Of an encapsulated document it is "ENCAP_DOC", in today's
// edition (edition.h) "ENCAP DOC", as the standard has it, and both are known there.
ORVKIT_API int dirGetDesc(DIR_REC type, char* text);
ORVKIT_API int dirGetType(const char* text, DIR_REC& type);

#endif
