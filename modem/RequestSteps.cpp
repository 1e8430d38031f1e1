/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "RequestSteps.h"

#include <utility>

namespace com::vyr::plim::modem {

int postRequest(const char* tag, const char* func, const std::shared_ptr<Handler>& target,
                int msgId, std::shared_ptr<SerialParam> param) {
    const int serial = param->serial;
    std::shared_ptr<Message> msg = Message::obtain(msgId, target, std::move(param), nullptr);
    if (!msg) {
        Log::printAndroidLog(Log::ERROR, tag, "%s: failed to alloc new param or msg, serial = %d",
                             func, serial);
        return NO_MEMORY;
    }
    int err = msg->dispatch();
    if (err != OK) {
        Log::printAndroidLog(Log::ERROR, tag, "%s: failed to dispatch msg, serial = %d", func,
                             serial);
    }
    return err;
}

Errno syncCallOutcome(const char* tag, const char* func, modem_api_result_type result) {
    if (result != MODEM_API_SUCCESS) {
        Log::printAndroidLog(Log::ERROR, tag, "%s: failed to send sync request", func);
        return FAILED;
    }
    Log::printAndroidLog(Log::INFO, tag, "%s: successfully sent sync request", func);
    return OK;
}

}  // namespace com::vyr::plim::modem
