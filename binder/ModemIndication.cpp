/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ModemIndication.h"

#include <memory>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "CallbackHolders.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-ind";
}

int ModemIndication::indicateCacheInfo() {
    static constexpr const char* FUNC = "indicateCacheInfo";
    Log::printAndroidLog(Log::INFO, TAG, "%s: entry", FUNC);
    std::shared_ptr<aidl::vendor::vyr::plim::modem::IModemIndication> callback =
            CallbackHolders::indication().get();
    if (!callback) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: indCb null, can't send indication", FUNC);
        return INVALID_STATE;
    }
    // Version 1 has no cache-information indication to send: holding the callback is success.
    Log::printAndroidLog(Log::INFO, TAG, "%s: succeed", FUNC);
    return OK;
}

}  // namespace com::vyr::plim::modem
