// What a peer may take of a server.
#ifndef ORVKIT_SERVICES_BOUNDS_H
#define ORVKIT_SERVICES_BOUNDS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace services {

// 0: no bound.
struct Limits {
    std::uint64_t connections = 0;   // at once, from one address
    std::uint64_t failures = 0;      // attempts to come in that failed, from one address, in a minute
    std::uint64_t associations = 0;  // at once, by one AE title
    std::uint64_t objects = 0;       // that one association brings
    std::uint64_t bytes = 0;         // of these
    std::uint64_t objectSize = 0;    // bytes of one
    std::uint64_t idle = 0;          // seconds that an association may be silent

    // Those of one peer, where it has its own.
    Limits with(const Limits& own) const;
    // "associations 2 bytes 10G": words of the files, and of --limit.
    std::vector<std::string> words() const;
};

// Whether a peer may have its own of that name: of an address it is not known yet.
bool isPeerLimit(std::string_view name);
// What is wrong with the value or the name, or "".
std::string takeLimit(Limits& limits, std::string_view name, std::string_view value);
// "500", "20M", "4G": bytes.
bool parseBytes(std::string_view text, std::uint64_t& bytes);

}  // namespace services

#endif
