// What tickets of sessions are sealed with, for users to keep: keys that are changed, so that whoever gets
// hold of one reads the tickets of an hour (RFC 9325 3.4).
#ifndef ORVKIT_TLS_TICKETS_H
#define ORVKIT_TLS_TICKETS_H

#include <array>
#include <chrono>
#include <mutex>

#include "tls/openssl.h"

namespace orvkit::tls {

inline constexpr std::chrono::seconds kSessionTime(3600);

// From any thread.
class TicketKeys {
  public:
    using Clock = std::chrono::steady_clock;
    using Name = std::array<unsigned char, 16>;
    struct Key {
        Name name{};
        std::array<unsigned char, 32> cipher{};
        std::array<unsigned char, 32> code{};
        ~Key() { OPENSSL_cleanse(this, sizeof *this); }
    };

    // For a new ticket: made anew when it has been in use for as long as a session is kept. False without
    // random numbers.
    bool current(Clock::time_point now, Key& key);
    // That of a ticket that comes back; false when it is known no more.
    bool find(Clock::time_point now, const Name& name, Key& key);

  private:
    bool turn(Clock::time_point now);

    std::mutex mutex_;
    Key current_;
    Key before_;
    bool hasCurrent_ = false;
    bool hasBefore_ = false;
    Clock::time_point since_;
};

// Seals and opens tickets, for OpenSSL.
int ticketCall(SSL* connection, unsigned char* name, unsigned char* start, EVP_CIPHER_CTX* cipher,
               EVP_MAC_CTX* code, int seals) noexcept;

}  // namespace orvkit::tls

#endif
