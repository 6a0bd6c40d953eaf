// From the stored value of a grey image to its level between black and white (PS3.4 N.2).
#ifndef ORVKIT_IMAGE_GREY_SCALE_H
#define ORVKIT_IMAGE_GREY_SCALE_H

#include <functional>
#include <string>

#include "image/attributes.h"
#include "image/lookup_table.h"
#include "orvkit/render.h"

namespace orvkit::render {

// Least and greatest of some values.
struct Range {
    double low = 0;
    double high = 0;
};

// PS3.3 C.11.1: a table, or a slope and an intercept.
class Modality {
  public:
    Modality(DcElemList& dataset, const FrameGroups& groups, bool isSigned);
    double operator()(double stored) const {
        return table_.empty() ? stored * slope_ + intercept_ : table_.at(stored);
    }
    // Of all values that come from that range.
    Range operator()(Range stored) const;

  private:
    LookupTable table_;
    double slope_ = 1;
    double intercept_ = 0;
};

// Stored values that are no part of the image (PS3.3 C.7.5.1.1.2, C.7.6.3).
class Padding {
  public:
    Padding(DcElemList& dataset, const DcRenderPixels& pixels);
    bool contains(double stored) const { return stored >= range_.low && stored <= range_.high; }

  private:
    Range range_{1, 0};
};

// PS3.3 C.11.2: a table, a window, or a range. 0 is black, 1 is white.
class Voi {
  public:
    // What the data set and the options ask for. `spread` gives the values of the frame between two
    // percentiles. RESULT_OK, ELEM_NOT_FOUND, IMAGE_OPTION.
    using Spread = std::function<Range(double lowPercent, double highPercent)>;
    int choose(const FrameGroups& groups, const DcRenderOptions& options, const Range& possible,
               unsigned int bitsStored, const Spread& spread);
    double operator()(double value) const;

  private:
    bool takeTable(DcElemList& group, unsigned int index, const Range& possible);
    bool takeWindow(DcElemList& group, unsigned int index);
    int takeGiven(const DcRenderOptions& options);
    void takeRange(const Range& range);
    void takeFunction(DcElemList& group, RENDER_FUNCTION asked);
    double linear(double value) const;

    LookupTable table_;
    RENDER_FUNCTION function_ = RENDER_FUNCTION_LINEAR;
    double center_ = 0;
    double width_ = 1;
};

// Whether black and white change places behind the VOI (PS3.3 C.11.6, C.7.6.3.1.2).
bool isInverse(DcElemList& dataset, DcPhotometric photometric);

}  // namespace orvkit::render

#endif
