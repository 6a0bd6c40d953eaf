// What the index stores of an object, before it is stored.
#ifndef ORVKIT_INDEX_RECORD_H
#define ORVKIT_INDEX_RECORD_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "index/forms.h"
#include "index/levels.h"
#include "orvkit/index.h"

namespace orvkit::index {

struct Record {
    std::string patientId;
    std::string issuer;
    std::string apart;  // of a patient without an ID: its study
    std::string study;
    std::string series;
    std::string instance;
    std::string sopClass;
    std::string xferSyn;
    std::string path;
    std::uint64_t size = 0;
    std::string modality;
    std::array<Bytes, kLevels> attributes;  // without what the columns have
};

// Trouble: INDEX_IDENTITY.
Record makeRecord(DcElemList& dataset, const DcIndexFile& file);
// Of what an index knows of it: its attributes, also those that have columns.
Record makeRecord(const Bytes& attributes, const DcIndexFile& file);

bool isUid(std::string_view text);
// Between a path and how it stands in the index.
std::string shortPath(std::string_view path, std::string_view instance);
std::string wholePath(std::string_view path, std::string_view instance);

}  // namespace orvkit::index

#endif
