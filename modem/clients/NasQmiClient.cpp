/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "NasQmiClient.h"

#include <modem_api.h>

#include <plim/SerialIntParam.h>
#include <plim/SerialVoidParam.h>

#include "ModemResponse.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-qmi-nas";
}

NasQmiClient::NasQmiClient(int32_t instanceId)
    : QmiClient({MODEM_API_SERVICE_NAS, "NAS", TAG}), instanceId_(instanceId) {
    enableRtti(RTTI_TYPE);
}

NasQmiClient::~NasQmiClient() = default;

void NasQmiClient::onConnected() {
    Log::printAndroidLog(Log::INFO, TAG, "%s: NAS qmi client is connected", "onConnected");
    bindSubscription(modem_api_bind_nas_subscription, instanceId_);
}

int NasQmiClient::getNrNetworkMode(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_NR_NETWORK_MODE,
                       std::make_shared<SerialVoidParam>(serial));
}

int NasQmiClient::setNrNetworkMode(int serial, int mode) {
    return postRequest(TAG, __func__, shared_from_this(), SET_NR_NETWORK_MODE,
                       std::make_shared<SerialIntParam>(serial, mode));
}

int NasQmiClient::getVonrMode(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), GET_VONR_MODE,
                       std::make_shared<SerialVoidParam>(serial));
}

int NasQmiClient::setVonrMode(int serial, int mode) {
    return postRequest(TAG, __func__, shared_from_this(), SET_VONR_MODE,
                       std::make_shared<SerialIntParam>(serial, mode));
}

int NasQmiClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        switch (m->getId()) {
            case GET_NR_NETWORK_MODE:
                return handleGetNrNetworkModeMessage(m);
            case SET_NR_NETWORK_MODE:
                return handleSetNrNetworkModeMessage(m);
            case GET_VONR_MODE:
                return handleGetVonrModeMessage(m);
            case SET_VONR_MODE:
                return handleSetVonrModeMessage(m);
        }
        return std::nullopt;
    });
}

int NasQmiClient::handleGetNrNetworkModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntRead("handleGetNrNetworkModeMessage", msg, modem_get_nr_network_mode,
                         ModemResponse::respondGetNrNetworkMode);
}

// The library sets the NR network mode with its "switch" call; there is no "set" call for it.
int NasQmiClient::handleSetNrNetworkModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleSetNrNetworkModeMessage", msg, modem_switch_nr_network_mode,
                          ModemResponse::respondSetNrNetworkMode);
}

int NasQmiClient::handleGetVonrModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntRead("handleGetVonrModeMessage", msg, modem_get_vonr_mode,
                         ModemResponse::respondGetVonrMode);
}

int NasQmiClient::handleSetVonrModeMessage(const std::shared_ptr<Message>& msg) {
    return handleIntWrite("handleSetVonrModeMessage", msg, modem_set_vonr_mode,
                          ModemResponse::respondSetVonrMode);
}

}  // namespace com::vyr::plim::modem
