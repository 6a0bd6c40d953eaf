// Inputs to start from: streams of every kind that the library reads, small and well formed.
#ifndef ORVKIT_FUZZ_SEEDS_H
#define ORVKIT_FUZZ_SEEDS_H

#include <cstdint>
#include <string>
#include <vector>

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

// Every input of a target is one byte, which picks what the target does (its low bits), and the bytes to
// read. The seeds are made here: data sets in each syntax, files, LZW streams, PDUs and value texts, each
// under several first bytes; and descriptions of pixels, which a target of codecs looks at. With a directory
// of sample files, also those of at most 16 kB and their data sets.
std::vector<Bytes> seeds(const std::string& sampleDirectory);

}  // namespace fuzz

#endif
