// The text of a data set in another character set.
#ifndef ORVKIT_SERVICES_RECODE_H
#define ORVKIT_SERVICES_RECODE_H

#include <string>
#include <vector>

#include "orvkit/elemlist.h"

namespace services {

// Brings all text of a data set, nested ones included, to UTF-8, and Specific Character Set (0008,0005) to
// ISO_IR 192 (PS3.3 C.12.1.1.2). What could not be brought over exactly is told, one line each, with the
// element's path; the data set is then not to be used.
std::vector<std::string> recodeToUtf8(DcElemList& dataset);

}  // namespace services

#endif
