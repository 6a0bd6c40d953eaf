// Pictures of images: one frame of an image becomes grey or colours as a display shows them (PS3.4 N.2), and
// a picture becomes a PNG, JPEG, TIFF or PNM file. Part of the library orvkit_image.
//
// The order is that of PS3.4 N.2: modality LUT or rescale, pixel padding, VOI LUT or window, the inverse that
// MONOCHROME1 and Presentation LUT Shape ask for; or the palette, or the colours as RGB. What enhanced
// multi-frame objects say for one frame or for all of them (PS3.3 C.7.6.16) counts before what stands in the
// data set itself. Then overlays, the shape of the pixels, the size, and what the caller wants inverted.
//
// Different threads may make pictures at once, each of a data set of its own.
#ifndef ORVKIT_RENDER_H
#define ORVKIT_RENDER_H

#include "orvkit/elemlist.h"
#include "orvkit/image.h"

// The pixels of one frame, unpacked, as image.h describes them. What a decoder found to be otherwise than the
// data set says is said here: this counts. Nothing is owned.
struct DcRenderPixels {
    DcImagePixels layout;           // of 1 or 3 samples; colours of 8 or 16 bits allocated
    bool isReal = false;            // numbers of 32 or 64 bits from Float or Double Float Pixel Data
    const void* data = nullptr;     // native; YBR_FULL_422 may have all its samples, as decoders give them
    unsigned long long length = 0;  // bytes; more than the frame needs are left alone
};

// The layout by the data set alone, and whether its numbers are real. ELEM_NOT_FOUND without rows, columns or
// bits.
ORVKIT_IMAGE_API int renderDescribe(DcElemList& dataset, DcRenderPixels& pixels);

// Which values become black and white.
enum RENDER_VOI : int {
    // As the image asks: its first VOI LUT, else its first window, else RENDER_VOI_BITS for 8 bits and less,
    // and RENDER_VOI_RANGE for more.
    RENDER_VOI_IMAGE,
    RENDER_VOI_WINDOW,      // the window of that index in the image
    RENDER_VOI_LUT,         // the VOI LUT of that index
    RENDER_VOI_GIVEN,       // the window of options.center and options.width
    RENDER_VOI_PERCENTILE,  // from options.lowPercent to options.highPercent of the frame's values
    RENDER_VOI_RANGE,       // from the least value in the frame to the greatest
    RENDER_VOI_BITS,        // all that the stored bits can hold
};

// How a window goes from black to white (PS3.3 C.11.2.1.2 and C.11.2.1.3).
enum RENDER_FUNCTION : int {
    RENDER_FUNCTION_IMAGE,  // as VOI LUT Function says; without one LINEAR
    RENDER_FUNCTION_LINEAR,
    RENDER_FUNCTION_LINEAR_EXACT,
    RENDER_FUNCTION_SIGMOID,
};

enum RENDER_SCALING : int {
    RENDER_SCALING_AUTO,     // area where the picture becomes smaller, bicubic where it grows
    RENDER_SCALING_AREA,     // the mean of what a pixel covers
    RENDER_SCALING_BICUBIC,  // of wider reach where the picture becomes smaller
};

struct DcRenderOptions {
    RENDER_VOI voi = RENDER_VOI_IMAGE;
    unsigned int index = 1;  // from 1
    double center = 0;
    double width = 0;  // above 0; LINEAR takes less than 1 as LINEAR_EXACT does
    RENDER_FUNCTION function = RENDER_FUNCTION_IMAGE;
    double lowPercent = 0.5;  // 0 to 100, not above highPercent
    double highPercent = 99.5;
    bool overlays = false;  // burns all overlays in, white (PS3.3 C.9.2); also those in unused pixel bits
    bool invert = false;
    unsigned int bits = 8;  // of a sample of the picture: 8 or 16
    // The box that the picture fills in one direction at least; 0: as wide, or as high, as the other asks. At
    // most 65535; both 0 leave the size as it is.
    unsigned int boxWidth = 0;
    unsigned int boxHeight = 0;
    bool squarePixels = true;  // the shape of the pixels is made up for (PS3.3 C.7.6.3.1.7, C.10.7.1.3)
    RENDER_SCALING scaling = RENDER_SCALING_AUTO;
    unsigned int threads = 1;  // at most so many work on the picture
};

// Rows of grey or of red, green and blue, from the top; samples of 16 bits in the order of the machine.
class ORVKIT_IMAGE_API DcPicture {
  public:
    DcPicture() noexcept = default;
    DcPicture(DcPicture&& other) noexcept { swap(other); }
    DcPicture& operator=(DcPicture&& other) noexcept {
        swap(other);
        return *this;
    }
    DcPicture(const DcPicture&) = delete;
    DcPicture& operator=(const DcPicture&) = delete;
    ~DcPicture();

    // Makes a black picture. `samples` is 1 or 3, `bits` 8 or 16, sides are 1 to 65535: IMAGE_OPTION
    // otherwise. IMAGE_NO_MEMORY; the picture is then as it was.
    int make(unsigned int width, unsigned int height, unsigned int samples, unsigned int bits) noexcept;
    // Copies an ICC profile; none with a length of 0. IMAGE_NO_MEMORY.
    int setProfile(const unsigned char* profile, unsigned int length) noexcept;
    void swap(DcPicture& other) noexcept;

