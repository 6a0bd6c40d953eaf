#include "services/outgoing_copy.h"

#include <filesystem>
#include <system_error>

#include "dictionary/uid_text.h"
#include "orvkit/dict.h"
#include "orvkit/image.h"
#include "orvkit/result.h"
#include "services/conversion.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {

std::string copyInSyntax(const std::string& path, const FileIdentity& object, bool odd, DICT_UID syntax,
                         orvkit::platform::NewFile& copy) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
    if (error || !copy.begin(nameOf(folder)))
        return "no copy of it can be made where temporary files are kept";
    ConversionRequest request;
    request.in = path;
    request.beside = nameOf(folder / "copy");
    request.target = syntax;
    if (Dict.isEncapsulated(syntax) != 0 && syntax != object.xferSyn)
        request.frames.target = imageFindCodec(orvkit::uidText(syntax));
    request.force = odd;
    request.sopClass = object.sopClass;
    request.instance = object.instance;
    Conversion conversion(request);
    std::string fault;
    if (conversion.prepare()) {
        const int result = conversion.write(copy.path());
        if (result == RESULT_OK) return "";
        fault = "a copy of it: " + resultText(result);
    } else {
        fault = conversion.fault();
        if (!conversion.notes().empty()) fault += " (" + conversion.notes().front() + ")";
    }
    return syntax == object.xferSyn ? fault
                                    : "the peer does not take " + describeUid(object.xferSyn) +
                                          ", and it cannot be converted: " + fault;
}

}  // namespace services
