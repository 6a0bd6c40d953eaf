// Where connections come from: how many there are of each address, and how often they have failed to come in.
// From any thread.
#ifndef ORVKIT_SERVICES_ADDRESSES_H
#define ORVKIT_SERVICES_ADDRESSES_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "services/bounds.h"

namespace services {

class Addresses {
  public:
    using Clock = std::chrono::steady_clock;

    // A connection; counts while it lives.
    class Stay {
      public:
        Stay() = default;
        Stay(Addresses& addresses, std::string address, std::uint64_t number)
            : addresses_(&addresses), address_(std::move(address)), number_(number) {}
        Stay(Stay&& other) noexcept { *this = std::move(other); }
        Stay& operator=(Stay&& other) noexcept {
            std::swap(addresses_, other.addresses_);
            std::swap(address_, other.address_);
            std::swap(number_, other.number_);
            return *this;
        }
        ~Stay() {
            if (addresses_ != nullptr) addresses_->leave(address_);
        }
        // How many there were when it came, itself included.
        std::uint64_t number() const { return number_; }

      private:
        Addresses* addresses_ = nullptr;
        std::string address_;
        std::uint64_t number_ = 0;
    };

    // Before anybody comes.
    void setLimits(const Limits& limits) { limits_ = limits; }

    Stay enter(const std::string& address);
    // An attempt that did not succeed; with an identity that did not hold, or a guess at one, the next waits
    // longer.
    void failed(const std::string& address, bool identity = false);
    // Whether it is too many already, with what is to be told of it; whether it has to be taken later.
    bool isUnwelcome(const Stay& stay, const std::string& address, std::string& why);
    bool mustWait(const std::string& address);
    // So many connections of one address are not even told that they are too many.
    bool isFlood(const Stay& stay) const {
        return limits_.connections != 0 && stay.number() > 2 * limits_.connections;
    }

  private:
    struct Record {
        std::uint64_t inside = 0;
        std::deque<Clock::time_point> failures;  // of the last minute
        unsigned int guesses = 0;
        Clock::time_point lastGuess;
    };
    void leave(const std::string& address);
    // Without what is older than a minute.
    Record& current(const std::string& address);
    void forget();

    Limits limits_;
    std::mutex mutex_;
    std::map<std::string, Record> records_;
};

}  // namespace services

#endif
