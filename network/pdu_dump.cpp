#include "network/pdu_dump.h"

#include <atomic>
#include <cstdio>
#include <utility>
#include <vector>

#include "network/identity_mask.h"
#include "platform/file.h"
#include "platform/process.h"

int PduDumpFlag = 0;

namespace orvkit {

namespace {

std::atomic<int> nextNumber{0};
thread_local int received = -1;  // a handle
thread_local IdentityMask receivedMask;

const char* codeOf(PDU_TYPE type) {
    static constexpr const char* codes[] = {"xx", "rq", "ac", "rj", "tf", "rr", "rp", "ab"};
    return type >= PDU_TYPE_ASSO_RQ && type <= PDU_TYPE_ABORT ? codes[type] : codes[0];
}

platform::FileHandle create(PDU_TYPE type, const char* direction) {
    char name[64];
    std::snprintf(name, sizeof name, "_pdu.%x.%04d.%s.%s", platform::threadId(), nextNumber++, codeOf(type),
                  direction);
    return platform::createWrite(name);
}

void put(int file, IdentityMask& mask, std::span<const unsigned char> bytes) {
    if (file == -1 || bytes.empty()) return;
    if (!mask.isNeeded()) {
        (void)platform::writeAll(file, bytes.data(), bytes.size());
        return;
    }
    std::vector<unsigned char> shown(bytes.begin(), bytes.end());
    mask.apply(shown);
    (void)platform::writeAll(file, shown.data(), shown.size());
}

}  // namespace

void dumpSent(PDU_TYPE type, std::initializer_list<std::span<const unsigned char>> parts) {
    const platform::FileHandle file = create(type, "snd");
    IdentityMask mask;
    mask.begin(type);
    for (const auto part : parts) put(file.get(), mask, part);
}

void dumpReceivedEnd() {
    const platform::FileHandle closed(std::exchange(received, -1));
}

void dumpReceivedBegin(PDU_TYPE type, std::span<const unsigned char> bytes) {
    dumpReceivedEnd();
    received = create(type, "rcv").release();
    receivedMask.begin(type);
    put(received, receivedMask, bytes);
}

void dumpReceived(std::span<const unsigned char> bytes) {
    put(received, receivedMask, bytes);
}

}  // namespace orvkit
