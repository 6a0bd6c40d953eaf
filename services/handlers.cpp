#include "services/handlers.h"

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

const Service* serviceOf(MSG_TYPE message, std::span<const Service> others) {
    for (const std::span<const Service> rows : {std::span<const Service>(kServices), others}) {
        for (const Service& row : rows) {
            if (row.message == message) return &row;
        }
    }
    return nullptr;
}

}  // namespace services