    unsigned int width() const noexcept { return width_; }
    unsigned int height() const noexcept { return height_; }
    unsigned int samples() const noexcept { return samples_; }
    unsigned int bits() const noexcept { return bits_; }
    unsigned long long rowBytes() const noexcept { return 1ULL * width_ * samples_ * (bits_ / 8); }
    unsigned char* row(unsigned int y) noexcept { return pixels_ + y * rowBytes(); }
    const unsigned char* row(unsigned int y) const noexcept { return pixels_ + y * rowBytes(); }
    // Null when there is none.
    const unsigned char* profile() const noexcept { return profile_; }
    unsigned int profileLength() const noexcept { return profileLength_; }

  private:
    unsigned int width_ = 0;
    unsigned int height_ = 0;
    unsigned int samples_ = 1;
    unsigned int bits_ = 8;
    unsigned char* pixels_ = nullptr;
    unsigned char* profile_ = nullptr;
    unsigned int profileLength_ = 0;
};

// Why there is no picture, in words for a user.
struct DcRenderFault {
    char text[256] = "";
};

// The picture of a frame. `frame` counts from 1 and picks functional groups and overlays. Pixels are looked
// at before memory is taken: an image that claims more than is there costs nothing.
// IMAGE_PIXELS a description that makes no picture, IMAGE_ROOM the pixels end too early, IMAGE_OPTION options
// out of their range, ELEM_NOT_FOUND no window, VOI LUT or palette where one is asked for, IMAGE_NO_MEMORY.
// `fault` may be null.
ORVKIT_IMAGE_API int renderFrame(DcElemList& dataset, const DcRenderPixels& pixels, unsigned int frame,
                                 const DcRenderOptions& options, DcPicture& picture, DcRenderFault* fault);

// Scales a picture to exactly that size. IMAGE_OPTION, IMAGE_NO_MEMORY.
ORVKIT_IMAGE_API int renderScale(const DcPicture& from, unsigned int width, unsigned int height,
                                 RENDER_SCALING scaling, unsigned int threads, DcPicture& to);

// ---- files of pictures ----------------------------------------------------------------------------------

enum PICTURE_FORMAT : int {
    PICTURE_UNKNOWN = -1,
    PICTURE_PNG,   // 8 and 16 bits; ICC profile
    PICTURE_JPEG,  // 8 bits, baseline; ICC profile
    PICTURE_TIFF,  // 8 and 16 bits; ICC profile
    PICTURE_PNM,   // 8 and 16 bits: PGM or PPM, binary
};

// What there is to know of a format.
struct DcPictureFormat {
    PICTURE_FORMAT format;
    const char* name;        // "PNG"
    const char* extensions;  // "png", with blanks between several
    unsigned int mostBits;   // of a sample
    const char* library;     // that writes it; "" for this one
    bool isThere;            // false: the library was missing when this one was built
};
// The format of that index, from 0 on; null past the last.
ORVKIT_IMAGE_API const DcPictureFormat* pictureFormat(unsigned int index);
// By the extension of a file name, in any case; null for one that is no format's.
ORVKIT_IMAGE_API const DcPictureFormat* pictureFormatOf(const char* fileName);

// Receives the bytes of a file in their order; false ends the writing.
typedef bool (*DcPictureSinkCB)(void* context, const unsigned char* bytes, unsigned long long length);

// Writes a picture as a file of that format. `quality`, 1 to 100, is JPEG's.
// IMAGE_NO_CODEC the format was left out when this library was built, IMAGE_CANNOT_HOLD a picture that the
// format does not hold, IMAGE_OPTION, DIR_READ_WRITE refused by the sink, IMAGE_NO_MEMORY, IMAGE_CODEC
// another fault of the format's library, with its words in `fault` (may be null).
ORVKIT_IMAGE_API int pictureWrite(const DcPicture& picture, PICTURE_FORMAT format, int quality,
                                  DcPictureSinkCB sink, void* context, DcRenderFault* fault);

// What a file tells that was read as a picture.
struct DcPictureFound {
    PICTURE_FORMAT format = PICTURE_UNKNOWN;
    unsigned int pages = 1;  // of a TIFF; any other has one
    unsigned int bits = 8;   // of a sample in the file; those of the picture are 8 or 16
    int alpha = 0;           // not 0: it has transparency, or other samples, which the picture has not
};

// Reads a page, from 1, of a PNG, TIFF or PNM file in memory. Samples of fewer than 8 bits become 8 bits,
// with white as white; a palette becomes red, green and blue; grey from white becomes grey from black. A file
// that tells of more pixels than its bytes can make is refused before there is room for them. IMAGE_NO_CODEC
// no such format, or one that was left out when this library was built, IMAGE_OPTION no such page,
// IMAGE_STREAM a damaged file, IMAGE_CANNOT_HOLD signs, real numbers, sides above 65535, IMAGE_NO_MEMORY. The
// picture is undefined then. `fault` may be null.
ORVKIT_IMAGE_API int pictureRead(const void* bytes, std::size_t length, unsigned int page, DcPicture& picture,
                                 DcPictureFound& found, DcRenderFault* fault);

#endif
