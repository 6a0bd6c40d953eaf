// Finding several elements in an open file in one walk.
#include <algorithm>
#include <new>
#include <vector>

#include "dataset/scan_report.h"
#include "foundation/fail.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"

using namespace orvkit;

namespace {

// The wanted fields in order of their tags, so that each element costs one look-up.
class Wanted {
  public:
    explicit Wanted(std::span<DcPfField_> fields) {
        for (DcPfField_& f : fields) {
            f = {.tag = f.tag};
            sorted_.push_back(&f);
        }
        std::sort(sorted_.begin(), sorted_.end(),
                  [](const DcPfField_* a, const DcPfField_* b) { return a->tag < b->tag; });
        missing_ = sorted_.size();
    }

    bool done(unsigned int tag) const { return missing_ == 0 || tag > sorted_.back()->tag; }

    void meet(const WalkHeader& h) {
        auto it = std::lower_bound(sorted_.begin(), sorted_.end(), h.tag,
                                   [](const DcPfField_* f, unsigned int tag) { return f->tag < tag; });
        for (; it != sorted_.end() && (*it)->tag == h.tag && (*it)->found == 0; ++it) {
            **it = {.tag = h.tag,
                    .found = 1,
                    .vr = h.vr,
                    .offset = static_cast<long long>(h.offset),
                    .valueOffset = static_cast<long long>(h.valueOffset),
                    .valueLen = h.length};
            --missing_;
        }
    }

  private:
    std::vector<DcPfField_*> sorted_;
    std::size_t missing_ = 0;
};

}  // namespace

int libParseFields(FILE* file, DcPfField_* fields, DcPfFileInfo_* info, int count) try {
    constexpr const char* reporter = "libParseFields";
    if (file == nullptr || info == nullptr || (fields == nullptr && count > 0))
        return failNull(UTIL_NULL_ARGUMENT, reporter, LOG_ERROR);
    ARCH_ENDIAN endian;
    if (Dict.getEndian(info->xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    Wanted wanted({fields, static_cast<std::size_t>(std::max(count, 0))});
    StreamSource source(file);
    *info = {.xferSyn = info->xferSyn,
             .start = static_cast<long long>(source.start()),
             .end = static_cast<long long>(source.start()),
             .fileSize = static_cast<long long>(source.size())};
    Walker walker(source, source.start(), source.size(), Mode::of(info->xferSyn), true);
    WalkHeader h;
    while (!wanted.done(0)) {
        const WalkStep step = walker.peek(h);
        if (step == WalkStep::failed) return reportFault(walker, reporter);
        if (step == WalkStep::end || wanted.done(h.tag)) break;
        wanted.meet(h);
        if (wanted.done(0)) break;
        if (!walker.skip(h)) return reportFault(walker, reporter);
        info->end = static_cast<long long>(walker.position());
    }
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("libParseFields");
}
