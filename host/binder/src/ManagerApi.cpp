/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The NDK's AServiceManager_* functions over ServiceManager, for the calling thread's process.

#include <android/binder_manager.h>

#include <chrono>

#include "InjectedFailures.h"
#include "Process.h"
#include "ServiceManager.h"
#include "ThreadContext.h"

using hostbinder::ServiceManager;
using hostbinder::ThreadContext;

namespace {

// "A couple of seconds", as the NDK's getService waits.
constexpr std::chrono::milliseconds kGetServiceTimeout(2000);

// Passes the held reference to the caller.
AIBinder* handOver(ndk::SpAIBinder binder) {
    AIBinder* raw = binder.get();
    *binder.getR() = nullptr;
    return raw;
}

}  // namespace

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (!ThreadContext::current().process().isAlive())
        return EX_TRANSACTION_FAILED;
    const binder_exception_t failure = hostbinder::injected::addServiceFailure.load();
    if (failure != EX_NONE)
        return failure;
    return ServiceManager::instance().add(binder, instance);
}

AIBinder* AServiceManager_checkService(const char* instance) {
    return handOver(ServiceManager::instance().get(instance, ThreadContext::current().processRef(),
                                                   std::chrono::milliseconds(0)));
}

AIBinder* AServiceManager_getService(const char* instance) {
    return handOver(ServiceManager::instance().get(instance, ThreadContext::current().processRef(),
                                                   kGetServiceTimeout));
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    return handOver(ServiceManager::instance().get(instance, ThreadContext::current().processRef(),
                                                   std::nullopt));
}
