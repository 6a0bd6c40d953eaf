#include "services/extract.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>

#include "dictionary/uid_text.h"
#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/frames.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "platform/file.h"
#include "services/elements.h"
#include "services/file_run.h"
#include "services/image_file.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/text.h"
#include "services/whole_file.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

// What documents are, by their MIME type.
constexpr struct {
    std::string_view mime;
    const char* extension;
} kDocumentFiles[] = {
    {"application/pdf", "pdf"}, {"text/xml", "xml"},  {"model/stl", "stl"},  {"application/sla", "stl"},
    {"model/obj", "obj"},       {"model/mtl", "mtl"}, {"image/jpeg", "jpg"},
};

// What frames are, by the beginning of the UID of their transfer syntax; the first that fits counts.
constexpr struct {
    std::string_view syntax;
    const char* extension;
    bool isVideo = false;
} kFrames[] = {
    {"1.2.840.10008.1.2.4.100", "mpg", true}, {"1.2.840.10008.1.2.4.101", "mpg", true},
    {"1.2.840.10008.1.2.4.102", "mp4", true}, {"1.2.840.10008.1.2.4.103", "mp4", true},
    {"1.2.840.10008.1.2.4.104", "mp4", true}, {"1.2.840.10008.1.2.4.105", "mp4", true},
    {"1.2.840.10008.1.2.4.106", "mp4", true}, {"1.2.840.10008.1.2.4.107", "mp4", true},
    {"1.2.840.10008.1.2.4.108", "mp4", true}, {"1.2.840.10008.1.2.4.11", "jxl"},
    {"1.2.840.10008.1.2.4.20", "j2c"},        {"1.2.840.10008.1.2.4.5", "jpg"},
    {"1.2.840.10008.1.2.4.7", "jpg"},         {"1.2.840.10008.1.2.4.8", "jls"},
    {"1.2.840.10008.1.2.4.9", "j2k"},         {"1.2.840.10008.1.2.5", "rle"},
    {"1.2.840.10008.1.2.8.1", "deflate"},     {"", "raw"},
};

auto formOf(DICT_UID syntax) {
    const std::string_view uid = syntax == UID_NONE ? "" : orvkit::uidText(syntax);
    return *std::ranges::find_if(kFrames, [uid](const auto& row) { return uid.starts_with(row.syntax); });
}

// A codestream that ends with the marker "end of image": a byte behind it is padding.
bool isPadded(const std::vector<unsigned char>& stream) {
    const std::size_t n = stream.size();
    return n > 2 && stream[n - 1] == 0 && stream[n - 2] == 0xD9 && stream[n - 3] == 0xFF;
}

// What one object carries, one thing after another.
class Extraction {
  public:
    Extraction(const ExtractRequest& request, FileRun& run, const PictureSource& source)
        : request_(request), run_(run), source_(source) {}

    void run() {
        DcDirAround around;
        DcDirFound found;
        around.found = &found;
        const int result = dirReadAroundPixels(source_.path.c_str(), meta_, dataset_, around);
        if (result != RESULT_OK && result != ELEM_VALUE_REFUSED) {
            if (result != DIR_NOT_PART10 || source_.wasNamed) fail(resultText(result));
            return;
        }
        if (DcElem* document = elementOf(dataset_, DcTag::EncapsulatedDocument))
            return writeDocument(*document);
        form_ = formOf(meta_.transferSyntax);
        // A video is one frame as far as its fragments are concerned.
        if (form_.isVideo) dataset_.changeValue(DcTag::NumberOfFrames, "1");
        const int opened = frames_.open(dataset_);
        if (opened == RESULT_OK) return form_.isVideo ? writeVideo() : writeFrames();
        if (opened != FRAMES_NO_PIXELS) return fail(frameFault(opened));
        if (source_.wasNamed) fail("neither a document nor pixel data");
    }

  private:
    void fail(const std::string& why) const { run_.fail(source_.path + ": " + why); }

