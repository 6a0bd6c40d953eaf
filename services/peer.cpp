#include "services/peer.h"

#include <algorithm>
#include <charconv>

#include "services/report.h"

namespace services {
namespace {

bool portFrom(const std::string& text, int& port) {
    const char* end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && at == end && port >= 1 && port <= 65535;
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

}  // namespace services
