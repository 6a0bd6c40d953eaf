#include "services/contact_sheet.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <map>
#include <mutex>
#include <tuple>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/crew.h"
#include "services/elements.h"
#include "services/image_file.h"
#include "services/label.h"
#include "services/picture_file.h"
#include "services/progress.h"
#include "services/report.h"

namespace services {
namespace {

constexpr unsigned int kGap = 8;
constexpr unsigned int kLine = labelHeight + 3;
constexpr unsigned int kLines = 3;  // of a label
constexpr unsigned int kTitle = 2 * labelHeight + 2 * kGap;
constexpr unsigned char kBright = 230;
constexpr unsigned char kDim = 150;

// What the sheet says of an image, and by what it is put in order.
struct Image {
    std::string path;
    std::string patient, studyDate, studyDescription, study;
    std::string modality, description, series;
    int seriesNumber = 0;
    int number = 0;
    unsigned int frames = 0;

    auto order() const { return std::tie(studyDate, study, seriesNumber, series, number, path); }
};

struct Series {
    Image shown;  // the middle one
    std::size_t images = 0;
    std::size_t frames = 0;
    DcPicture picture;  // empty when it could not be made
};

int numberOf(DcElemList& list, unsigned int tag) {
    int number = 0;
    return list.getValue(tag, number) == RESULT_OK ? number : 0;
}

Image describe(const std::string& path, ImageFile& file) {
    DcElemList& list = file.dataset();
    Image image;
    image.path = path;
    image.patient = textOf(list, T_0010_0010_patientsName);
    std::replace(image.patient.begin(), image.patient.end(), '^', ' ');
    image.studyDate = textOf(list, T_0008_0020_studyDate);
    image.studyDescription = textOf(list, T_0008_1030_studyDescription);
    image.study = textOf(list, T_0020_000d_studyInstanceUid);
    image.modality = textOf(list, T_0008_0060_modality);
    image.description = textOf(list, T_0008_103e_seriesDescription);
    image.series = textOf(list, T_0020_000e_seriesInstanceUid);
    image.seriesNumber = numberOf(list, T_0020_0011_seriesNumber);
    image.number = numberOf(list, T_0020_0013_instanceNumber);
    image.frames = file.frames();
    return image;
}

class SheetRun {
  public:
    explicit SheetRun(const SheetRequest& request) : request_(request) {}

    bool run(DcPicture& sheet) {
        std::vector<std::string> faults;
        const std::vector<PictureSource> sources = pictureSources(request_.paths, faults);
        for (const std::string& fault : faults) fail(fault);
        forAll(sources.size(), [&](std::size_t i) { look(sources[i]); });
        if (isOver_) return false;
        arrange();
        if (series_.empty()) return complain("no image was found");
        forAll(series_.size(), [&](std::size_t i) { show(series_[i]); });
        return !isOver_ && draw(sheet) && isGood_;
    }

  private:
    // On all threads.
    void forAll(std::size_t count, const std::function<void(std::size_t)>& work) {
        std::atomic<std::size_t> next = 0;
        const auto run = [&] {
            for (std::size_t i = next++; i < count && !isOver_; i = next++) work(i);
        };
        workTogether(std::min<std::size_t>(request_.jobs, count), run);
    }

    void look(const PictureSource& source) {
        ImageFile file;
        const ImageFile::Kind kind = file.open(source.path);
        if (kind == ImageFile::Kind::image) {
            Image image = describe(source.path, file);
            const std::lock_guard lock(mutex_);
            images_.push_back(std::move(image));
        } else if (source.wasNamed || kind == ImageFile::Kind::damaged) {
            fail(source.path + ": " + file.fault());
        }
    }

    void arrange() {
        std::sort(images_.begin(), images_.end(),
                  [](const Image& a, const Image& b) { return a.order() < b.order(); });
        const auto isNext = [](const Image& a, const Image& b) {
            return a.study != b.study || a.series != b.series;
        };
        for (auto at = images_.begin(); at != images_.end();) {
            const auto end =
                std::find_if(at, images_.end(), [&](const Image& one) { return isNext(*at, one); });
            Series series;
            series.shown = at[(end - at) / 2];
            series.images = static_cast<std::size_t>(end - at);
            for (; at != end; ++at) series.frames += at->frames;
            series_.push_back(std::move(series));
        }
    }

