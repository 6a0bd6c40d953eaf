// The peers that a server lets in, from a file that people write (word_file.h):
//
//     # One line a peer: its AE title, and what is asked of it and allowed to it, in any order.
//     SCANNER      from 10.0.0.0/24,fd00::/8  certificate scanner.example  may echo,store  associations 2
//     "CT ROOM 2"  from 10.0.0.17             fingerprint 12:34:...        object-size 2G
//     VIEWER       at viewer.example:104      may echo,find,retrieve
//     BENCH        may echo
//
//     from          addresses and networks that it may come from; without it: any
//     certificate   a name that its certificate must be for (its common name, or one of its hosts), over TLS
//     fingerprint   the SHA-256 of its certificate, over TLS
//     at            HOST:PORT where it listens itself: for what is moved to it, and reports of commitment
//     may           echo, store, find, retrieve; without it: all of them
//     associations, objects, bytes, object-size, idle: its own limits (bounds.h)
#ifndef ORVKIT_SERVICES_KNOWN_PEERS_H
#define ORVKIT_SERVICES_KNOWN_PEERS_H

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orvkit/security.h"
#include "services/bounds.h"

namespace services {

enum class Right : unsigned char { echo = 1, store = 2, find = 4, retrieve = 8 };
// As the file says it.
std::string wordOf(Right right);

// An address, or all that begin with the same bits; of IPv4 as IPv6 has it (RFC 4291 2.5.5.2).
struct Network {
    std::array<unsigned char, 16> address{};
    unsigned int bits = 128;
    std::string text;
};

struct KnownPeer {
    std::string aet;
    std::vector<Network> networks;
    std::string certificate;
    std::string fingerprint;  // lower-case hexadecimal digits alone
    std::string host;         // where it listens itself,
    int port = 0;             // and 0 where nobody has said
    unsigned int rights = 15;
    Limits limits;  // its own

    bool may(Right right) const { return (rights & static_cast<unsigned int>(right)) != 0; }
    // In the words of the file.
    std::string line() const;
};

// Who has come.
struct Caller {
    std::string aet;
    std::string address;
    const DcSecurityInfo* security;  // null: in clear
};

class KnownPeers {
  public:
    // Null when a line is wrong: `fault` is then "FILE:LINE: reason".
    static std::shared_ptr<const KnownPeers> read(const std::string& file, std::string& fault);
    static std::shared_ptr<const KnownPeers> parse(std::string_view text, const std::string& name,
                                                   std::string& fault);

    // Null when the caller may not come in, for the reason in `why`.
    const KnownPeer* admit(const Caller& caller, std::string& why) const;
    const std::vector<KnownPeer>& all() const { return peers_; }
    // Null when nobody knows it.
    const KnownPeer* find(std::string_view aet) const;

  private:
    std::vector<KnownPeer> peers_;
};

}  // namespace services

#endif
