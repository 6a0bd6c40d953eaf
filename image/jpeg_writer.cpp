#include "image/jpeg_writer.h"

#include <algorithm>

namespace orvkit::image::jpeg {

namespace {

using Lengths = std::vector<unsigned int>;

// Huffman's: the two rarest become one until one is left. What stands for the code of ones alone, which no
// table may have, is the rarest of all.
Lengths huffmanLengths(const Counts& counts) {
    const std::size_t none = counts.size() + 1;
    Counts weight = counts;
    weight.push_back(1);
    std::vector<std::size_t> tree(none);  // to which a symbol belongs
    Lengths lengths(none);
    for (std::size_t i = 0; i < none; ++i) tree[i] = i;
    const auto rarest = [&](std::size_t but) {
        std::size_t found = none;
        for (std::size_t i = none; i-- > 0;) {
            if (weight[i] != 0 && i != but && (found == none || weight[i] < weight[found])) found = i;
        }
        return found;
    };
    for (;;) {
        const std::size_t one = rarest(none);
        const std::size_t two = rarest(one);
        if (two == none) return lengths;
        weight[one] += weight[two];
        weight[two] = 0;
        for (std::size_t i = 0; i < none; ++i) {
            if (tree[i] != one && tree[i] != two) continue;
            tree[i] = one;
            ++lengths[i];
        }
    }
}

}  // namespace

Coding codingOf(Counts counts) {
    Lengths lengths = huffmanLengths(counts);
    while (*std::max_element(lengths.begin(), lengths.end()) > 16) {
        for (std::uint64_t& count : counts) count = (count + 1) / 2;
        lengths = huffmanLengths(counts);
    }
    Coding coding;
    unsigned int code = 0;
    for (unsigned int length = 1; length <= 16; ++length, code <<= 1) {
        for (std::size_t symbol = 0; symbol < counts.size(); ++symbol) {
            if (lengths[symbol] != length) continue;
            coding.codes[symbol] = {code++, length};
            ++coding.table.counts[length - 1];
            coding.table.symbols[coding.table.size++] = static_cast<unsigned char>(symbol);
        }
    }
    return coding;
}

void SegmentWriter::huffmanTable(unsigned int place, const HuffmanTable& table) {
    marker(huffmanTables);
    word(19 + table.size);
    bytes({place});
    for (const unsigned char count : table.counts) bytes({count});
    for (unsigned int i = 0; i < table.size; ++i) bytes({table.symbols[i]});
}

}  // namespace orvkit::image::jpeg
