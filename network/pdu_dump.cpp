#include "network/pdu_dump.h"

#include <atomic>
#include <cstdio>
#include <utility>

#include "platform/file.h"
#include "platform/process.h"

int PduDumpFlag = 0;

namespace orvkit {

namespace {

std::atomic<int> nextNumber{0};
thread_local int received = -1;  // a handle

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

void put(int file, std::span<const unsigned char> bytes) {
    if (file != -1 && !bytes.empty()) (void)platform::writeAll(file, bytes.data(), bytes.size());
}

}  // namespace

void dumpSent(PDU_TYPE type, std::initializer_list<std::span<const unsigned char>> parts) {
    const platform::FileHandle file = create(type, "snd");
    for (const auto part : parts) put(file.get(), part);
}

void dumpReceivedEnd() {
    const platform::FileHandle closed(std::exchange(received, -1));
}

void dumpReceivedBegin(PDU_TYPE type, std::span<const unsigned char> bytes) {
    dumpReceivedEnd();
    received = create(type, "rcv").release();
    put(received, bytes);
}

void dumpReceived(std::span<const unsigned char> bytes) {
    put(received, bytes);
}

}  // namespace orvkit
