/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The NDK's AServiceManager_* functions over ServiceManager, for the calling thread's process;
// in a process that opted into sockets, the default process's go to the other processes instead.

#include <android/binder_manager.h>

#include <chrono>
#include <optional>

#include "InjectedFailures.h"
#include "Process.h"
#include "ProcessRegistry.h"
#include "ServiceManager.h"
#include "SocketTransport.h"
#include "ThreadContext.h"

using hostbinder::ProcessRegistry;
using hostbinder::ServiceManager;
using hostbinder::SocketTransport;
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

// The socket transport, when the calling thread's process is the real one and it opted in.
SocketTransport* sockets() {
    if (&ThreadContext::current().process() != &ProcessRegistry::instance().defaultProcess())
        return nullptr;
    return SocketTransport::instance();
}

ndk::SpAIBinder getService(const char* instance, std::optional<std::chrono::milliseconds> timeout) {
    if (SocketTransport* transport = sockets())
        return transport->getService(instance, timeout);
    return ServiceManager::instance().get(instance, ThreadContext::current().processRef(), timeout);
}

}  // namespace

binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance) {
    if (!ThreadContext::current().process().isAlive())
        return EX_TRANSACTION_FAILED;
    const binder_exception_t failure = hostbinder::injected::addServiceFailure.load();
    if (failure != EX_NONE)
        return failure;
    if (SocketTransport* transport = sockets())
        return transport->addService(binder, instance);
    return ServiceManager::instance().add(binder, instance);
}

AIBinder* AServiceManager_checkService(const char* instance) {
    return handOver(getService(instance, std::chrono::milliseconds(0)));
}

AIBinder* AServiceManager_getService(const char* instance) {
    return handOver(getService(instance, kGetServiceTimeout));
}

AIBinder* AServiceManager_waitForService(const char* instance) {
    return handOver(getService(instance, std::nullopt));
}