    // The file for a thing; `number` counts where there are several.
    std::string target(const std::string& extension, unsigned int number) const {
        if (request_.outIsFile) return request_.out;
        std::filesystem::path path = pathOf(request_.out) / pathOf(source_.name);
        std::string name = nameOf(path.filename());
        if (name.size() > 4 && name.ends_with(".dcm")) name.resize(name.size() - 4);
        if (number > 0) {
            const std::string digits = std::to_string(number);
            name += "-" + std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
        }
        return nameOf(path.replace_filename(pathOf(name + "." + extension)));
    }
    template <typename Write>
    void deliver(const std::string& path, Write write) const {
        run_.deliver(source_, path, [&] {
            WholeFile file(path);
            if (!file.ok()) return false;
            if (!write(file.handle()))
                return complain("%s: cannot be written: %s", path.c_str(), std::strerror(errno));
            return file.commit(false);  // it can be made again
        });
    }

    void writeDocument(DcElem& document) {
        std::string bytes;
        if (!bytesOf(document, bytes)) return fail("not enough memory");
        const std::string mime = textOf(dataset_, DcTag::MIMETypeOfEncapsulatedDocument);
        const auto* const row =
            std::ranges::find_if(kDocumentFiles, [&](const auto& one) { return one.mime == trimmed(mime); });
        unsigned int length = 0;
        if (dataset_.getValue(DcTag::EncapsulatedDocumentLength, length) == RESULT_OK &&
            length <= bytes.size() && bytes.size() - length <= 1) {
            bytes.resize(length);
        }
        const std::string path = target(row == std::end(kDocumentFiles) ? "bin" : row->extension, 0);
        deliver(path, [&](int handle) { return platform::writeAll(handle, bytes.data(), bytes.size()); });
    }

    void writeFrames() const {
        const unsigned int count = frames_.count();
        if (request_.frame > count) return fail("there are " + std::to_string(count) + " frames");
        const unsigned int first = std::max(1u, request_.frame);
        const unsigned int last = request_.frame == 0 ? count : request_.frame;
        if (request_.outIsFile && first != last)
            return fail("it has " + std::to_string(count) +
                        " frames: OUT is a directory, or --frame tells one");
        const bool isOnly = count == 1 && request_.frame == 0;
        for (unsigned int frame = first; frame <= last && !run_.isOver(); ++frame)
            writeFrame(frame, isOnly ? 0 : frame);
    }
    void writeFrame(unsigned int frame, unsigned int number) const {
        DcFrame found;
        int result = frames_.find(frame, found);
        std::vector<unsigned char> stream;
        if (result == RESULT_OK) {
            stream.resize(static_cast<std::size_t>(found.length));
            unsigned long long length = 0;
            result = frames_.read(frame, stream.data(), stream.size(), length);
        }
        if (result != RESULT_OK) return fail("frame " + std::to_string(frame) + ": " + frameFault(result));
        if (Dict.isEncapsulated(frames_.xferSyn()) != 0 && isPadded(stream)) stream.pop_back();
        deliver(target(form_.extension, number),
                [&](int handle) { return platform::writeAll(handle, stream.data(), stream.size()); });
    }
    // Hours of it may be in many fragments: they go from file to file.
    void writeVideo() const {
        DcFrame found;
        int result = frames_.find(1, found);
        std::vector<DcFrameRun> runs(found.runs);
        if (result == RESULT_OK) result = frames_.find(1, found, runs.data(), found.runs);
        if (result != RESULT_OK) return fail(frameFault(result));
        const std::string told = textOf(dataset_, DcTag::EncapsulatedPixelDataValueTotalLength);
        if (!runs.empty() && told == std::to_string(found.length - 1)) --runs.back().length;
        deliver(target(form_.extension, 0), [&](int handle) {
            return std::ranges::all_of(runs, [handle](const DcFrameRun& run) {
                const auto length = static_cast<std::int64_t>(run.length);
                if (run.data != nullptr)
                    return platform::writeAll(handle, run.data, static_cast<std::size_t>(run.length));
                return platform::copyRange(run.handle, static_cast<std::int64_t>(run.offset), handle,
                                           length) == length;
            });
        });
    }

    const ExtractRequest& request_;
    FileRun& run_;
    const PictureSource& source_;
    DcDirMetaInfo meta_;
    DcElemList dataset_;
    DcFrames frames_;
    std::remove_cvref_t<decltype(kFrames[0])> form_{};
};

}  // namespace

bool extractFiles(const ExtractRequest& request) {
    FileRun run("Extracting", request.paths, request.out, request.outIsFile, request.keepGoing);
    const auto work = [&](const PictureSource& source) { Extraction(request, run, source).run(); };
    if (!run.run(1, work)) return false;
    return run.delivered() > 0 || complain("nothing to extract was found");
}

}  // namespace services
