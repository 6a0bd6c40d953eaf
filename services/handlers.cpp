#include "services/handlers.h"

namespace services {

Handler answerEcho;   // answer_echo.cpp
Handler answerStore;  // answer_store.cpp

namespace {

// clang-format off
constexpr struct {
    MSG_TYPE message;
    Handler* handler;
} handlers[] = {
    {DICT_MSG_C_ECHO_RQ,  answerEcho},
    {DICT_MSG_C_STORE_RQ, answerStore},
};
// clang-format on

}  // namespace

Handler* handlerOf(MSG_TYPE message) {
    for (const auto& row : handlers) {
        if (row.message == message) return row.handler;
    }
    return nullptr;
}

}  // namespace services
