#include "image/jpeg_huffman.h"

namespace orvkit::image::jpeg {

HuffmanDecoder::HuffmanDecoder(const HuffmanTable& table, Symbols symbols) : symbols_(table.symbols) {
    unsigned int code = 0;
    unsigned int place = 0;
    for (unsigned int length = 1; length <= 16; ++length) {
        offset_[length] = place - code;
        code += table.counts[length - 1];
        place += table.counts[length - 1];
        limit_[length] = code << (16 - length);
        code <<= 1;
    }
    fillEntries(table, symbols);
}

void HuffmanDecoder::fillEntries(const HuffmanTable& table, Symbols symbols) {
    unsigned int at = 0;
    unsigned int place = 0;
    for (unsigned int length = 1; length <= kLook; ++length) {
        for (unsigned int i = 0; i < table.counts[length - 1]; ++i) {
            const unsigned int symbol = table.symbols[place++];
            const unsigned int size = symbols == Symbols::runs ? symbol & 15 : symbol;
            const unsigned int behind = kLook - length;
            for (unsigned int bits = 0; size <= behind && bits < 1u << behind; ++bits) {
                const int value = size == 0 ? 0 : extended(bits >> (behind - size), size);
                entries_[at + bits] = {static_cast<std::int16_t>(value),
                                       static_cast<std::uint8_t>(length + size),
                                       static_cast<std::uint8_t>(symbol)};
            }
            at += 1u << behind;
        }
    }
}

}  // namespace orvkit::image::jpeg
