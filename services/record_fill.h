// The keys of a directory record, taken from the file that it describes.
#ifndef ORVKIT_SERVICES_RECORD_FILL_H
#define ORVKIT_SERVICES_RECORD_FILL_H

#include <string>
#include <vector>

#include "orvkit/dicomdir.h"
#include "services/source_file.h"

namespace services {

// What a file lacks for its records.
struct Lacks {
    std::vector<std::string> made;     // values that the records have of their own
    std::vector<std::string> missing;  // those that cannot be made up: the records are of no use
};

// Puts the keys of its type into a new record, values that must be made up included. `number` is the place
// among the records of its kind, from 1, for a missing series or instance number.
void fillRecord(DcDirRec& record, SourceFile& source, unsigned int number, Lacks& lacks);

// Tells the keys in which a record and a file that belongs below it differ. Where one of them has no value
// nothing is compared. Sequences are not compared.
void compareKeys(const DcDirRec& record, SourceFile& source, std::vector<std::string>& faults);
// Tells the keys that a record must have and has not.
void checkKeys(const DcDirRec& record, std::vector<std::string>& faults);

// The Patient ID, or one made from the name and birth date of a patient without one: the same in every run.
std::string patientIdOf(SourceFile& source);

// "patientId (0010,0020)"
std::string keyName(unsigned int tag);

}  // namespace services

#endif
