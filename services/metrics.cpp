#include "services/metrics.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <utility>

#include "platform/deadline.h"
#include "platform/new_file.h"

namespace services {

namespace platform = orvkit::platform;

namespace {

constexpr int kMetricsTick = 200;                  // milliseconds
constexpr int kMetricsPatience = 1000;             // for a request, and for its answer
constexpr std::size_t kLongestRequest = 8192;      // bytes
constexpr auto kRhythm = std::chrono::seconds(5);  // of a file
constexpr const char* kEndOfRequest = "\r\n\r\n";

bool parsePort(std::string_view text, int& port) {
    const auto [at, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && at == text.data() + text.size() && port >= 0 && port <= 65535;
}

}  // namespace

Metrics::~Metrics() {
    ending_ = true;
    if (thread_.joinable()) thread_.join();
    std::string fault;
    if (!file_.empty()) (void)writeFile(fault);
}

bool Metrics::start(const std::string& where, std::string& fault) {
    const std::size_t colon = where.rfind(':');
    const std::string address = colon == std::string::npos ? "127.0.0.1" : where.substr(0, colon);
    int port = 0;
    if (parsePort(where.substr(colon == std::string::npos ? 0 : colon + 1), port)) {
        if (!listen(address, port, fault)) return false;
    } else if (where.find_first_not_of("0123456789") == std::string::npos) {
        fault = where + " is no port";
        return false;
    } else {
        file_ = where;
        if (!writeFile(fault)) return false;
    }
    thread_ = std::thread([this] { run(); });
    return true;
}

bool Metrics::listen(const std::string& name, int port, std::string& fault) {
    platform::Address address;
    platform::Address own;
    const bool found = platform::resolve(name.c_str(), port, address);
    if (found) listener_ = platform::openSocket(address);
    if (!listener_ || !platform::reuseAddress(listener_.get()) ||
        !platform::bindTo(listener_.get(), address) || !platform::listenSocket(listener_.get(), 16) ||
        !platform::ownAddress(listener_.get(), own)) {
        fault = "cannot listen on " + name + ":" + std::to_string(port) + ": " +
                (found ? "error " + std::to_string(platform::lastSocketError()) : "there is no such address");
        return false;
    }
    port_ = platform::addressPort(own);
    return true;
}

bool Metrics::writeFile(std::string& fault) const {
    const std::string text = text_();
    platform::NewFile file;
    if (file.beginBeside(file_) && platform::writeAll(file.handle(), text.data(), text.size()) &&
        file.commit(file_, false)) {
        return true;
    }
    fault = file_ + ": " + std::strerror(errno);
    return false;
}

void Metrics::run() {
    auto written = std::chrono::steady_clock::now();
    while (!ending_) {
        if (file_.empty()) {
            platform::Address peer;
            platform::Socket socket = platform::acceptSocket(listener_.get(), peer, kMetricsTick);
            if (socket) answer(std::move(socket));
            continue;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(kMetricsTick));
        std::string fault;
        if (std::chrono::steady_clock::now() - written < kRhythm) continue;
        (void)writeFile(fault);
        written = std::chrono::steady_clock::now();
    }
}

// Whatever is asked for: there is one thing to tell.
void Metrics::answer(platform::Socket peer) const {
    const platform::Deadline deadline(kMetricsPatience);
    std::string request;
    while (request.find(kEndOfRequest) == std::string::npos) {
        char bytes[1024];
        std::size_t count = 0;
        if (platform::receive(peer.get(), bytes, sizeof bytes, deadline.left(), count) !=
                platform::Received::data ||
            request.size() > kLongestRequest) {
            return;
        }
        request.append(bytes, count);
    }
    const std::string text = text_();
    const std::string head =
        "HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\nContent-Length: " +
        std::to_string(text.size()) + "\r\nConnection: close" + kEndOfRequest;
    (void)platform::setSocketTimeouts(peer.get(), kMetricsPatience, kMetricsPatience);
    (void)platform::sendTwo(peer.get(), head.data(), head.size(), text.data(), text.size(), kMetricsPatience);
}

}  // namespace services
