// Runs a fuzz target without a fuzzer: every seed, and deterministic mutations of the seeds. It passes when
// nothing crashes, which says most under the sanitizers.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "fuzz/seeds.h"
#include "fuzz/target.h"

namespace {

// A few bytes that decide much in a DICOM stream.
constexpr std::uint8_t tokens[][8] = {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                                      {0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF},
                                      {0xFE, 0xFF, 0x0D, 0xE0, 0, 0, 0, 0},
                                      {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0},
                                      {0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0, 0},
                                      {0, 0, 0, 0, 0, 0, 0, 0}};

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed * 2 + 1) {}
    std::size_t below(std::size_t limit) {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<std::size_t>(state_ >> 33) % limit;
    }

  private:
    std::uint64_t state_;
};

void mutate(fuzz::Bytes& bytes, Random& random) {
    for (std::size_t count = 1 + random.below(4); count > 0 && !bytes.empty(); --count) {
        const std::size_t at = random.below(bytes.size());
        switch (random.below(5)) {
            case 0:
                bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ (1u << random.below(8)));
                break;
            case 1:
                bytes[at] = static_cast<std::uint8_t>(random.below(256));
                break;
            case 2:
                bytes.resize(at);
                break;
            case 3: {
                const auto& token = tokens[random.below(std::size(tokens))];
                std::memcpy(&bytes[at], token, std::min(sizeof token, bytes.size() - at));
                break;
            }
            default: {  // a piece of itself once more
                const fuzz::Bytes piece(
                    bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    bytes.begin() + static_cast<std::ptrdiff_t>(
                                        at + random.below(std::min<std::size_t>(bytes.size() - at, 64)) + 1));
                bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(random.below(bytes.size())),
                             piece.begin(), piece.end());
            }
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
    (void)argc, (void)argv;
#else
    if (LLVMFuzzerInitialize != nullptr) (void)LLVMFuzzerInitialize(&argc, &argv);
#endif
    constexpr std::size_t mutations = 3000;
    fuzz::switchLogOff();
    const char* chosen = std::getenv("ORVKIT_SAMPLES");
    const std::vector<fuzz::Bytes> seeds = fuzz::seeds(chosen != nullptr ? chosen : ORVKIT_DEFAULT_SAMPLES);
    for (const fuzz::Bytes& seed : seeds) LLVMFuzzerTestOneInput(seed.data(), seed.size());
    Random random(20240115);
    for (std::size_t i = 0; i < mutations; ++i) {
        fuzz::Bytes bytes = seeds[random.below(seeds.size())];
        mutate(bytes, random);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu seeds and %zu mutations read\n", seeds.size(), mutations);
    return 0;
}
