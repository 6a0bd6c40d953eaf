// A C-STORE-RQ whose data set is that of a Part 10 file, which stays on disk (PS3.7 9.3.1.1): one for the
// library and for who links it.
#ifndef ORVKIT_NETWORK_STORE_REQUEST_H
#define ORVKIT_NETWORK_STORE_REQUEST_H

#include <string_view>

#include "orvkit/cmd.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit {

inline constexpr int kPathLength = 1024;  // of a file reference, at most

// Names the file and its object. False: the reference cannot hold the path. It is a text (PS3.5 6.2, ST),
// which drops blanks at its ends and what is behind its length: another file may have that name.
inline bool fillStoreRequest(DcCmdCStoreRq& request, const char* path, DICT_UID sopClass,
                             const char* instance) {
    (void)request.add(new DcElem(T_0006_0007_fileReference, path));
    char kept[kPathLength + 1] = "";
    if (request.getValue(T_0006_0007_fileReference, kept, int{kPathLength}) != RESULT_OK ||
        std::string_view(path) != kept) {
        return false;
    }
    (void)request.add(new DcElem(T_0000_1000_affectedSopInstanceUid, instance));
    (void)request.add(new DcElem(T_0000_0002_affectedSopClassUid, sopClass));
    return true;
}

}  // namespace orvkit

#endif
