/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DiagClient.h"

#include <modem_api.h>

#include <plim/SerialIntParam.h>

#include "ModemResponse.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-diag";
}

DiagClient::DiagClient() {
    enableRtti(RTTI_TYPE);
}

DiagClient::~DiagClient() = default;

int DiagClient::forceAsdiv(int serial, int mode) {
    return postRequest(TAG, __func__, shared_from_this(), FORCE_ASDIV,
                       std::make_shared<SerialIntParam>(serial, mode));
}

int DiagClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        if (m->getId() == FORCE_ASDIV) {
            return handleForceAsdivMessage(m);
        }
        return std::nullopt;
    });
}

int DiagClient::handleForceAsdivMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleForceAsdivMessage";
    std::shared_ptr<SerialIntParam> param = requestParam<SerialIntParam>(TAG, FUNC, msg);
    if (!param) {
        return INVALID_ARGUMENT;
    }
    Errno err = syncCallOutcome(TAG, FUNC, modem_diag_pan_force_asdiv(param->value));
    return ModemResponse::respondForceAsdiv(param->serial, err);
}

}  // namespace com::vyr::plim::modem
