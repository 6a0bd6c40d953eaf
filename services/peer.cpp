#include "services/peer.h"

#include <algorithm>

namespace services {
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

std::string PeerOptions::peer() const {
    const bool bracketed = host.find(':') != std::string::npos;
    return aec + "@" + (bracketed ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace services
