#include "services/handlers.h"

#include <algorithm>
#include <memory>

namespace services {

Handler answerEcho;   // answer_echo.cpp
Handler answerStore;  // answer_store.cpp

namespace {

// clang-format off
constexpr Service kEveryService[] = {
    {DICT_MSG_C_ECHO_RQ,  Right::echo,  answerEcho,  responseTo<DcCmdCEchoRsp, DcCmdCEchoRq>},
    {DICT_MSG_C_STORE_RQ, Right::store, answerStore, responseTo<DcCmdCStoreRsp, DcCmdCStoreRq>},
};
// clang-format on

}  // namespace

const Service* serviceOf(MSG_TYPE message, DICT_UID sopClass,
                         const std::vector<std::span<const Service>>& others) {
    const auto in = [message](std::span<const Service> rows, DICT_UID wanted) -> const Service* {
        const auto row = std::ranges::find_if(
            rows, [&](const Service& r) { return r.message == message && r.sopClass == wanted; });
        return row != rows.end() ? std::to_address(row) : nullptr;
    };
    const Service* found = nullptr;
    for (const DICT_UID wanted : {sopClass, UID_NONE}) {
        if (found == nullptr) found = in(kEveryService, wanted);
        for (auto rows = others.begin(); found == nullptr && rows != others.end(); ++rows)
            found = in(*rows, wanted);
    }
    return found;
}

}  // namespace services
