// What plain sockets do on this machine, as the measure for the network commands.
//     bench_loopback copy MEGABYTES      one thread sends, one receives, blocks of 512 KiB: MB a second
//     bench_loopback store MEGABYTES     the same, received in pieces of 64 KiB that are written to files of
//                                        512 KiB in the working directory, which are removed: MB a second
//     bench_loopback pingpong COUNT      two writes there and two back, of the sizes of a C-ECHO: round trips
//                                        a second, then the median and the 99th percentile in microseconds
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t kBlock = 512 * 1024;
constexpr std::size_t kHeader = 12;  // of a PDU with one presentation data value
constexpr std::size_t kRequest = 68;
constexpr std::size_t kResponse = 78;

double secondsSince(Clock::time_point begun) {
    return std::chrono::duration<double>(Clock::now() - begun).count();
}

bool takeAll(int socket, std::vector<char>& buffer, std::size_t length) {
    for (std::size_t used = 0; used < length;) {
        const ssize_t n = recv(socket, buffer.data(), std::min(buffer.size(), length - used), 0);
        if (n <= 0) return false;
        used += static_cast<std::size_t>(n);
    }
    return true;
}

bool sayTwice(int socket, const std::vector<char>& buffer, std::size_t length) {
    return write(socket, buffer.data(), kHeader) == static_cast<ssize_t>(kHeader) &&
           write(socket, buffer.data(), length) == static_cast<ssize_t>(length);
}

struct Pair {
    int here = -1;
    int there = -1;
};

Pair connected() {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* any = reinterpret_cast<sockaddr*>(&address);
    Pair pair;
    if (bind(listener, any, size) != 0 || listen(listener, 1) != 0 || getsockname(listener, any, &size) != 0)
        return pair;
    pair.here = socket(AF_INET, SOCK_STREAM, 0);
    if (connect(pair.here, any, size) != 0) return pair;
    pair.there = accept(listener, nullptr, nullptr);
    for (const int end : {pair.here, pair.there}) {
        const int on = 1;
        setsockopt(end, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    close(listener);
    return pair;
}

// A file of one block, as it arrives.
bool storeBlock(int socket, std::vector<char>& piece, const std::string& path) {
    const int file = open(path.c_str(), O_CREAT | O_WRONLY | O_EXCL, 0600);
    bool good = file >= 0;
    for (std::size_t used = 0; good && used < kBlock; used += piece.size()) {
        good = takeAll(socket, piece, piece.size()) &&
               write(file, piece.data(), piece.size()) == static_cast<ssize_t>(piece.size());
    }
    return file >= 0 && close(file) == 0 && good;
}

void storeAll(int socket, std::size_t blocks) {
    std::vector<char> piece(65536);
    for (std::size_t i = 0; i < blocks; ++i) {
        if (!storeBlock(socket, piece, "loopback-" + std::to_string(i))) std::exit(1);
    }
}

void copy(const Pair& pair, std::size_t blocks, bool stores) {
    std::thread receiver([&] {
        if (stores) return storeAll(pair.there, blocks);
        std::vector<char> buffer(kBlock);
        if (!takeAll(pair.there, buffer, blocks * kBlock)) std::exit(1);
    });
    const std::vector<char> block(kBlock, 7);
    const auto begun = Clock::now();
    for (std::size_t i = 0; i < blocks; ++i) {
        if (send(pair.here, block.data(), kBlock, 0) != static_cast<ssize_t>(kBlock)) std::exit(1);
    }
    receiver.join();
    std::printf("%.1f\n", static_cast<double>(blocks * kBlock) / 1e6 / secondsSince(begun));
    for (std::size_t i = 0; stores && i < blocks; ++i)
        (void)unlink(("loopback-" + std::to_string(i)).c_str());
}

void pingpong(const Pair& pair, std::size_t count) {
    std::vector<char> ours(kBlock, 1);
    std::thread other([&] {
        std::vector<char> theirs(kBlock, 2);
        for (std::size_t i = 0; i < count; ++i) {
            if (!takeAll(pair.there, theirs, kHeader + kRequest) || !sayTwice(pair.there, theirs, kResponse))
                std::exit(1);
        }
    });
    std::vector<double> times(count);
    const auto begun = Clock::now();
    for (double& time : times) {
        const auto start = Clock::now();
        if (!sayTwice(pair.here, ours, kRequest) || !takeAll(pair.here, ours, kHeader + kResponse))
            std::exit(1);
        time = secondsSince(start);
    }
    const double whole = secondsSince(begun);
    other.join();
    std::sort(times.begin(), times.end());
    std::printf("%.0f %.1f %.1f\n", static_cast<double>(count) / whole, times[count / 2] * 1e6,
                times[count * 99 / 100] * 1e6);
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc == 3 ? std::strtoul(argv[2], nullptr, 10) : 0;
    const Pair pair = connected();
    if (count == 0 || pair.there == -1) {
        std::fprintf(stderr, "usage: %s copy MEGABYTES | store MEGABYTES | pingpong COUNT\n", argv[0]);
        return 2;
    }
    const bool stores = std::strcmp(argv[1], "store") == 0;
    if (stores || std::strcmp(argv[1], "copy") == 0) {
        copy(pair, count * 1'000'000 / kBlock, stores);
    } else {
        pingpong(pair, count);
    }
    return 0;
}
