#include "tls/wire.h"

#include <algorithm>
#include <cstring>

namespace orvkit::tls {

using platform::Received;

// Not set to zeros: what is never used is never touched.
Wire::Wire(unsigned int socket)
    : socket_(socket),
      in_(std::make_unique_for_overwrite<unsigned char[]>(kInRoom)),
      out_(std::make_unique_for_overwrite<unsigned char[]>(kOutRoom)) {}

BioPtr Wire::makeBio() noexcept {
    const BIO_METHOD* const calls = method();
    BioPtr bio(calls == nullptr ? nullptr : BIO_new(calls));
    if (bio == nullptr) return bio;
    BIO_set_data(bio.get(), this);
    BIO_set_init(bio.get(), 1);
    return bio;
}

const BIO_METHOD* Wire::method() noexcept {
    static const BioMethodPtr calls = [] {
        BioMethodPtr made(BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "orvkit"));
        if (made == nullptr) return made;
        (void)BIO_meth_set_read(made.get(), &Wire::readCall);
        (void)BIO_meth_set_write(made.get(), &Wire::writeCall);
        (void)BIO_meth_set_ctrl(made.get(), &Wire::controlCall);
        return made;
    }();
    return calls.get();
}

int Wire::readCall(BIO* bio, char* data, int length) noexcept {
    Wire& wire = *static_cast<Wire*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    const std::size_t count =
        std::min(static_cast<std::size_t>(std::max(length, 0)), wire.inEnd_ - wire.inAt_);
    if (count == 0) {
        if (wire.peerClosed_) return 0;
        BIO_set_retry_read(bio);
        return -1;
    }
    std::memcpy(data, wire.in_.get() + wire.inAt_, count);
    wire.inAt_ += count;
    return static_cast<int>(count);
}

int Wire::writeCall(BIO* bio, const char* data, int length) noexcept {
    Wire& wire = *static_cast<Wire*>(BIO_get_data(bio));
    BIO_clear_retry_flags(bio);
    return wire.collect(data, static_cast<std::size_t>(length)) ? length : -1;
}

long Wire::controlCall(BIO* bio, int command, long, void*) noexcept {
    const Wire& wire = *static_cast<Wire*>(BIO_get_data(bio));
    if (command == BIO_CTRL_EOF) return wire.peerClosed_ && wire.isEmpty() ? 1 : 0;
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

// Room is made where there is too little, as in long chains of certificates.
bool Wire::collect(const char* data, std::size_t length) noexcept {
    while (length > 0 && !sendFailed_) {
        const std::size_t here = std::min(length, kOutRoom - outEnd_);
        std::memcpy(out_.get() + outEnd_, data, here);
        outEnd_ += here;
        data += here;
        length -= here;
        if (length > 0) (void)flush(sendTimeout_);
    }
    return !sendFailed_;
}

Received Wire::fill(int timeout) noexcept {
    if (!isEmpty()) return Received::data;
    std::size_t count = 0;
    const Received received = platform::receive(socket_, in_.get(), kInRoom, timeout, count);
    inAt_ = 0;
    inEnd_ = count;
    if (received == Received::closed) peerClosed_ = true;
    for (std::size_t i = 0; i < count && firstCount_ < first_.size(); ++i) first_[firstCount_++] = in_[i];
    return received;
}

bool Wire::flush(int timeout) noexcept {
    sendTimeout_ = timeout;
    if (outEnd_ == 0 || sendFailed_) return !sendFailed_;
    const platform::Run run{out_.get(), outEnd_};
    sendFailed_ = platform::sendRuns(socket_, &run, 1, timeout) != static_cast<std::int64_t>(outEnd_);
    outEnd_ = 0;
    return !sendFailed_;
}

}  // namespace orvkit::tls
