// What `orvkit serve --file-set` receives becomes part of a file set.
#ifndef ORVKIT_SERVICES_RECEIVED_SET_H
#define ORVKIT_SERVICES_RECEIVED_SET_H

#include <memory>
#include <mutex>
#include <string>

#include "orvkit/dicomdir.h"
#include "services/file_set.h"
#include "services/store_file.h"

namespace services {

// For use by several threads at once.
class ReceivedSet {
  public:
    // Takes up the file set of a directory, or begins one; false, with a complaint, when the DICOMDIR there
    // cannot be written again without loss.
    bool open(const std::string& directory);
    // Moves a finished file to its File ID, with its records; `told` receives the File ID and what there is
    // to tell of it. False: the file is not in the set, and why.
    bool place(StoreFile& file, std::string& told);
    // Writes the DICOMDIR when something came since the last time; false: `fault` tells why.
    bool write(std::string& fault);

  private:
    std::mutex mutex_;
    DcDirDicomDir directory_;
    std::unique_ptr<FileSet> set_;
};

}  // namespace services

#endif
