#include "services/handlers.h"

#include <algorithm>
#include <memory>

namespace services {

Handler answerEcho;   // answer_echo.cpp
Handler answerStore;  // answer_store.cpp

namespace {

template <typename Response, typename Request>
std::unique_ptr<DcCmd> responseTo(DcMsg& request) {
    return std::make_unique<Response>(static_cast<Request*>(&request));
}

// clang-format off
constexpr Service kServices[] = {
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
    const Service* found = in(kServices);
    for (auto rows = others.begin(); found == nullptr && rows != others.end(); ++rows) found = in(*rows);
    return found;
}

}  // namespace services
