// Files of peers and users, keys of tokens, and tokens: the first byte picks which. What is read says the
// same again.
#include <openssl/hmac.h>

#include <algorithm>
#include <string>

#include "fuzz/target.h"
#include "orvkit/tls.h"
#include "services/jwt.h"
#include "services/known_peers.h"
#include "services/users.h"
#include "tests/support/base64_url.h"

namespace {

using fuzz::require;

// Whatever is in the line of a fault, it is one of the text.
void checkFault(const std::string& text, const std::string& fault) {
    require(fault.starts_with("f:"));
    const auto line = static_cast<std::size_t>(std::stoul(fault.substr(2)));
    require(line >= 1 && line <= static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
}

void readPeers(const std::string& text) {
    std::string fault;
    const auto peers = services::KnownPeers::parse(text, "f", fault);
    if (peers == nullptr) return checkFault(text, fault);
    std::string lines;
    for (const services::KnownPeer& peer : peers->all()) lines += peer.line() + "\n";
    // A quote inside a word cannot be said again.
    if (text.find('"') != std::string::npos) return;
    const auto again = services::KnownPeers::parse(lines, "f", fault);
    require(again != nullptr && again->all().size() == peers->all().size());
    for (std::size_t i = 0; i < again->all().size(); ++i)
        require(again->all()[i].line() == peers->all()[i].line());
    for (const services::KnownPeer& peer : peers->all()) {
        std::string why;
        (void)peers->admit({peer.aet, "10.1.2.3", nullptr}, why);
    }
}

void readUsers(const std::string& text) {
    std::string fault;
    const auto users = services::Users::parse(text, "f", fault);
    if (users == nullptr) return checkFault(text, fault);
    require(!users->knows("", std::nullopt));
}

// As a token that comes, and as the claims of one that is signed by the key.
void readToken(const std::string& text) {
    static const services::TokenRules rules{std::string(40, 'k'), "SITE"};
    std::string subject;
    require(!services::checkToken(text, rules, 1'800'000'000, subject).empty() && subject.empty());
    const std::string signedText = base64Url(R"({"alg":"HS256"})") + "." + base64Url(text);
    unsigned char code[32];
    (void)HMAC(EVP_sha256(), rules.keys.data(), static_cast<int>(rules.keys.size()),
               reinterpret_cast<const unsigned char*>(signedText.data()), signedText.size(), code, nullptr);
    const std::string token =
        signedText + "." + base64Url({reinterpret_cast<const char*>(code), sizeof code});
    const std::string fault = services::checkToken(token, rules, 1'800'000'000, subject);
    require(fault.empty() == !subject.empty());
}

void readKeys(const std::string& text) {
    char names[64] = "";
    const auto length = static_cast<unsigned int>(text.size());
    if (tlsDescribeKeys(text.data(), length, names, sizeof names) != 0) return;
    require(names[0] != '\0');
    for (const char* const algorithm : {"RS256", "PS256", "ES256", "EdDSA", "none"})
        require(tlsCheckSignature(algorithm, text.data(), length, "a", 1, text.data(), length) != 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    const std::string text(bytes.begin(), bytes.end());
    constexpr void (*readers[])(const std::string&) = {readPeers, readUsers, readToken, readKeys};
    readers[data[0] % 4](text);
    return 0;
}
