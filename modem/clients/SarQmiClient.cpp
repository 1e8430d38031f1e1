/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "SarQmiClient.h"

#include <modem_api.h>

#include <plim/SerialIntParam.h>

#include "ModemResponse.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-qmi-sar";
}

SarQmiClient::SarQmiClient() : QmiClient({MODEM_API_SERVICE_SAR, "SAR", TAG}) {
    enableRtti(RTTI_TYPE);
}

SarQmiClient::~SarQmiClient() = default;

void SarQmiClient::onConnected() {
    Log::printAndroidLog(Log::INFO, TAG, "%s: SAR qmi client is connected", "onConnected");
}

int SarQmiClient::setSarState(int serial, int state) {
    return postRequest(TAG, __func__, shared_from_this(), SET_SAR_STATE,
                       std::make_shared<SerialIntParam>(serial, state));
}

int SarQmiClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        if (m->getId() == SET_SAR_STATE) {
            return handleSetSarStateMessage(m);
        }
        return std::nullopt;
    });
}

int SarQmiClient::handleSetSarStateMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleSetSarStateMessage", msg, modem_set_sar_dsi,
                          ModemResponse::respondSetSarState);
}

}  // namespace com::vyr::plim::modem
