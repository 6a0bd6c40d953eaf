#include "tools/net_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "tools/options.h"

namespace tools {
namespace {

bool portFrom(const std::string& text, int& port) {
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && at == end && port >= 1 && port <= 65535;
}

std::string aeTitleFault(const std::string& text) {
    return isAeTitle(text) ? std::string() : "an AE title has 1 to 16 printable characters, and no backslash";
}

}  // namespace

bool isAeTitle(const std::string& text) {
    return !text.empty() && text.size() <= 16 && text.find_first_not_of(' ') != std::string::npos &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~' && c != '\\'; });
}

bool isUid(const std::string& text) {
    if (text.empty() || text.size() > 64 || text.front() == '.' || text.back() == '.') return false;
    return text.find("..") == std::string::npos &&
           std::all_of(text.begin(), text.end(), [](char c) { return c == '.' || (c >= '0' && c <= '9'); });
}

DcTsmTimeoutInfo EntityOptions::timeouts() const {
    DcTsmTimeoutInfo info;
    info.readTimeout = timeout;
    info.writeTimeout = timeout;
    return info;
}

DcTsmTimeoutInfo PeerOptions::timeouts() const {
    DcTsmTimeoutInfo info = EntityOptions::timeouts();
    info.connectTimeout = connectTimeout;
    return info;
}

void addEntityOptions(CLI::App& command, EntityOptions& options) {
    command.add_option("--aet", options.aet, "This side's AE title")
        ->check(aeTitleFault)
        ->type_name("AET")
        ->capture_default_str();
    command.add_option("--timeout", options.timeout, "The longest wait for the peer, in seconds")
        ->check(CLI::Range(1, 86400))
        ->type_name("SECONDS")
        ->capture_default_str();
    command.add_option("--max-pdu", options.maxPdu, "The largest PDU to accept, in bytes (524288)")
        ->check(CLI::Range(4096, 16777216))
        ->type_name("BYTES");
}

void addPeerOptions(CLI::App& command, PeerOptions& options, const char* rest, const char* help) {
    addEntityOptions(command, options);
    const std::string peer = "The peer, AET@host:port or host port";
    command
        .add_option(*rest == '\0' ? "PEER" : std::string("PEER ") + rest, options.words,
                    *rest == '\0' ? peer : peer + "; then " + help)
        ->required()
        ->type_name("");
    command.add_option("--aec", options.aec, "The peer's AE title, where PEER has none")
        ->check(aeTitleFault)
        ->type_name("AET")
        ->capture_default_str();
    command.add_option("--connect-timeout", options.connectTimeout, "The longest wait for a connection")
        ->check(CLI::Range(1, 86400))
        ->type_name("SECONDS")
        ->capture_default_str();
}

bool PeerOptions::takePeer(bool wantsMore) {
    std::string first = words.front();
    words.erase(words.begin());
    if (const std::size_t at = first.rfind('@'); at != std::string::npos) {
        aec = first.substr(0, at);
        first.erase(0, at + 1);
        if (!isAeTitle(aec)) {
            complain("'%s' is not an AE title", aec.c_str());
            return false;
        }
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
    host = first;
    if (host.empty() || !portFrom(portText, port)) {
        complain("'%s' is not a peer: AET@host:port or host port", (first + ":" + portText).c_str());
        return false;
    }
    if (words.empty() != wantsMore) return true;
    complain(wantsMore ? "something must follow the peer" : "'%s' is too much",
             wantsMore ? "" : words.front().c_str());
    return false;
}

std::string PeerOptions::peer() const {
    const bool bracketed = host.find(':') != std::string::npos;
    return aec + "@" + (bracketed ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace tools
