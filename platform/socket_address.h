// Addresses of sockets as both systems have them, and what socket.h tells of them. Included by each system's
// socket.cpp alone, behind the headers that the system has for sockets.
#ifndef ORVKIT_PLATFORM_SOCKET_ADDRESS_H
#define ORVKIT_PLATFORM_SOCKET_ADDRESS_H

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/socket.h"

namespace orvkit::platform {

static_assert(sizeof(Address::bytes) >= sizeof(sockaddr_storage));

inline sockaddr* record(Address& address) noexcept {
    return static_cast<sockaddr*>(static_cast<void*>(address.bytes));
}
inline const sockaddr* record(const Address& address) noexcept {
    return static_cast<const sockaddr*>(static_cast<const void*>(address.bytes));
}

// The family's own form of an address, copied out of the raw bytes.
template <typename Form>
Form formOf(const Address& address) noexcept {
    Form form{};
    std::memcpy(&form, address.bytes, sizeof form);
    return form;
}

int addressPort(const Address& address) noexcept {
    if (address.length == 0) return 0;
    if (record(address)->sa_family == AF_INET6) return ntohs(formOf<sockaddr_in6>(address).sin6_port);
    return ntohs(formOf<sockaddr_in>(address).sin_port);
}

inline void setPort(Address& address, int port) noexcept {
    const std::uint16_t networkPort = htons(static_cast<std::uint16_t>(port));
    if (record(address)->sa_family == AF_INET6) {
        auto form = formOf<sockaddr_in6>(address);
        form.sin6_port = networkPort;
        std::memcpy(address.bytes, &form, sizeof form);
    } else {
        auto form = formOf<sockaddr_in>(address);
        form.sin_port = networkPort;
        std::memcpy(address.bytes, &form, sizeof form);
    }
}

// An IPv4 peer of a listener for both has its address within one of IPv6 (RFC 4291 2.5.5.2): told as what it
// is.
inline void unwrap(Address& address) noexcept {
    if (record(address)->sa_family != AF_INET6) return;
    const auto both = formOf<sockaddr_in6>(address);
    if (IN6_IS_ADDR_V4MAPPED(&both.sin6_addr) == 0) return;
    sockaddr_in form{};
    form.sin_family = AF_INET;
    form.sin_port = both.sin6_port;
    std::memcpy(&form.sin_addr,
                static_cast<const unsigned char*>(static_cast<const void*>(&both.sin6_addr)) + 12,
                sizeof form.sin_addr);
    address = {};
    std::memcpy(address.bytes, &form, sizeof form);
    address.length = sizeof form;
}

bool parseAddress(const char* text, std::array<unsigned char, 16>& bytes) noexcept {
    bytes = {};
    if (inet_pton(AF_INET6, text, bytes.data()) == 1) return true;
    bytes[10] = bytes[11] = 0xFF;
    return inet_pton(AF_INET, text, bytes.data() + 12) == 1;
}

// A list of what a resolver has found. Others listen to IPv4 alone more often than not: that is preferred
// where a host has both.
inline bool takeOne(const addrinfo* list, int port, Address& address) noexcept {
    const addrinfo* chosen = list;
    for (const addrinfo* at = list; at != nullptr; at = at->ai_next) {
        if (at->ai_family == AF_INET) {
            chosen = at;
            break;
        }
    }
    if (chosen->ai_addrlen > sizeof address.bytes) return false;
    std::memcpy(address.bytes, chosen->ai_addr, chosen->ai_addrlen);
    address.length = static_cast<unsigned int>(chosen->ai_addrlen);
    setPort(address, port);
    return true;
}

bool ownHostName(std::string& name) {
    char text[81] = "";
    if (::gethostname(text, sizeof text - 1) != 0) return false;
    name = text;
    return true;
}

}  // namespace orvkit::platform

#endif
