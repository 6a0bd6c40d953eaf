// Answers "which element has this tag" for large data sets.
#ifndef ORVKIT_DATASET_ELEM_INDEX_H
#define ORVKIT_DATASET_ELEM_INDEX_H

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "orvkit/elem.h"

namespace orvkit {

// Tags and elements in ascending order, in leaves of a few cache lines; a look-up goes through the first tags
// of the leaves, and then through the tags of one. Without memory std::bad_alloc is thrown, and the index is
// of no use any more.
struct ElemIndex {
    // The first element whose tag is not below `tag`; null behind the last one.
    DcElem* atOrAfter(unsigned int tag) const noexcept;
    // No element has this tag. Elements that come in ascending order fill the leaves.
    void insert(unsigned int tag, DcElem* e);
    void erase(unsigned int tag) noexcept;

  private:
    struct Leaf {
        static constexpr std::size_t room = 256;
        std::size_t count = 0;
        std::array<unsigned int, room> tags;
        std::array<DcElem*, room> elems;

        std::size_t position(unsigned int tag) const noexcept;
        void insert(std::size_t at, unsigned int tag, DcElem* e) noexcept;
        void erase(std::size_t at) noexcept;
    };

    std::size_t leafOf(unsigned int tag) const noexcept;
    Leaf& addLeaf(std::size_t at, unsigned int first);

    std::vector<unsigned int> firsts_;  // of the leaves: what each began with
    std::vector<std::unique_ptr<Leaf>> leaves_;
};

}  // namespace orvkit

#endif
