#include "image/jpeg_huffman.h"

namespace orvkit::image::jpeg {

HuffmanDecoder::HuffmanDecoder(const HuffmanTable& table) : symbols_(table.symbols) {
    unsigned int code = 0;
    unsigned int place = 0;
    for (unsigned int length = 1; length <= 16; ++length) {
        offset_[length] = place - code;
        code += table.counts[length - 1];
        place += table.counts[length - 1];
        limit_[length] = code << (16 - length);
        code <<= 1;
    }
    fillEntries(table);
}

// Symbols are read as the number of bits that a value has behind its code: those of the lossless process, and
// of DC coefficients.
void HuffmanDecoder::fillEntries(const HuffmanTable& table) {
    unsigned int at = 0;
    unsigned int place = 0;
    for (unsigned int length = 1; length <= kLook; ++length) {
        for (unsigned int i = 0; i < table.counts[length - 1]; ++i) {
            const unsigned int symbol = table.symbols[place++];
            const unsigned int behind = kLook - length;
            if (symbol <= behind) {
                for (unsigned int bits = 0; bits < 1u << behind; ++bits) {
                    const int value = symbol == 0 ? 0 : extended(bits >> (behind - symbol), symbol);
                    entries_[at + bits] = {static_cast<std::int16_t>(value),
                                           static_cast<std::uint8_t>(length + symbol),
                                           static_cast<std::uint8_t>(symbol)};
                }
            }
            at += 1u << behind;
        }
    }
}

}  // namespace orvkit::image::jpeg