    void show(Series& series) {
        const std::string& path = series.shown.path;
        ImageFile file;
        if (file.open(path) != ImageFile::Kind::image) return fail(path + ": " + file.fault());
        const unsigned int frame = file.representative();
        const std::string front = path + ": frame " + std::to_string(frame) + ": ";
        if (!file.read(frame)) return fail(front + file.fault());
        DcRenderOptions options = request_.options;
        options.bits = 8;
        options.boxWidth = options.boxHeight = request_.tile;
        DcRenderFault fault;
        if (renderFrame(file.dataset(), file.pixels(), frame, options, series.picture, &fault) != RESULT_OK) {
            fail(front + fault.text);
        }
    }

    bool draw(DcPicture& sheet) const {
        const bool isColour = std::any_of(series_.begin(), series_.end(),
                                          [](const Series& one) { return one.picture.samples() == 3; });
        const auto count = static_cast<unsigned int>(series_.size());
        const unsigned int across =
            std::max(3u, static_cast<unsigned int>(std::ceil(std::sqrt(count * 4.0 / 3))));
        const unsigned int down = (count + across - 1) / across;
        const unsigned int wide = request_.tile + kGap;
        const unsigned int high = request_.tile + kGap + kLines * kLine;
        const unsigned int columns = std::min(across, std::max(count, 2u));
        if (sheet.make(columns * wide + kGap, kTitle + down * high, isColour ? 3 : 1, 8) != RESULT_OK) {
            return complain("the sheet for %u series is too large", count);
        }
        drawLabel(sheet, kGap, kGap, sheet.width() - 2 * kGap, 2, kBright, title());
        for (unsigned int i = 0; i < count; ++i) {
            drawSeries(sheet, series_[i], kGap + i % across * wide, kTitle + i / across * high);
        }
        return true;
    }

    // What all images have in common.
    std::string title() const {
        const Image& first = series_.front().shown;
        std::string patient = first.patient;
        std::string study = first.studyDate + "  " + first.studyDescription;
        std::map<std::string, int> studies;
        for (const Series& one : series_) {
            ++studies[one.shown.study];
            if (one.shown.patient != patient) patient.clear();
        }
        if (studies.size() > 1) study = std::to_string(studies.size()) + " studies";
        return patient.empty() ? study : patient + "  " + study;
    }

    void drawSeries(DcPicture& sheet, const Series& series, unsigned int left, unsigned int top) const {
        const DcPicture& from = series.picture;
        for (unsigned int y = 0; y < from.height(); ++y) {
            unsigned char* to = sheet.row(top + (request_.tile - from.height()) / 2 + y);
            to += std::size_t{left + (request_.tile - from.width()) / 2} * sheet.samples();
            for (unsigned int i = 0; i < from.width() * sheet.samples(); ++i) {
                to[i] = from.row(y)[from.samples() == sheet.samples() ? i : i / 3];
            }
        }
        if (from.width() == 0)
            drawLabel(sheet, left, top + request_.tile / 2, request_.tile, 1, kDim, "cannot be shown");
        auto line = [&, at = top + request_.tile + 2](unsigned char level, const std::string& text) mutable {
            drawLabel(sheet, left, at, request_.tile, 1, level, text);
            at += kLine;
        };
        const Image& shown = series.shown;
        line(kBright, shown.modality + " " + std::to_string(shown.seriesNumber) + "  " + shown.description);
        std::string size = std::to_string(series.images) + (series.images == 1 ? " image" : " images");
        if (series.frames > series.images) size += ", " + std::to_string(series.frames) + " frames";
        line(kDim, size);
        line(kDim, shown.studyDate);
    }

    void fail(const std::string& text) {
        const std::lock_guard lock(mutex_);
        if (!isOver_) (void)complain("%s", text.c_str());
        isGood_ = false;
        if (!request_.keepGoing) isOver_ = true;
    }

    const SheetRequest& request_;
    std::mutex mutex_;  // of what is found, and of complaints
    std::vector<Image> images_;
    std::vector<Series> series_;
    bool isGood_ = true;
    std::atomic<bool> isOver_ = false;
};

}  // namespace

bool makeSheet(const SheetRequest& request, DcPicture& sheet) {
    return SheetRun(request).run(sheet);
}

}  // namespace services
