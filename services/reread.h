// Whether this program can read again what it stores.
#ifndef ORVKIT_SERVICES_REREAD_H
#define ORVKIT_SERVICES_REREAD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "encoding/walk.h"

namespace services {

// Keeps what passes of a data set, but for Pixel Data and other large values of no structure, for the decoder
// to read at the end.
class Reread {
  public:
    explicit Reread(orvkit::Mode mode) : mode_(mode) {}

    // The next bytes, of one header or one value.
    void add(std::span<const unsigned char> bytes);
    // Those that were added last completed the header of an element outside of all sequences.
    void valueBegins(const orvkit::WalkHeader& header);
    // Behind the value of one.
    void valueEnds() { leavesOut_ = leavesOut_ && searches_; }
    // The value that passes, if it is not kept, ends behind the next Sequence Delimitation, as in decoding.
    void searchEnd() { searches_ = leavesOut_; }
    // What follows the mark may be cut off.
    void mark() { mark_ = kept_.size(); }
    void cutToMark() {
        if (!tooMuch()) kept_.resize(mark_);
    }

    // What the decoder says of it, "" when it reads all; `strictly`: also when it finds an end that is
    // missing.
    std::string fault(bool strictly);

  private:
    bool tooMuch() const;
    std::size_t passOver(std::span<const unsigned char> bytes);

    orvkit::Mode mode_;
    bool leavesOut_ = false;
    bool searches_ = false;
    std::uint64_t last8_ = 0;  // of what is left out
    std::size_t mark_ = 0;
    std::vector<unsigned char> kept_;
};

}  // namespace services

#endif
