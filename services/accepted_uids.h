// The SOP classes and transfer syntaxes that a storage provider takes.
#ifndef ORVKIT_SERVICES_ACCEPTED_UIDS_H
#define ORVKIT_SERVICES_ACCEPTED_UIDS_H

#include <vector>

#include "orvkit/msm.h"

namespace services {

// Every storage SOP class that the dictionary knows, and those of later editions of the standard, which are
// added to it: call it before threads use the dictionary. Verification comes first; an empty entry ends the
// list.
std::vector<DcMsmSopXferSyn> storageSupport();

}  // namespace services

#endif
