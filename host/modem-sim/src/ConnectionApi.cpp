/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The C API's start-up, event, connection and subscription functions.

#include <modem_api.h>

#include "ArgText.h"
#include "Modem.h"

using modemsim::argList;
using modemsim::Device;
using modemsim::Modem;
using modemsim::pointerArg;

namespace {

constexpr uint8_t kLibraryVersion = 7;
// QMI service ids are one byte; 0 is the control service, which clients never request.
constexpr int32_t kMinServiceId = 1;
constexpr int32_t kMaxServiceId = 255;

bool isServiceId(int32_t serviceId) {
    return serviceId >= kMinServiceId && serviceId <= kMaxServiceId;
}

bool isKnownEvent(modem_api_event_type event) {
    switch (event) {
        case MODEM_API_EVENT_SERVICE_CONNECTED:
        case MODEM_API_EVENT_SERVICE_DISCONNECTED:
        case MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO:
        case MODEM_API_EVENT_PDC_CONFIG_INFO:
            return true;
        default:
            return false;
    }
}

bool isSubscription(int32_t instanceId) {
    return instanceId == 0 || instanceId == 1;
}

modem_api_result_type bindSubscription(const char* function, int32_t service, int32_t instanceId,
                                       int modemsim::State::*bound) {
    return Modem::instance().call(function, argList(instanceId), service,
                                  isSubscription(instanceId), [=](Device& device) {
                                      device.settings.*bound = instanceId;
                                      return MODEM_API_SUCCESS;
                                  });
}

}  // namespace

extern "C" {

modem_api_result_type modem_api_init_pre(void) {
    return Modem::instance().initPre();
}

modem_api_result_type modem_api_set_event_callback(modem_api_event_cb cb) {
    return Modem::instance().call("modem_api_set_event_callback", pointerArg(cb != nullptr),
                                  Modem::kNoService, true, [cb](Device& device) {
                                      device.callback = cb;
                                      return MODEM_API_SUCCESS;
                                  });
}

modem_api_result_type modem_api_subscribe_event(modem_api_event_type event) {
    return Modem::instance().call("modem_api_subscribe_event", argList(event), Modem::kNoService,
                                  isKnownEvent(event), [event](Device& device) {
                                      device.subscribed.insert(event);
                                      return MODEM_API_SUCCESS;
                                  });
}

modem_api_result_type modem_api_init_qmi_connection(int32_t service_id, int32_t flags) {
    return Modem::instance().call("modem_api_init_qmi_connection", argList(service_id, flags),
                                  Modem::kNoService, isServiceId(service_id) && flags == 0,
                                  [service_id](Device& device) {
                                      // Asking again for a service already asked for changes
                                      // nothing.
                                      device.services.request(service_id, Modem::Clock::now());
                                      return MODEM_API_SUCCESS;
                                  });
}

modem_api_result_type modem_api_release_qmi_connection(int32_t service_id) {
    return Modem::instance().call(
            "modem_api_release_qmi_connection", argList(service_id), Modem::kNoService,
            isServiceId(service_id), [service_id](Device& device) {
                return device.services.release(service_id) ? MODEM_API_SUCCESS
                                                           : MODEM_API_INVALID_ARGUMENT;
            });
}

modem_api_result_type modem_api_bind_nas_subscription(int32_t instance_id) {
    return bindSubscription("modem_api_bind_nas_subscription", MODEM_API_SERVICE_NAS, instance_id,
                            &modemsim::State::nasSubscription);
}

modem_api_result_type modem_api_bind_vs_subscription(int32_t instance_id) {
    return bindSubscription("modem_api_bind_vs_subscription", MODEM_API_SERVICE_VS, instance_id,
                            &modemsim::State::vsSubscription);
}

modem_api_result_type modem_api_bind_wds_subscription(int32_t instance_id) {
    return bindSubscription("modem_api_bind_wds_subscription", MODEM_API_SERVICE_WDS, instance_id,
                            &modemsim::State::wdsSubscription);
}

modem_api_result_type modem_api_get_version(uint8_t* version) {
    return Modem::instance().call("modem_api_get_version", "", MODEM_API_SERVICE_VS,
                                  version != nullptr, [version](Device&) {
                                      *version = kLibraryVersion;
                                      return MODEM_API_SUCCESS;
                                  });
}

}  // extern "C"
