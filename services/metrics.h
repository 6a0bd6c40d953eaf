// Counts of a server in the text form that Prometheus reads: in a file, or to whoever asks a port.
#ifndef ORVKIT_SERVICES_METRICS_H
#define ORVKIT_SERVICES_METRICS_H

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "platform/socket.h"

namespace services {

class Metrics {
  public:
    // Gives the text; called from a thread of its own.
    explicit Metrics(std::function<std::string()> text) : text_(std::move(text)) {}
    Metrics(const Metrics&) = delete;
    Metrics& operator=(const Metrics&) = delete;
    // A file is written once more.
    ~Metrics();

    // A port on loopback, "ADDRESS:PORT", or else the name of a file. False: `fault` tells why.
    [[nodiscard]] bool start(const std::string& where, std::string& fault);
    // Of the port; 0 for a file.
    int port() const { return port_; }

  private:
    bool listen(const std::string& address, int port, std::string& fault);
    bool writeFile(std::string& fault) const;
    void answer(orvkit::platform::Socket peer) const;
    void run();

    std::function<std::string()> text_;
    std::string file_;
    int port_ = 0;
    orvkit::platform::Socket listener_;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

}  // namespace services

#endif
