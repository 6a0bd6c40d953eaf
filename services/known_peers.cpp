#include "services/known_peers.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>

#include "platform/socket.h"
#include "services/peer.h"
#include "services/word_file.h"

namespace services {

namespace {

constexpr struct {
    std::string_view word;
    Right right;
} kRights[] = {
    {"echo", Right::echo}, {"store", Right::store}, {"find", Right::find}, {"retrieve", Right::retrieve}};

bool sameBits(const std::array<unsigned char, 16>& a, const std::array<unsigned char, 16>& b,
              unsigned int bits) {
    const std::size_t whole = bits / 8;
    if (!std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(whole), b.begin())) return false;
    return bits % 8 == 0 || (a[whole] ^ b[whole]) >> (8 - bits % 8) == 0;
}

// An address, or "10.0.0.0/24" whose bits behind the 24th are 0.
bool parseNetwork(std::string_view text, Network& network) {
    network.text = text;
    const bool whole = text.find('/') == std::string_view::npos;
    const std::string address(takeUntil(text, '/'));
    if (!orvkit::platform::parseAddress(address.c_str(), network.address)) return false;
    if (whole) return true;
    const unsigned int most = address.find(':') == std::string::npos ? 32 : 128;
    const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), network.bits);
    if (error != std::errc() || at != text.data() + text.size() || network.bits > most) return false;
    network.bits += 128 - most;
    std::array<unsigned char, 16> front = network.address;
    for (std::size_t bit = network.bits; bit < 128; ++bit) {
        front[bit / 8] = static_cast<unsigned char>(front[bit / 8] & ~(0x80u >> bit % 8));
    }
    return front == network.address;
}

// ---- what may stand behind a title: each takes its value, and answers "" or what is wrong with it

std::string takeFrom(KnownPeer& peer, std::string_view value) {
    while (!value.empty()) {
        const std::string_view part = takeUntil(value, ',');
        if (!parseNetwork(part, peer.networks.emplace_back())) {
            return "'" + std::string(part) + "' is no address, and no network such as 10.0.0.0/24";
        }
    }
    return "";
}

std::string takeCertificate(KnownPeer& peer, std::string_view value) {
    peer.certificate = value;
    return value.empty() ? "a certificate has a name" : "";
}

std::string takeFingerprint(KnownPeer& peer, std::string_view value) {
    for (const char c : value) {
        if (std::isxdigit(static_cast<unsigned char>(c)) != 0) {
            peer.fingerprint += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        } else if (c != ':') {
            return "a fingerprint has hexadecimal digits and colons";
        }
    }
    return peer.fingerprint.size() == 64 ? "" : "a fingerprint (SHA-256) has 64 hexadecimal digits";
}

// "archive.example:104", "[::1]:104"
std::string takeAt(KnownPeer& peer, std::string_view value) {
    const std::size_t colon = value.rfind(':');
    std::string_view host = value.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    const char* const end = value.data() + value.size();
    const auto parsed = colon == std::string_view::npos
                            ? std::from_chars_result{end, std::errc::invalid_argument}
                            : std::from_chars(value.data() + colon + 1, end, peer.port);
    peer.host = host;
    const bool whole = parsed.ec == std::errc() && parsed.ptr == end && peer.port > 0 && peer.port <= 65535;
    return whole && !host.empty() ? "" : "'" + std::string(value) + "' is not HOST:PORT";
}

std::string takeMay(KnownPeer& peer, std::string_view value) {
    peer.rights = 0;
    while (!value.empty()) {
        const std::string_view what = takeUntil(value, ',');
        const auto* const row =
            std::ranges::find_if(kRights, [&](const auto& known) { return known.word == what; });
        if (row == std::end(kRights))
            return "'" + std::string(what) + "' is not echo, store, find or retrieve";
        peer.rights |= static_cast<unsigned int>(row->right);
    }
    return "";
}

constexpr struct {
    std::string_view word;
    std::string (*take)(KnownPeer& peer, std::string_view value);
} kWords[] = {{"from", takeFrom},
              {"certificate", takeCertificate},
              {"fingerprint", takeFingerprint},
              {"at", takeAt},
              {"may", takeMay}};

std::string takeWord(KnownPeer& peer, const std::string& word, const std::string& value) {
    if (isPeerLimit(word)) return takeLimit(peer.limits, word, value);
    const auto* const row =
        std::ranges::find_if(kWords, [&](const auto& known) { return known.word == word; });
    return row == std::end(kWords) ? "'" + word + "' is nothing that a peer has" : row->take(peer, value);
}

