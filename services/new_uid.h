// UIDs for what is made here.
#ifndef ORVKIT_SERVICES_NEW_UID_H
#define ORVKIT_SERVICES_NEW_UID_H

#include <string>

namespace services {

// From random bits, as PS3.5 B.2 has it.
std::string newUid();

}  // namespace services

#endif
