// Generation of UIDs, message IDs and presentation context IDs.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "dictionary/failures.h"
#include "foundation/identity.h"
#include "foundation/text.h"
#include "orvkit/dict.h"
#include "platform/clock.h"

using namespace orvkit;

namespace {

constexpr std::string_view ownRoot = ORVKIT_UID_ROOT;
constexpr std::size_t branchLength = 5;    // of the component that makes a branch of the root
constexpr std::size_t maxBranchRoot = 36;  // leaves room for time and counter
constexpr std::size_t uidRoom = 65;        // a UID and its terminating zero

bool isBranch(std::string_view uid) {
    if (uid.size() == uidRoom || uid.find_first_not_of("0123456789.") != uid.npos) return false;
    if (!uid.starts_with(ownRoot) || uid.substr(ownRoot.size(), 1) != ".") return false;
    const std::string_view tail = uid.substr(ownRoot.size() + 1);
    return std::min(tail.find('.'), tail.size()) == branchLength;
}

// The root of the UID generated into a buffer that holds `uid`.
std::string_view rootFor(std::string_view uid) {
    if (!isBranch(uid)) return ownRoot;
    std::string_view root = uid.substr(0, maxBranchRoot);
    if (root.ends_with('.')) root.remove_suffix(1);
    return root;
}

}  // namespace

void DcDict::genUid(char* uid) {
    if (uid == nullptr) {
        (void)failNull("DcDict::genUid");
        return;
    }
    char root[maxBranchRoot + 1] = {};
    rootFor({uid, lengthWithin(uid, uidRoom)}).copy(root, maxBranchRoot);
    const int number = uidCounter_.next++;
    char text[128];
    std::tm now{};
    if (platform::localTime(now)) {
        std::snprintf(text, sizeof text, "%s.%d.%d.%d.%d.%d.%d.%d", root, now.tm_year + 1900, now.tm_mon + 1,
                      now.tm_mday, now.tm_hour, now.tm_min, now.tm_sec, number);
    } else {
        std::snprintf(text, sizeof text, "%s.%d", root, number);
    }
    copyText(uid, text, uidRoom - 1);
}

void DcDict::genMsgId(unsigned short& id) {
    id = msgIdCounter_.next.fetch_add(2);
}

void DcDict::genPresCtxId(unsigned char& id) {
    auto& next = presCtxIdCounter_.next;
    id = next;
    // After 253 the sequence goes on with even numbers: kept for callers that rely on it.
    while (!next.compare_exchange_weak(id, static_cast<std::uint8_t>((id + 2) % 256 % 255))) {
    }
}
