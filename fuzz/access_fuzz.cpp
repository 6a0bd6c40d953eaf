// What the command is given by users and peers: files of peers and users, keys of tokens, and tokens;
// worklists in JSON, and requests and reports of commitment. The first byte picks which. What is read says
// the same again.
#include <openssl/hmac.h>

#include <algorithm>

#include "fuzz/target.h"
#include "orvkit/tls.h"
#include "services/commitment.h"
#include "services/jwt.h"
#include "services/known_peers.h"
#include "services/users.h"
#include "services/worklist.h"
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

// What is an attribute goes into a data set, and through an item of a sequence, as it is.
void readWorklist(const std::string& text) {
    std::vector<orvkit::index::Bytes> datasets;
    std::string fault;
    if (!services::attributesOfJson(text, datasets, fault)) return require(!fault.empty());
    for (const orvkit::index::Bytes& each : datasets) {
        DcElemList list;
        orvkit::index::giveAttributes(each, "ISO_IR 192", list);
        orvkit::index::Bytes again;
        orvkit::index::appendItem(again, each);
        orvkit::index::ItemReader items(again);
        std::string_view item;
        require(items.next(item) && item == each && !items.next(item));
    }
}

void readCommitment(const std::string& text) {
    for (const bool isReport : {false, true}) {
        std::string bytes = text;
        auto length = static_cast<unsigned int>(bytes.size());
        DcElemList dataset;
        (void)dataset.setValueExceptionLevel(0);
        if (dataset.parse(bytes.data(), length, UID_LITTLE_ENDIAN_IMPLICIT) != 0) return;
        services::ReceivedCommitment received;
        services::takeCommitment(dataset, isReport, received);
        require(received.fault.empty() == (received.status == services::kCommitted));
        if (!received.fault.empty()) continue;
        services::ReceivedCommitment again;
        services::takeCommitment(*services::reportOf(received.what, "A"), true, again);
        require(again.fault.empty() && again.what.items.size() == received.what.items.size());
        require(again.what.event() == received.what.event());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    const std::string text(bytes.begin(), bytes.end());
    constexpr void (*readers[])(const std::string&) = {readPeers, readUsers,    readToken,
                                                       readKeys,  readWorklist, readCommitment};
    for (std::size_t i = data[0] % 4; i < std::size(readers); i += 4) readers[i](text);
    return 0;
}
