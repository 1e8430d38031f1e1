/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DmsQmiClient.h"

#include <modem_api.h>

#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "ModemResponse.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-qmi-dms";
}

DmsQmiClient::DmsQmiClient() : QmiClient({MODEM_API_SERVICE_DMS, "DMS", TAG}) {
    enableRtti(RTTI_TYPE);
}

DmsQmiClient::~DmsQmiClient() = default;

void DmsQmiClient::onConnected() {
    Log::printAndroidLog(Log::INFO, TAG, "%s: DMS qmi client is connected", "onConnected");
}

int DmsQmiClient::getOperatingMode(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_OPERATING_MODE,
                       std::make_shared<SerialVoidParam>(serial));
}

int DmsQmiClient::setOperatingMode(int serial, int mode) {
    return postRequest(TAG, __func__, shared_from_this(), SET_OPERATING_MODE,
                       std::make_shared<SerialIntParam>(serial, mode));
}

int DmsQmiClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        switch (m->getId()) {
            case GET_OPERATING_MODE:
                return handleGetOperatingModeMessage(m);
            case SET_OPERATING_MODE:
                return handleSetOperatingModeMessage(m);
        }
        return std::nullopt;
    });
}

int DmsQmiClient::handleGetOperatingModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntRead("handleGetOperatingModeMessage", msg, modem_get_operating_mode,
                         ModemResponse::respondGetOperatingMode);
}

int DmsQmiClient::handleSetOperatingModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleSetOperatingModeMessage", msg, modem_set_operating_mode,
                          ModemResponse::respondSetOperatingMode);
}

}  // namespace com::vyr::plim::modem
