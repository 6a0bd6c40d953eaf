// Part 10 files become part of a file set: records for patient, study and series as they are needed, and the
// record of the file below them.
//
//     DcDirDicomDir directory;
//     directory.read(root);
//     FileSet set(directory);
//     set.adopt(path, faults);  // any number of files
//     set.write();              // then the DICOMDIR, once for all of them
#ifndef ORVKIT_SERVICES_FILE_SET_H
#define ORVKIT_SERVICES_FILE_SET_H

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "orvkit/dicomdir.h"
#include "services/source_file.h"

namespace services {

// The record behind this one in the tree below `top`, children first; null at the end. `level` follows it: 0
// for the children of `top`.
DcDirRec* nextRecord(const DcDirRec& top, DcDirRec* record, int& level);

// Uses only the public interface of the file set: patients are told apart by Patient ID, studies and series
// by their instance UIDs.
class FileSet {
  public:
    enum class Added {
        whole,     // with everything that its records ask for
        told,      // with something to tell: it is in the faults
        leftOut,   // the same, but the file is not in the set
        notDicom,  // not a Part 10 file, or a DICOMDIR: nothing of a file set
    };
    using Faults = std::vector<std::string>;

    // Adds to `directory`, which outlives it, has its root path set, and is changed by nobody else meanwhile.
    explicit FileSet(DcDirDicomDir& directory, bool icons = false);

    // A file that lies below the root already.
    Added add(const std::string& fileId, Faults& faults);
    // A file from elsewhere, copied to a free File ID by patient, study and series:
    // PT000001\ST000001\SE000001\IM000001.
    Added adopt(const std::string& path, Faults& faults);
    // Drops the record of a file, and records above that have no others below them; of an MRDR all records
    // linked to it. The file stays. false when no record references it.
    [[nodiscard]] bool remove(const std::string& fileId);

    bool references(const std::string& fileId) const;
    // The File ID of an instance, "" when it is not in the set.
    std::string fileOf(const std::string& instance) const;
    bool changed() const { return changed_; }
    // Writes the DICOMDIR; what was adopted is on the disk before. A result code.
    [[nodiscard]] int write();

    // ---- in two steps, for those who write the file themselves ------------------------------------------
    struct Placed {
        DcDirRec* leaf = nullptr;      // null when the file can have no record
        std::vector<DcDirRec*> fresh;  // records made for this file, from the top
    };
    // The records for a file, the last of them without its File ID.
    Placed place(SourceFile& source, Faults& faults);
    // A free File ID for it, as adopt gives them; "" when there is none, which is told.
    std::string freeFileId(const Placed& placed, Faults& faults);
    // The file is in its place: the leaf references it, or its records go and what comes back is leftOut.
    Added settle(const Placed& placed, SourceFile& source, const std::string& fileId, Faults& faults);
    // The same where the leaf references it already.
    void keep(const Placed& placed);
    // It is not: the records made for it go.
    void undo(const Placed& placed);

  private:
    struct Placing;
    DcDirRec* parentFor(DIR_REC type, DcDirRec& above, Placing& placing);
    DcDirRec* newRecord(DIR_REC type, DcDirRec& above, Placing& placing);
    DcDirRec* newPath(DIR_REC type, Placing& placing);
    [[nodiscard]] bool copyTo(const std::string& path, const std::string& fileId, Faults& faults);
    void note(DcDirRec& record);
    void forget(const DcDirRec& record);
    void drop(DcDirRec* record);
    std::string newFileId(DcDirRec& leaf);

    // Of a record: where the files below it go, and what was numbered there last.
    struct Numbers {
        std::string folder;
        unsigned int lastName = 0;
        unsigned int children = 0;
    };
    Numbers& numbersOf(const DcDirRec& record);
    const std::string& folderOf(DcDirRec& record);
    std::string freeName(const DcDirRec& above, const std::string& folder, const char* prefix);

    DcDirDicomDir& directory_;
    bool icons_;
    bool changed_ = false;
    bool adopted_ = false;
    std::string root_;
    std::unordered_map<std::string, DcDirRec*> parents_;      // by what is above them and their identity
    std::unordered_set<std::string> files_;                   // File IDs
    std::unordered_map<std::string, std::string> instances_;  // File IDs by SOP Instance UIDs
    std::unordered_map<const DcDirRec*, Numbers> numbers_;
};

}  // namespace services

#endif
