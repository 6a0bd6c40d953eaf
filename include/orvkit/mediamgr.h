// DcMediaMgr: the media storage services over one file set (PS3.10 8.1, PS3.4 I).
#ifndef ORVKIT_MEDIAMGR_H
#define ORVKIT_MEDIAMGR_H

#include "orvkit/dicomdir.h"
#include "orvkit/export.h"
#include "orvkit/file.h"
#include "orvkit/value.h"

// The roles of an application (PS3.10 8.1) are bits: creator 1, reader 2, updater 4. Any role with the
// updater in it may use every service; numbers outside of 1 to 7 none.
enum MEDIA_ROLE : int {
    MEDIA_ROLE_NONE = 0,
    MEDIA_ROLE_CREATOR = 1,  // M-WRITE, M-INQUIRE FILE-SET
    MEDIA_ROLE_READER = 2,   // M-READ, M-INQUIRE FILE
    MEDIA_ROLE_CREATOR_READER = 3,
    MEDIA_ROLE_UPDATER = 4,
    MEDIA_ROLE_CREATOR_UPDATER = 5,
    MEDIA_ROLE_READER_UPDATER = 6,
    MEDIA_ROLE_ALL = 7,
};

// Every service logs its refusals at LOG_ERROR unless said otherwise. MEDIA_PERMISSION: the role does not
// permit it.
class ORVKIT_API DcMediaMgr : public DcDirDicomDir {
  public:
    // Opens the file set in that folder.
    DcMediaMgr(MEDIA_ROLE role, const char* path) : DcDirDicomDir(path), role_(role) {}
    // The whole file set and the role.
    DcMediaMgr(const DcMediaMgr&) = default;
    DcMediaMgr& operator=(const DcMediaMgr&) = default;
    ~DcMediaMgr() override;

    // Reads a file that a record references. MEDIA_NULL_ARGUMENT null, MEDIA_FILE_ID no record does, or the
    // code of dirReadFile.
    int mRead(const char* fileId, DcDirMetaInfo& meta, DcElemList& dataset);
    // Writes a file, makes it the record's referenced file and writes the DICOMDIR. The record is in the file
    // set already. Nothing is written when the File ID is none, leaves the root, or belongs to another record
    // (DIR_FILE_ID). MEDIA_NULL_ARGUMENT null (LOG_NOTICE), or the code of dirWriteFile, DcDirRec::setRefFile
    // or write.
    int mWrite(DcDirRec* record, const char* fileId, DcDirMetaInfo& meta, DcElemList& dataset);
    // Removes a file; its record stays, without a file, and the DICOMDIR is written. MEDIA_NULL_ARGUMENT,
    // MEDIA_FILE_ID, MEDIA_IN_USE records are linked to its MRDR, MEDIA_REMOVE it cannot be removed (the
    // record stays as it is), or the code of write.
    int mDelete(const char* fileId);
    // When a file was created and last changed, in local time. MEDIA_STAT it cannot be examined.
    int mInquireFile(const char* fileId, DcElemValueDT& created, DcElemValueDT& modified);
    // The low 32 bits of the bytes available on the root's volume. MEDIA_FILE_ID the system cannot tell.
    int mInquireFileSet(unsigned int& freeBytes);

  private:
    MEDIA_ROLE role_;
};

#endif
