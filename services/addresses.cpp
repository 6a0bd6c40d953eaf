#include "services/addresses.h"

#include <algorithm>

namespace services {

namespace {

constexpr auto kMemory = std::chrono::minutes(1);
constexpr std::size_t kMostFailures = 10'000;   // that are remembered of an address
constexpr std::size_t kMostAddresses = 10'000;  // before those without a connection are forgotten
constexpr auto kFirstWait = std::chrono::milliseconds(250);
constexpr auto kLongestWait = std::chrono::seconds(8);

}  // namespace

Addresses::Record& Addresses::current(const std::string& address) {
    Record& record = records_[address];
    const auto since = Clock::now() - kMemory;
    while (!record.failures.empty() && record.failures.front() < since) record.failures.pop_front();
    if (record.lastGuess < since) record.guesses = 0;
    return record;
}

void Addresses::forget() {
    const auto since = Clock::now() - kMemory;
    std::erase_if(records_, [&](const auto& entry) {
        const Record& record = entry.second;
        return record.inside == 0 && (record.failures.empty() || record.failures.back() < since ||
                                      records_.size() > 2 * kMostAddresses);
    });
}

Addresses::Stay Addresses::enter(const std::string& address) {
    const std::lock_guard lock(mutex_);
    if (records_.size() > kMostAddresses) forget();
    return {*this, address, ++current(address).inside};
}

void Addresses::leave(const std::string& address) {
    const std::lock_guard lock(mutex_);
    const auto at = records_.find(address);
    if (at == records_.end() || --at->second.inside > 0) return;
    if (current(address).failures.empty()) records_.erase(at);
}

void Addresses::failed(const std::string& address, bool identity) {
    const std::lock_guard lock(mutex_);
    Record& record = current(address);
    record.failures.push_back(Clock::now());
    if (record.failures.size() > kMostFailures) record.failures.pop_front();
    if (!identity) return;
    ++record.guesses;
    record.lastGuess = Clock::now();
}

bool Addresses::isUnwelcome(const Stay& stay, const std::string& address, std::string& why) {
    const std::lock_guard lock(mutex_);
    if (limits_.connections != 0 && stay.number() > limits_.connections) {
        why = "there are " + std::to_string(limits_.connections) + " connections from there already";
        return true;
    }
    if (limits_.failures == 0) return false;
    const std::size_t failures = current(address).failures.size();
    if (failures < limits_.failures) return false;
    why = std::to_string(failures) + " attempts from there have failed within a minute";
    return true;
}

bool Addresses::mustWait(const std::string& address) {
    const std::lock_guard lock(mutex_);
    const Record& record = current(address);
    if (record.guesses == 0) return false;
    const auto wait = kFirstWait * (1 << std::min(record.guesses - 1, 5u));
    return Clock::now() - record.lastGuess < std::min<Clock::duration>(wait, kLongestWait);
}

}  // namespace services