std::string parsePeer(const std::vector<std::string>& words, KnownPeer& peer) {
    peer.aet = words.front();
    if (!isAeTitle(peer.aet)) return "'" + peer.aet + "' is not an AE title";
    for (std::size_t i = 1; i < words.size(); i += 2) {
        for (std::size_t before = 1; before < i; before += 2) {
            if (words[before] == words[i]) return "'" + words[i] + "' stands there twice";
        }
        if (i + 1 == words.size()) return "'" + words[i] + "' needs a value";
        if (std::string fault = takeWord(peer, words[i], words[i + 1]); !fault.empty()) return fault;
    }
    return "";
}

bool comesFrom(const KnownPeer& peer, const std::string& address) {
    std::array<unsigned char, 16> bytes{};
    if (peer.networks.empty()) return true;
    return orvkit::platform::parseAddress(address.c_str(), bytes) &&
           std::ranges::any_of(peer.networks, [&](const Network& network) {
               return sameBits(bytes, network.address, network.bits);
           });
}

// Whether the name is the common name, or one of the hosts.
bool isFor(const DcSecurityInfo& security, const std::string& name) {
    std::string_view hosts = security.names;
    while (!hosts.empty()) {
        if (takeUntil(hosts, ' ') == name) return true;
    }
    // Parts of a subject end at commas without a backslash in front (RFC 2253): what is in a value begins
    // none.
    const std::string wanted = "CN=" + name;
    std::string part;
    for (const char* at = security.subject;; ++at) {
        if (*at == '\0' || *at == ',') {
            if (part == wanted) return true;
            if (*at == '\0') break;
            part.clear();
            continue;
        }
        part += *at;
        if (*at == '\\' && at[1] != '\0') part += *++at;
    }
    return false;
}

}  // namespace

std::string wordOf(Right right) {
    return std::string(std::ranges::find(kRights, right, [](const auto& row) { return row.right; })->word);
}

std::string KnownPeer::line() const {
    std::string text = wordText(aet);
    for (std::size_t i = 0; i < networks.size(); ++i) text += (i == 0 ? "  from " : ",") + networks[i].text;
    if (!certificate.empty()) text += "  certificate " + wordText(certificate);
    if (!fingerprint.empty()) text += "  fingerprint " + fingerprint;
    if (port != 0) {
        const bool colons = host.find(':') != std::string::npos;
        text += "  at " + (colons ? "[" + host + "]" : host) + ":" + std::to_string(port);
    }
    std::string what;
    for (const auto& row : kRights) {
        if (may(row.right)) what += (what.empty() ? "" : ",") + std::string(row.word);
    }
    text += "  may " + wordText(what);
    const std::vector<std::string> words = limits.words();
    for (std::size_t i = 0; i < words.size(); ++i) text += (i % 2 == 0 ? "  " : " ") + words[i];
    return text;
}

std::shared_ptr<const KnownPeers> KnownPeers::read(const std::string& file, std::string& fault) {
    std::string text;
    return readText(file, text, fault) ? parse(text, file, fault) : nullptr;
}

std::shared_ptr<const KnownPeers> KnownPeers::parse(std::string_view text, const std::string& name,
                                                    std::string& fault) {
    const auto peers = std::make_shared<KnownPeers>();
    const auto take = [&](const std::vector<std::string>& words) -> std::string {
        KnownPeer peer;
        std::string wrong = parsePeer(words, peer);
        if (wrong.empty() && peers->find(peer.aet) != nullptr) wrong = "'" + peer.aet + "' was there before";
        peers->peers_.push_back(std::move(peer));
        return wrong;
    };
    return eachLine(text, name, take, fault) ? peers : nullptr;
}

const KnownPeer* KnownPeers::find(std::string_view aet) const {
    const auto peer = std::ranges::find(peers_, aet, &KnownPeer::aet);
    return peer != peers_.end() ? &*peer : nullptr;
}

const KnownPeer* KnownPeers::admit(const Caller& caller, std::string& why) const {
    const KnownPeer* const peer = find(caller.aet);
    const auto shown = [&](auto matches) {
        return caller.security != nullptr && caller.security->verified != 0 && matches(*caller.security);
    };
    if (peer == nullptr) {
        why = "nobody knows this peer";
    } else if (!comesFrom(*peer, caller.address)) {
        why = "it may not come from " + caller.address;
    } else if (!peer->certificate.empty() &&
               !shown([&](const auto& s) { return isFor(s, peer->certificate); })) {
        why = "it has not shown a certificate for " + peer->certificate;
    } else if (!peer->fingerprint.empty() &&
               !shown([&](const auto& s) { return s.fingerprint == peer->fingerprint; })) {
        why = "it has not shown the certificate of its fingerprint";
    } else {
        return peer;
    }
    return nullptr;
}

}  // namespace services
