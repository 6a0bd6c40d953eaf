// The SOP classes and transfer syntaxes that a storage provider takes.
#ifndef ORVKIT_SERVICES_ACCEPTED_UIDS_H
#define ORVKIT_SERVICES_ACCEPTED_UIDS_H

#include <vector>

#include "orvkit/msm.h"

namespace services {

struct StorageClass {
    DICT_UID value;
    bool retired;
    bool isImage;
};
// Those of the edition that is set, in the order of their numbers: those of 2008 first.
std::vector<StorageClass> storageClasses();

// All of them and Verification, in every transfer syntax of a data set; `anyClass`: also what the registry
// does not know, such as private classes. An empty entry ends the list.
std::vector<DcMsmSopXferSyn> storageSupport(bool anyClass);

}  // namespace services

#endif
