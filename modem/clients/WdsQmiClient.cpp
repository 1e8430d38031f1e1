/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "WdsQmiClient.h"

#include <plim/SerialVoidParam.h>

#include "ModemResponse.h"
#include "RequestSteps.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-qmi-wds";
}

WdsQmiClient::WdsQmiClient(int32_t instanceId)
    : QmiClient({MODEM_API_SERVICE_WDS, "WDS", TAG}), instanceId_(instanceId) {
    enableRtti(RTTI_TYPE);
}

WdsQmiClient::~WdsQmiClient() = default;

void WdsQmiClient::onConnected() {
    Log::printAndroidLog(Log::INFO, TAG, "%s: WDS qmi client is connected", "onConnected");
    bindSubscription(modem_api_bind_wds_subscription, instanceId_);
}

int WdsQmiClient::deleteImsProfile(int serial) {
    return postRequest(TAG, __func__, shared_from_this(), DELETE_IMS_PROFILE,
                       std::make_shared<SerialVoidParam>(serial));
}

int WdsQmiClient::handle(std::shared_ptr<Message> msg) {
    return routeMessage(TAG, msg, [this](const std::shared_ptr<Message>& m) -> std::optional<int> {
        if (m->getId() == DELETE_IMS_PROFILE) {
            return handleDeleteImsProfileMessage(m);
        }
        return std::nullopt;
    });
}

int WdsQmiClient::handleDeleteImsProfileMessage(const std::shared_ptr<Message>& msg) {
    static constexpr const char* FUNC = "handleDeleteImsProfileMessage";
    std::shared_ptr<SerialVoidParam> param = requestParam<SerialVoidParam>(TAG, FUNC, msg);
    if (!param) {
        return INVALID_ARGUMENT;
    }
    ProfileTable table{};
    return ModemResponse::respondDeleteImsProfile(param->serial, deleteAllImsProfiles(FUNC, table));
}

Errno WdsQmiClient::deleteAllImsProfiles(const char* func, ProfileTable& table) const {
    if (!checkConnected(func)) {
        return INVALID_STATE;
    }
    uint8_t count = table.size();
    if (modem_qdp_get_ims_profile(table.data(), &count) != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to get ims profiles", func);
        return FAILED;
    }
    Log::printAndroidLog(Log::INFO, TAG, "%s: successfully got ims profiles, num = %u", func,
                         count);
    // A count beyond the table would make us read past it: the library broke its contract.
    if (count > table.size()) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: ims profile num %u exceeds table size %zu", func,
                             count, table.size());
        return FAILED;
    }
    for (int i = 0; i < count; ++i) {
        if (modem_qdp_delete_ims_profile(&table[i]) != MODEM_API_SUCCESS) {
            Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to delete ims profile[%d]", func, i);
            return FAILED;
        }
        Log::printAndroidLog(Log::INFO, TAG, "%s: successfully deleted ims profile[%d]", func, i);
    }
    return OK;
}

}  // namespace com::vyr::plim::modem
