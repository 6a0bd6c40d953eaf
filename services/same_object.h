// Whether two files hold the same object.
#ifndef ORVKIT_SERVICES_SAME_OBJECT_H
#define ORVKIT_SERVICES_SAME_OBJECT_H

#include <string>

namespace services {

// The same data set, byte for byte, in the same transfer syntax, in two Part 10 files whose meta information
// may differ otherwise. False also when one of them cannot be read.
bool isSameObject(const std::string& path, const std::string& other);

}  // namespace services

#endif
