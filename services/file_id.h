// File IDs: the names by which a file set knows its files (PS3.10 8.2).
#ifndef ORVKIT_SERVICES_FILE_ID_H
#define ORVKIT_SERVICES_FILE_ID_H

#include <string>

namespace services {

// What is wrong with a File ID, given with slashes or backslashes; "" when nothing is.
std::string fileIdFault(const std::string& fileId);
// With backslashes, as records hold it.
std::string normalFileId(std::string fileId);
// The path of its file below the root.
std::string pathOfFileId(const std::string& root, const std::string& fileId);
// Whether a File ID, valid or not, may name something outside of the root: it holds "..", is absolute, or
// passes or ends at a symbolic link.
bool leadsOutOfRoot(const std::string& root, const std::string& fileId);

}  // namespace services

#endif
