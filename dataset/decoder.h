// The block decoder: turns a stream of encoded data elements into a data set.
//
// It is lenient where real files need it, keeps what it has read when it must stop, and works in time linear
// in the bytes: nesting is held in a stack of its own, and what failed sequences cost is bounded.
#ifndef ORVKIT_DATASET_DECODER_H
#define ORVKIT_DATASET_DECODER_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_set>
#include <vector>

#include "encoding/header.h"
#include "orvkit/elemlist.h"
#include "orvkit/sequence.h"

namespace orvkit {

class BlockDecoder {
  public:
    BlockDecoder(std::span<const unsigned char> stream, DICT_UID xferSyn);

    int run(DcElemList& list);
    std::size_t position() const { return pos_; }

  private:
    // Elements being read into a data set: the stream's own, or those of an item.
    struct Content {
        DcElemList* list;
        std::size_t end;       // the bytes reach no further
        unsigned int lastTag;  // 0xFFFFFFFF before the first
        Mode mode;
        bool undefined;  // an item that ends with its delimitation
    };
    // A sequence whose items are being read, and the content it stands in.
    struct Level {
        DcElemSq* sq;
        std::size_t valueAt;
        std::size_t end;
        Mode mode;
        bool undefined;
        int item;  // number of the item being read, from 1
        Content outer;
    };
    struct Found : Header {
        std::size_t at = 0;
    };
    enum class Step { next, contentEnds, failed };

    std::size_t left() const { return content_.end - pos_; }
    std::span<const unsigned char> ahead() const { return bytes_.subspan(pos_, left()); }

    Step stepContent();
    Step stepSequence();
    Step readHead(Found& h);
    Step readValue(const Found& h);
    Step openSequence(const Found& h);
    void closeSequence();
    bool recover();
    Step takeValue(const Found& h, std::size_t valueLength, std::size_t advance);
    void parseInto(DcElem* e, const Found& h, std::size_t length);
    std::size_t measureUndefined(const Found& h);
    void tellFault(int result, unsigned int tag, std::size_t at, const char* text = nullptr);

    std::span<const unsigned char> bytes_;
    DICT_UID xferSyn_;
    Mode streamMode_;
    bool registered_;  // the dictionary knows the syntax
    Content content_{};
    std::vector<Level> levels_;
    bool inItems_ = false;  // between the items of the innermost sequence
    std::size_t pos_ = 0;
    int result_ = 0;
    bool fatal_ = false;  // an error that no sequence swallows

    // Sequences that failed once, by where they begin and how far they might reach: they are not tried again
    // when the bytes around them are read anew.
    struct Tried {
        std::size_t at;
        std::size_t end;
        bool operator==(const Tried&) const = default;
    };
    struct TriedHash {
        std::size_t operator()(const Tried& t) const noexcept {
            return static_cast<std::size_t>(t.at * 0x9E3779B97F4A7C15ull ^ t.end);
        }
    };
    std::unordered_set<Tried, TriedHash> failed_;
    unsigned long long wasted_ = 0;  // bytes read in vain
    unsigned long long mayWaste_;
};

// Tells a fault that was found outside of the decoder to the callback of the calling thread.
void tellElemFault(const DcElemFault& fault);

}  // namespace orvkit

#endif
