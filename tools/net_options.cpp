#include "tools/net_options.h"

#include <charconv>
#include <cstdlib>

#include "platform/process.h"
#include "services/report.h"
#include "services/security_show.h"
#include "services/word_file.h"

namespace tools {
namespace {

bool portFrom(const std::string& text, int& port) {
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && at == end && port >= 1 && port <= 65535;
}

// Takes the peer from the front of the words: AET@host:port, host:port, or host and port. False, with a
// complaint, when they are none of these, or when not as many words are left as are wanted: none, or at least
// one.
bool takePeer(Words& words, PeerOptions& peer, bool wantsMore) {
    std::string first = words.front();
    words.erase(words.begin());
    if (const std::size_t at = first.rfind('@'); at != std::string::npos) {
        peer.aec = first.substr(0, at);
        first.erase(0, at + 1);
        if (!isAeTitle(peer.aec)) return complain("'%s' is not an AE title", peer.aec.c_str());
    }
    std::string portText;
    // An IPv6 address stands in brackets where its port follows it.
    const std::size_t colon = first.rfind(':');
    if (colon != std::string::npos && (first.find(':') == colon || first[colon - 1] == ']')) {
        portText = first.substr(colon + 1);
        first.erase(colon);
    } else if (!words.empty() && (!peer.tls.on || portFrom(words.front(), peer.port))) {
        portText = words.front();
        words.erase(words.begin());
    } else if (peer.tls.on) {
        portText = std::to_string(TLS_PORT);
    }
    if (first.size() > 2 && first.front() == '[' && first.back() == ']') {
        first = first.substr(1, first.size() - 2);
    }
    peer.host = first;
    if (peer.host.empty() || !portFrom(portText, peer.port))
        return complain("'%s' is not a peer: AET@host:port or host port", (first + ":" + portText).c_str());
    if (words.empty() != wantsMore) return true;
    return complain(wantsMore ? "something must follow the peer" : "'%s' is too much",
                    wantsMore ? "" : words.front().c_str());
}

// The password of the user: the first line of the file, or else what the environment has. False, with a
// complaint, when there is none in the file.
bool takePassword(PeerOptions& peer) {
    if (peer.passwordFile.empty()) {
        if (const char* const secret = std::getenv("ORVKIT_PASSWORD")) peer.password = secret;
        return true;
    }
    peer.password = firstLine(peer.passwordFile);
    return peer.password || complain("%s: no password can be read from it", peer.passwordFile.c_str());
}

bool takeIdentity(PeerOptions& peer) {
    if (!peer.user.empty()) return takePassword(peer);
    std::string fault;
    if (peer.identityFile.empty()) return true;
    if (!readText(peer.identityFile, peer.identity, fault)) return complain("%s", fault.c_str());
    // A token is one line; tickets and assertions are what they are.
    if (peer.identityType == PDU_IDENTITY_JWT)
        peer.identity.erase(peer.identity.find_last_not_of(" \r\n") + 1);
    return !peer.identity.empty() || complain("%s: there is nothing in it", peer.identityFile.c_str());
}

// What is wrong with the options, or "".
std::string identityFault(const PeerOptions& peer) {
    if (!peer.user.empty() && !peer.identityFile.empty())
        return "one identity is enough: --user, --jwt, --saml or --kerberos";
    if (peer.user.empty() && !peer.passwordFile.empty()) return "--password-file needs --user";
    return peer.confirmUser && !peer.hasIdentity()
               ? "--confirm-user needs --user, --jwt, --saml or --kerberos"
               : "";
}

// Whoever is on the way could use it as well.
bool isExposedOnTheWay(const PeerOptions& peer) {
    return !peer.tls.on && !peer.insecure && (peer.password || !peer.identity.empty());
}

void addIdentityOptions(Command& command, PeerOptions& options) {
    command.text("--user NAME", options.user, "The user to tell the peer").check([](const std::string& name) {
        return name.empty() ? "a user has a name" : "";
    });
    command
        .text("--password-file FILE", options.passwordFile,
              "The user's password is the first line of FILE; without it, what ORVKIT_PASSWORD holds, if "
              "that is set. The peer receives it as it is")
        .existingFile();
    const auto file = [&](const char* name, int type, const char* help) {
        command.text(name, options.identityFile, help)
            .existingFile()
            .check([&options, type](const std::string&) {
                const bool second = options.identityType != 0 && options.identityType != type;
                options.identityType = type;
                return second ? "one identity is enough" : "";
            });
    };
    file("--jwt FILE", PDU_IDENTITY_JWT, "Tell the peer the user by the JSON Web Token in FILE");
    file("--saml FILE", PDU_IDENTITY_SAML, "The same by a SAML assertion");
    file("--kerberos FILE", PDU_IDENTITY_KERBEROS, "The same by a Kerberos service ticket");
    command.flag(
        "--insecure", options.insecure,
        "Send a password, token, assertion or ticket without --tls, for everybody on the way to read");
    command.flag("--confirm-user", options.confirmUser,
                 "Go on only when the peer confirms that it has accepted the user");
}

// Those of users and providers alike.
void addTlsOptions(Command& command, TlsOptions& options) {
    command.flag("--tls", options.on, "Speak TLS, 1.2 or 1.3");
    command.text("--tls-cert FILE", options.certificate,
                 "This side's certificate, with those of its issuers (PEM)");
    command.text("--tls-key FILE", options.key,
                 "Its private key (PEM), which others must not be able to read");
    command
        .text("--tls-password-file FILE", options.passwordFile,
              "The password of an encrypted key is the first line of FILE")
        .existingFile();
    command.texts("--tls-ca FILE", options.authorities,
                  "Certificates of authorities that are trusted, or of peers themselves (PEM). May be given "
                  "several times");
    command.texts("--tls-crl FILE", options.revocations,
                  "Revocation lists (PEM): then each issuer must have one. May be given several times");
    command.texts("--tls-pin HEX", options.pins,
                  "The SHA-256 fingerprint of the peer's certificate, instead of its name; without --tls-ca "
                  "that is enough. May be given several times");
    command.named("--tls-profile PROFILE", options.profile,
                  {kTlsProfiles[0], kTlsProfiles[1], kTlsProfiles[2], kTlsProfiles[3], kTlsProfiles[4]},
                  "The profile of PS3.15: BCP 195 RFC 8996 or its modified form; for older peers bcp195, "
                  "non-downgrading or extended");
}

// What the options lack, or "".
std::string tlsFault(const TlsOptions& tls) {
    const bool any = !tls.certificate.empty() || !tls.key.empty() || !tls.authorities.empty() ||
                     !tls.revocations.empty() || !tls.pins.empty() || !tls.passwordFile.empty() ||
                     tls.noVerify || !tls.peerName.empty() || tls.check != TLS_CHECK_REQUIRE;
    if (!tls.on) return any ? "options of TLS need --tls" : "";
    if (!hasTls()) return "TLS is left out of this orvkit: it was built without OpenSSL";
    if (tls.certificate.empty() != tls.key.empty()) return "--tls-cert and --tls-key need each other";
    return "";
}

std::string aeTitleFault(const std::string& text) {
    return isAeTitle(text) ? std::string() : "an AE title has 1 to 16 printable characters, and no backslash";
}

}  // namespace

Option& addEntityOptions(Command& command, EntityOptions& options) {
    Option& aet = command.text("--aet AET", options.aet, "This side's AE title").check(aeTitleFault);
    command.number("--timeout SECONDS", options.timeout, "The longest wait for the peer, in seconds")
        .range(1, 86400);
    command.number("--max-pdu BYTES", options.maxPdu, "The largest PDU to accept, in bytes (524288)")
        .range(4096, 16777216)
        .hideDefault();
    return aet;
}

void addUserTlsOptions(Command& command, TlsOptions& options) {
    addTlsOptions(command, options);
    command.text("--tls-name NAME", options.peerName,
                 "The name that the peer's certificate must have, unless that is the host");
    command.flag("--tls-no-verify", options.noVerify,
                 "Take any certificate: whoever is on the way may read and change everything");
}

void addProviderTlsOptions(Command& command, TlsOptions& options) {
    addTlsOptions(command, options);
    command.named("--tls-client WHICH", options.check,
                  {{"require", TLS_CHECK_REQUIRE}, {"accept", TLS_CHECK_ACCEPT}, {"none", TLS_CHECK_NONE}},
                  "Certificates of users: all must have one, may have one, or are asked for none");
    command
        .flag("--tls-no-verify", options.noVerify, "Ask users for no certificate: anybody may be any of them")
        .excludes("--tls-client");
}

bool openSecurity(EntityOptions& options) {
    TlsOptions& tls = options.tls;
    if (const std::string fault = tlsFault(tls); !fault.empty()) return complain("%s", fault.c_str());
    if (!tls.on) return true;
    if (tls.noVerify) {
        complain("WARNING: --tls-no-verify: anybody may be the peer, and read and change what is sent");
        tls.check = TLS_CHECK_NONE;
    }
    options.security = std::make_shared<Security>();
    if (options.security->open(tls)) {
        if (!options.security->remark().empty()) complain("WARNING: %s", options.security->remark().c_str());
        return true;
    }
    const bool trustless = tls.check != TLS_CHECK_NONE && tls.authorities.empty() && tls.pins.empty();
    return complain("%s%s", options.security->fault().c_str(), trustless ? " (--tls-ca, --tls-pin)" : "");
}

std::shared_ptr<Words> addPeerOptions(Command& command, PeerOptions& options, const char* rest,
                                      const char* help) {
    auto words = std::make_shared<Words>();
    addEntityOptions(command, options);
    const std::string peer = "The peer, AET@host:port or host port";
    command
        .texts(*rest == '\0' ? "PEER" : std::string("PEER ") + rest, *words,
               *rest == '\0' ? peer : peer + "; then " + help)
        .required()
        .bare();
    command.text("--aec AET", options.aec, "The peer's AE title, where PEER has none").check(aeTitleFault);
    command.number("--connect-timeout SECONDS", options.connectTimeout, "The longest wait for a connection")
        .range(1, 86400);
    addIdentityOptions(command, options);
    addUserTlsOptions(command, options.tls);
    return words;
}

bool takeDestination(const std::string& word, PeerOptions& peer) {
    const std::size_t at = word.find('=');
    if (at == std::string::npos || !isAeTitle(word.substr(0, at)))
        return complain("'%s' is not a destination: AET=HOST:PORT", word.c_str());
    Words words{word.substr(at + 1)};
    peer.aec = word.substr(0, at);
    return takePeer(words, peer, false);
}

int runAsUser(PeerOptions& options, Words& words, bool wantsMore, const std::function<int()>& work) {
    orvkit::platform::ignoreBrokenPipe();
    muteLog();
    if (!takePeer(words, options, wantsMore) || !openSecurity(options)) return EXIT_USAGE;
    if (const std::string fault = identityFault(options); !fault.empty()) return misused("%s", fault.c_str());
    if (!takeIdentity(options)) return EXIT_FAILED;
    if (!isExposedOnTheWay(options)) return work();
    return misused("without --tls everybody on the way can read what tells who the user is (--insecure)");
}

void addRetrieveOptions(Command& command, QueryOptions& options) {
    addQueryOptions(command, options).oneOf({"patient", "study", "instance"});
}

Option& addQueryOptions(Command& command, QueryOptions& options) {
    command.texts(
        "-k,--key TAG=VALUE", options.keys,
        "A key: PatientName=DOE*, 00100010=DOE* or, to see its value, StudyDate. May be given several "
        "times");
    Option& root = command.text("--root ROOT", options.root, "The information model");
    command
        .text(
            "--level LEVEL", options.level,
            "patient, study, series or image; unless given, that of the lowest UID among the keys, or study")
        .oneOf({"patient", "study", "series", "image"})
        .inAnyCase();
    command.flag("--json", options.json, "Print JSON");
    command
        .number("--max-time SECONDS", options.maxTime,
                "Cancel the request when it is not done after so many seconds; 0 for no bound. Unless given, "
                "when nothing has come of it for three times --timeout")
        .range(0, 31536000)
        .hideDefault();
    return root;
}

}  // namespace tools
