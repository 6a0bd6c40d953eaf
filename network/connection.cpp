#include "network/connection.h"

#include <map>
#include <mutex>
#include <utility>

namespace orvkit {

namespace {

struct Layers {
    std::mutex mutex;
    std::map<unsigned int, std::unique_ptr<ConnectionLayer>> bySocket;
};
Layers& known() {
    static Layers all;
    return all;
}

}  // namespace

std::atomic<int> Connection::layers{0};

void putLayer(unsigned int socket, std::unique_ptr<ConnectionLayer> layer) {
    const std::lock_guard lock(known().mutex);
    // One that its socket has left behind gives way.
    if (known().bySocket.insert_or_assign(socket, std::move(layer)).second) ++Connection::layers;
}

ConnectionLayer* Connection::find(unsigned int socket) noexcept {
    const std::lock_guard lock(known().mutex);
    const auto at = known().bySocket.find(socket);
    return at == known().bySocket.end() ? nullptr : at->second.get();
}

void Connection::close() noexcept {
    if (layer_ != nullptr) {
        layer_->close();
        const std::lock_guard lock(known().mutex);
        if (known().bySocket.erase(socket_) != 0) --layers;
        layer_ = nullptr;
    }
    platform::closeSocket(socket_);
}

}  // namespace orvkit
