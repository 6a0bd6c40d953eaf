#include "services/image_file.h"

#include <bit>

#include "dictionary/uid_text.h"
#include "foundation/bytes.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/elements.h"
#include "services/report.h"
#include "services/words.h"

namespace services {
namespace {

// Native pixels in the order of the machine. Pixel cells of 8 bits and less stand in words where the VR says
// so (PS3.5 8.1.1).
void toMachineOrder(std::vector<unsigned char>& bytes, bool isBig, unsigned int bitsAllocated, bool inWords) {
    const unsigned int unit = bitsAllocated > 8 ? bitsAllocated / 8 : isBig && inWords ? 2 : 1;
    if (isBig != (std::endian::native == std::endian::big)) orvkit::swapUnits(bytes, unit);
}

}  // namespace

std::string frameFault(int result) {
    static constexpr Word texts[] = {
        {FRAMES_NO_PIXELS, "no pixel data"},
        {FRAMES_LAYOUT, "rows, columns, samples or bits do not make a frame"},
        {FRAMES_NUMBER, "there is no such frame"},
        {FRAMES_CUT, "the pixel data ends before the frame does"},
        {FRAMES_NOT_APART, "the fragments do not tell where frames begin"},
    };
    const char* text = find(texts, result);
    return text != nullptr ? text : resultText(result);
}

ImageFile::Kind ImageFile::open(const std::string& path) {
    DcDirAround around;
    DcDirFound found;
    around.found = &found;
    const int result = dirReadAroundPixels(path.c_str(), meta_, dataset_, around);
    // Pixels that the file's end cuts may hold whole frames.
    if (result == DIR_NOT_PART10) {
        fault_ = resultText(result);
        return Kind::notDicom;
    }
    if (result != RESULT_OK && result != ELEM_VALUE_REFUSED) {
        fault_ = resultText(result);
        return Kind::damaged;
    }
    const int opened = frames_.open(dataset_);
    if (opened == RESULT_OK && renderDescribe(dataset_, says_) == RESULT_OK) return Kind::image;
    fault_ = frameFault(opened == RESULT_OK ? FRAMES_LAYOUT : opened);
    if (opened != FRAMES_NO_PIXELS) return Kind::damaged;
    if (result != RESULT_OK) fault_ = resultText(result);
    return result == RESULT_OK ? Kind::noImage : Kind::damaged;
}

unsigned int ImageFile::representative() {
    unsigned short frame = 0;
    const int result = dataset_.getValue(T_0028_6010_representativeFrameNumber, frame);
    return result == RESULT_OK && frame >= 1 && frame <= frames() ? frame : 1;
}

bool ImageFile::read(unsigned int frame) {
    if (!hasCodec()) return false;
    DcFrame found;
    int result = frames_.find(frame, found);
    if (result != RESULT_OK) return fail(frameFault(result));
    stored_.resize(static_cast<std::size_t>(found.length));
    unsigned long long length = 0;
    result = frames_.read(frame, stored_.data(), stored_.size(), length);
    if (result != RESULT_OK) return fail(frameFault(result));
    pixels_ = says_;
    const DICT_UID syntax = frames_.xferSyn();
    if (Dict.isEncapsulated(syntax) != 0) return unpack();
    DcElem* const element = elementOf(dataset_, frames_.tag());
    toMachineOrder(stored_, syntax == UID_BIG_ENDIAN_EXPLICIT, says_.layout.bitsAllocated,
                   element != nullptr && element->getVr() != VR_OB);
    pixels_.data = stored_.data();
    pixels_.length = stored_.size();
    return true;
}

bool ImageFile::hasCodec() {
    const DICT_UID syntax = frames_.xferSyn();
    if (Dict.isEncapsulated(syntax) == 0) return true;
    const DcImageCodec* const codec = imageFindCodec(orvkit::uidText(syntax));
    if (syntax == UID_NONE) return fail("fragments in a transfer syntax that has none");
    if (codec == nullptr) return fail("no codec for the transfer syntax " + describeUid(syntax));
    if (codec->decodes) return true;
    return fail(std::string(codec->label) + " was left out of this build: it needs " + codec->library);
}

bool ImageFile::unpack() {
    const char* const uid = orvkit::uidText(frames_.xferSyn());
    DcImageResult told;
    if (imageCheckFrame(uid, says_.layout, stored_.data(), stored_.size(), &told) != RESULT_OK)
        return fail(told.text);
    unpacked_.resize(static_cast<std::size_t>(imageFrameBytes(says_.layout)));
    if (imageDecodeFrame(uid, says_.layout, stored_.data(), stored_.size(), unpacked_.data(),
                         unpacked_.size(), &told) != RESULT_OK) {
        return fail(told.text);
    }
    pixels_.layout = told.pixels;
    pixels_.data = unpacked_.data();
    pixels_.length = unpacked_.size();
    return true;
}

}  // namespace services
