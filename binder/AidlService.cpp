/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "AidlService.h"

#include <android/binder_manager.h>
#include <android/binder_process.h>

#include <mutex>
#include <string>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "ModemImpl.h"

namespace com::vyr::plim::modem {

namespace {

constexpr const char* TAG = "modem-service";
// One binder thread: requests only queue work for the main looper, so more would only add races.
constexpr uint32_t MAX_BINDER_THREADS = 1;

std::shared_ptr<ModemImpl>& serviceObject() {
    static std::shared_ptr<ModemImpl> service;
    return service;
}

int setupOnce(int instanceId) {
    if (!ABinderProcess_setThreadPoolMaxThreadCount(MAX_BINDER_THREADS)) {
        Log::printAndroidLog(Log::ERROR, TAG,
                             "failed to set max thread count for binder thread pool");
        return FAILED;
    }
    ABinderProcess_startThreadPool();

    std::shared_ptr<ModemImpl>& service = serviceObject();
    service = ndk::SharedRefBase::make<ModemImpl>(instanceId);
    if (!service) {
        Log::printAndroidLog(Log::ERROR, TAG, "failed to alloc instance of aidl service %s",
                             ModemImpl::descriptor);
        return NO_MEMORY;
    }
    const std::string name =
            std::string(ModemImpl::descriptor) + "/instance" + std::to_string(instanceId);
    binder_exception_t status;
    {
        ndk::SpAIBinder binder = service->asBinder();
        status = AServiceManager_addService(binder.get(), name.c_str());
    }
    if (status != EX_NONE) {
        Log::printAndroidLog(Log::ERROR, TAG, "failed to add aidl service %s, status = %d",
                             name.c_str(), status);
        service.reset();
        return FAILED;
    }
    Log::printAndroidLog(Log::INFO, TAG, "successfully registered aidl service %s", name.c_str());
    return OK;
}

}  // namespace

int AidlService::setup(int instanceId) {
    static std::once_flag once;
    int result = INVALID_STATE;
    std::call_once(once, [&] { result = setupOnce(instanceId); });
    return result;
}

std::shared_ptr<ModemImpl> AidlService::getService() {
    return serviceObject();
}

}  // namespace com::vyr::plim::modem
