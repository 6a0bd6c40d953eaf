// The values of elements as every form of the dump shows them: real VRs, numbers, and text in UTF-8.
#ifndef ORVKIT_SERVICES_VALUES_H
#define ORVKIT_SERVICES_VALUES_H

#include <string>
#include <string_view>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/sequence.h"
#include "services/charset.h"
#include "services/dump_file.h"
#include "services/elements.h"

namespace services {

// A data set with what its elements need to know of it and of those around it.
struct Place {
    // The outermost data set, and an item of one.
    Place(DcElemList& list, const DumpedFile& file);
    Place(DcElemList& list, const Place& outer);

    DcElemList& list;
    const DumpedFile& file;
    const Place* outer = nullptr;
    // That of the file, if it has been given one; or else of the innermost data set that names one
    // (PS3.5 6.1.2.3).
    Charset charset;

    bool signedPixels() const;
};

// The VR that an element has in this data set: codes for a choice of VRs are settled.
DICT_VR realVr(const DcElem& e, const Place& place);
// Two letters; never empty.
std::string_view vrLetters(DICT_VR vr);
// The sequence that an element is, or null.
DcElemSq* sequenceOf(DcElem& e);

enum class ValueKind { none, text, tag, integer, real, raw };
ValueKind kindOf(DICT_VR vr);

// The values of one element at a time.
class Values {
  public:
    // Where a value lies that was left in the file.
    struct DiskPlace {
        unsigned long long offset = 0;
        unsigned long long length = 0;
        bool encapsulated = false;  // a list of fragments
        bool addressed = true;      // in the file itself: not where that is compressed
    };

    // `e` stays as it is; views into the values live until the next call.
    void load(DcElem& e, const Place& place);

    DICT_VR vr() const { return vr_; }
    // As they stand in a stream, also where they stand for no VR that is known.
    std::string_view letters() const { return {code_, 2}; }
    ValueKind kind() const { return kind_; }
    std::size_t count() const { return count_; }  // 0 for raw values
    std::string_view text(std::size_t i) const { return texts_[i]; }
    unsigned int tag(std::size_t i) const;
    long long integer(std::size_t i) const;
    std::string integerText(std::size_t i) const;
    int integerDigits() const { return unit() * 2; }  // hexadecimal
    double real(std::size_t i) const;
    // A raw value as it stands in a little endian stream.
    std::string_view raw() const { return bytes_; }
    // Of a raw value that is not in memory; else null.
    const DiskPlace* onDisk() const { return isOnDisk_ ? &place_ : nullptr; }

  private:
    int unit() const;
    void loadRaw(DcElem& e);
    void loadTexts(const Place& place);

    DICT_VR vr_ = VR_UNKNOWN;
    char code_[4] = "UN";
    ValueKind kind_ = ValueKind::none;
    std::size_t count_ = 0;
    std::string_view bytes_;
    DiskPlace place_;
    bool isOnDisk_ = false;
    std::vector<unsigned char> room_;
    std::string utf8_;
    std::vector<std::string_view> texts_;
};

}  // namespace services

#endif
