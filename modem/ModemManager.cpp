/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemManager.h"

#include <cstring>
#include <mutex>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "DiagClient.h"
#include "DmsQmiClient.h"
#include "NasQmiClient.h"
#include "PdcQmiClient.h"
#include "SarQmiClient.h"
#include "VsQmiClient.h"
#include "WdsQmiClient.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-manager";
constexpr const char* EVENT_FUNC = "modemApiEventCallback";

const char* serviceName(int32_t serviceId) {
    switch (serviceId) {
        case MODEM_API_SERVICE_WDS:
            return "WDS";
        case MODEM_API_SERVICE_DMS:
            return "DMS";
        case MODEM_API_SERVICE_NAS:
            return "NAS";
        case MODEM_API_SERVICE_SAR:
            return "SAR";
        case MODEM_API_SERVICE_PDC:
            return "PDC";
        case MODEM_API_SERVICE_VS:
            return "VS";
    }
    return "UNKNOWN";
}

/** Makes a client into `slot` and sets it up; the result is setup()'s. */
template <typename Client, typename... Args>
int makeQmiClient(std::shared_ptr<Client>& slot, const char* allocFailure, Args... args) {
    slot = std::make_shared<Client>(args...);
    if (!slot) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s", allocFailure);
        return NO_MEMORY;
    }
    return slot->setup();
}

}  // namespace

// Defined in this order so that static destruction releases them in the reverse one.
std::shared_ptr<DiagClient> ModemManager::diagClient;
std::shared_ptr<DmsQmiClient> ModemManager::dmsClient;
std::shared_ptr<NasQmiClient> ModemManager::nasClient;
std::shared_ptr<PdcQmiClient> ModemManager::pdcClient;
std::shared_ptr<SarQmiClient> ModemManager::sarClient;
std::shared_ptr<VsQmiClient> ModemManager::vsClient;
std::shared_ptr<WdsQmiClient> ModemManager::wdsClient;

int ModemManager::init(int instanceId) {
    static std::once_flag once;
    int result = INVALID_STATE;
    std::call_once(once, [&] { result = initOnce(instanceId); });
    return result;
}

int ModemManager::initOnce(int instanceId) {
    int err = makeQmiClient(nasClient, "failed to alloc NAS qmi client", instanceId);
    if (err == OK) {
        err = makeQmiClient(vsClient, "failed to alloc VS qmi client", instanceId);
    }
    if (err == OK) {
        err = makeQmiClient(wdsClient, "failed to alloc WDS qmi client", instanceId);
    }
    if (err == OK && instanceId == 0) {
        diagClient = std::make_shared<DiagClient>();
        if (!diagClient) {
            Log::printAndroidLog(Log::ERROR, TAG, "failed to alloc diag client");
            return NO_MEMORY;
        }
        err = makeQmiClient(dmsClient, "failed to alloc DMS qmi client");
        if (err == OK) {
            err = makeQmiClient(pdcClient, "failed to alloc PDC qmi client");
        }
        if (err == OK) {
            err = makeQmiClient(sarClient, "failed to alloc SAR qmi client");
        }
    }
    if (err != OK) {
        return err;
    }

    // Connections were requested by the clients' setup(); the library reports them through
    // the callback from now on. Results are not checked: a library that cannot start reports no
    // connection, and every request then answers that its service is not connected.
    modem_api_init_pre();
    modem_api_set_event_callback(modemApiEventCallback);
    modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_CONNECTED);
    modem_api_subscribe_event(MODEM_API_EVENT_SERVICE_DISCONNECTED);
    if (instanceId == 0) {
        // The configuration answers: only instance 0 has the configuration client.
        modem_api_subscribe_event(MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO);
        modem_api_subscribe_event(MODEM_API_EVENT_PDC_CONFIG_INFO);
    }
    Log::printAndroidLog(Log::INFO, TAG, "init done");
    return OK;
}

void ModemManager::modemApiEventCallback(modem_api_event_type event, void* data, size_t len) {
    Log::printAndroidLog(Log::INFO, TAG, "%s: event = %d", EVENT_FUNC, event);
    switch (event) {
        case MODEM_API_EVENT_SERVICE_CONNECTED:
            onServiceEvent(true, data, len);
            return;
        case MODEM_API_EVENT_SERVICE_DISCONNECTED:
            onServiceEvent(false, data, len);
            return;
        case MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO:
            Log::printAndroidLog(Log::INFO, TAG, "%s: received async response for %s", EVENT_FUNC,
                                 "get_active_mbn_info");
            if (std::shared_ptr<PdcQmiClient> pdc = pdcForAnswer(); pdc) {
                pdc->processGetActiveMbnInfoAsyncResponse(data, len);
            }
            return;
        case MODEM_API_EVENT_PDC_CONFIG_INFO:
            Log::printAndroidLog(Log::INFO, TAG, "%s: received async response for %s", EVENT_FUNC,
                                 "get_meta_mbn_info");
            if (std::shared_ptr<PdcQmiClient> pdc = pdcForAnswer(); pdc) {
                pdc->processGetMetaMbnInfoAsyncResponse(data, len);
            }
            return;
        default:
            Log::printAndroidLog(Log::ERROR, TAG, "%s: unsupported modem api event = %d",
                                 EVENT_FUNC, event);
            return;
    }
}

std::shared_ptr<PdcQmiClient> ModemManager::pdcForAnswer() {
    // A copy, so that the client lives through the call.
    std::shared_ptr<PdcQmiClient> pdc = pdcClient;
    if (!pdc) {
        Log::printAndroidLog(Log::ERROR, TAG,
                             "%s: can't process such async response for null PDC qmi client",
                             EVENT_FUNC);
    }
    return pdc;
}

void ModemManager::onServiceEvent(bool connected, const void* data, size_t len) {
    const char* state = connected ? "connected" : "disconnected";
    if (data == nullptr || len != sizeof(int32_t)) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: invalid data or len input for qmi %s event",
                             EVENT_FUNC, state);
        return;
    }
    int32_t serviceId;
    std::memcpy(&serviceId, data, sizeof(serviceId));
    Log::printAndroidLog(Log::INFO, TAG, "%s: %s qmi service is %s", EVENT_FUNC,
                         serviceName(serviceId), state);
    std::shared_ptr<QmiClient> client = clientOf(serviceId);
    if (!client) {
        Log::printAndroidLog(Log::WARN, TAG,
                             "%s: no client for qmi service %d, ignore qmi %s event", EVENT_FUNC,
                             serviceId, state);
        return;
    }
    client->updateConnectionStatus(connected);
}

std::shared_ptr<QmiClient> ModemManager::clientOf(int32_t serviceId) {
    switch (serviceId) {
        case MODEM_API_SERVICE_WDS:
            return wdsClient;
        case MODEM_API_SERVICE_DMS:
            return dmsClient;
        case MODEM_API_SERVICE_NAS:
            return nasClient;
        case MODEM_API_SERVICE_PDC:
            return pdcClient;
        case MODEM_API_SERVICE_SAR:
            return sarClient;
        case MODEM_API_SERVICE_VS:
            return vsClient;
    }
    // The diag client has no QMI service.
    return nullptr;
}

}  // namespace com::vyr::plim::modem
