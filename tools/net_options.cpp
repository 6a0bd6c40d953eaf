#include "tools/net_options.h"

#include <charconv>
#include <cstdlib>
#include <fstream>

#include "platform/process.h"
#include "services/paths.h"
#include "services/report.h"

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
    } else if (!words.empty()) {
        portText = words.front();
        words.erase(words.begin());
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
    std::ifstream file(pathOf(peer.passwordFile), std::ios::binary);
    std::string line;
    if (!std::getline(file, line)) {
        complain("%s: no password can be read from it", peer.passwordFile.c_str());
        return false;
    }
    if (line.ends_with('\r')) line.pop_back();
    peer.password = line;
    return true;
}

void addIdentityOptions(Command& command, PeerOptions& options) {
    command.text("--user", options.user, "The user to tell the peer")
        .check([](const std::string& name) { return name.empty() ? "a user has a name" : ""; })
        .value("NAME");
    command
        .text(
            "--password-file", options.passwordFile,
            "The user's password is the first line of FILE; without it, what ORVKIT_PASSWORD holds, if that "
            "is set. The peer receives it as it is")
        .existingFile()
        .value("FILE");
    command.flag("--confirm-user", options.confirmUser,
                 "Go on only when the peer confirms that it has accepted the user");
}

std::string aeTitleFault(const std::string& text) {
    return isAeTitle(text) ? std::string() : "an AE title has 1 to 16 printable characters, and no backslash";
}

}  // namespace

Option& addEntityOptions(Command& command, EntityOptions& options) {
    Option& aet = command.text("--aet", options.aet, "This side's AE title").check(aeTitleFault).value("AET");
    command.number("--timeout", options.timeout, "The longest wait for the peer, in seconds")
        .range(1, 86400)
        .value("SECONDS");
    command.number("--max-pdu", options.maxPdu, "The largest PDU to accept, in bytes (524288)")
        .range(4096, 16777216)
        .value("BYTES")
        .hideDefault();
    return aet;
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
        .value("");
    command.text("--aec", options.aec, "The peer's AE title, where PEER has none")
        .check(aeTitleFault)
        .value("AET");
    command.number("--connect-timeout", options.connectTimeout, "The longest wait for a connection")
        .range(1, 86400)
        .value("SECONDS");
    addIdentityOptions(command, options);
    return words;
}

int runAsUser(PeerOptions& options, Words& words, bool wantsMore, const std::function<int()>& work) {
    orvkit::platform::ignoreBrokenPipe();
    muteLog();
    if (!takePeer(words, options, wantsMore)) return EXIT_USAGE;
    if (options.user.empty() && (options.confirmUser || !options.passwordFile.empty())) {
        complain("%s needs --user", options.confirmUser ? "--confirm-user" : "--password-file");
        return EXIT_USAGE;
    }
    return options.user.empty() || takePassword(options) ? work() : EXIT_FAILED;
}

void addQueryOptions(Command& command, QueryOptions& options) {
    command
        .texts("-k,--key", options.keys,
               "A key: PatientName=DOE*, 00100010=DOE* or, to see its value, StudyDate. May be given "
               "several times")
        .value("TAG=VALUE");
    command.text("--root", options.root, "The information model, patient or study root")
        .oneOf({"patient", "study"})
        .value("ROOT");
    command
        .text("--level", options.level,
              "patient, study, series or image; unless given, that of the lowest UID among the keys, "
              "or study")
        .oneOf({"patient", "study", "series", "image"})
        .inAnyCase()
        .value("LEVEL");
    command.flag("--json", options.json, "Print JSON");
    command
        .number("--max-time", options.maxTime,
                "Cancel the request when it is not done after so many seconds; 0 for no bound. Unless given, "
                "when "
                "nothing has come of it for three times --timeout")
        .range(0, 31536000)
        .value("SECONDS")
        .hideDefault();
}

}  // namespace tools
