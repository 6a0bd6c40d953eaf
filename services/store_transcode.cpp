#include "services/store_transcode.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "orvkit/result.h"
#include "services/report.h"

namespace services {

std::string transcodeStored(StoreFile& file, const std::string& directory, const ConversionRequest& wanted) {
    if (file.xferSyn() == wanted.target) return "";
    ConversionRequest request = wanted;
    request.in = file.temporaryPath();
    request.beside = directory + "/copy";
    try {
        orvkit::platform::NewFile copy;
        Conversion conversion(request);
        if (!conversion.prepare()) {
            return conversion.notes().empty() ? conversion.fault()
                                              : conversion.fault() + " (" + conversion.notes().front() + ")";
        }
        if (request.frames.target != nullptr && !conversion.hasPixels()) return "";
        if (!copy.begin(directory)) return std::strerror(errno);
        const int result = conversion.write(copy.path());
        if (result != RESULT_OK) return resultText(result);
        file.exchange(std::move(copy), wanted.target, conversion.instance());
    } catch (const std::bad_alloc&) {
        return "not enough memory";
    }
    return "";
}

}  // namespace services
