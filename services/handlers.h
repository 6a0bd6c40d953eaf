// What a provider does with a message: one row a command, each with a file of its own.
#ifndef ORVKIT_SERVICES_HANDLERS_H
#define ORVKIT_SERVICES_HANDLERS_H

#include "orvkit/cmd.h"

namespace services {

class Provider;

// Answers a request that came in a context of that SOP class, its data set included if it has one; false: the
// association is over.
using Handler = bool(Provider& provider, DICT_UID sopClass, DcMsg& request);

// Null for a message that has no place here.
Handler* handlerOf(MSG_TYPE message);

}  // namespace services

#endif
