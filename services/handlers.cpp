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

const Service* serviceOf(MSG_TYPE message, const std::vector<std::span<const Service>>& others) {
    const auto in = [message](std::span<const Service> rows) {
        const auto row = std::ranges::find(rows, message, &Service::message);
        return row != rows.end() ? std::to_address(row) : nullptr;
    };
    const Service* found = in(kEveryService);
    for (auto rows = others.begin(); found == nullptr && rows != others.end(); ++rows) found = in(*rows);
    return found;
}

}  // namespace services
