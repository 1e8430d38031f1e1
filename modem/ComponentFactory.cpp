/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ComponentFactory.h"

#include <plim/Errno.h>
#include <plim/Log.h>

#include "AidlService.h"
#include "ModemManager.h"

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-factory";
}

ComponentFactory& ComponentFactory::getInstance() {
    static ComponentFactory factory;
    return factory;
}

ComponentFactory::~ComponentFactory() = default;

int ComponentFactory::make(int instanceId) {
    static constexpr const char* FUNC = "make";
    int err = ModemManager::init(instanceId);
    if (err != OK) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to init modem manager, err = %d", FUNC,
                             err);
        return err;
    }
    // After the clients exist: the service can receive requests as soon as it is registered.
    err = AidlService::setup(instanceId);
    if (err != OK) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to setup aidl service, err = %d", FUNC,
                             err);
        return err;
    }
    return OK;
}

}  // namespace com::vyr::plim::modem
