/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ServiceManager.h"

#include <cstring>
#include <vector>

#include "Binder.h"
#include "InProcessTransport.h"

namespace hostbinder {

namespace {

constexpr size_t kMaxNameLength = 127;

}  // namespace

ServiceManager& ServiceManager::instance() {
    // Never destroyed: it holds binders of processes that outlive static destruction.
    static ServiceManager* manager = new ServiceManager();
    return *manager;
}

bool ServiceManager::isValidName(const char* name) {
    if (name == nullptr)
        return false;
    const size_t length = std::strlen(name);
    if (length == 0 || length > kMaxNameLength)
        return false;
    for (size_t i = 0; i < length; ++i) {
        const char c = name[i];
        const bool valid = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' || c == '/';
        if (!valid)
            return false;
    }
    return true;
}

binder_exception_t ServiceManager::add(AIBinder* binder, const char* name) {
    if (binder == nullptr || !isValidName(name))
        return EX_ILLEGAL_ARGUMENT;
    ndk::SpAIBinder replaced;
    {
        MutexLock lock(mLock);
        replaced = replaceEntry(mServices, name, binder);
        mAdded.notifyAll();
    }
    return EX_NONE;
}

ndk::SpAIBinder ServiceManager::replaceEntry(std::map<std::string, ndk::SpAIBinder>& services,
                                             const char* name, AIBinder* binder) {
    binder->incStrong();
    ndk::SpAIBinder& entry = services[name];
    ndk::SpAIBinder replaced = std::move(entry);
    entry = ndk::SpAIBinder(binder);
    return replaced;
}

ndk::SpAIBinder ServiceManager::get(const char* name, const std::shared_ptr<Process>& caller,
                                    std::optional<std::chrono::milliseconds> timeout) {
    if (!isValidName(name))
        return nullptr;
    const auto deadline =
            std::chrono::steady_clock::now() + timeout.value_or(std::chrono::milliseconds(0));
    ndk::SpAIBinder service;
    {
        MutexLock lock(mLock);
        for (;;) {
            auto it = mServices.find(name);
            if (it != mServices.end()) {
                service = it->second;
                break;
            }
            if (!timeout) {
                mAdded.wait(lock);
            } else if (std::chrono::steady_clock::now() >= deadline) {
                break;
            } else {
                mAdded.waitUntil(lock, deadline);
            }
        }
    }
    if (service.get() == nullptr)
        return nullptr;
    InProcessTransport& transport = InProcessTransport::instance();
    if (!transport.isObjectAlive(service.get()))
        return nullptr;
    return transport.importBinder(service.get(), caller);
}

void ServiceManager::removeServicesOf(Process& dead) {
    std::vector<ndk::SpAIBinder> removed;
    {
        MutexLock lock(mLock);
        InProcessTransport& transport = InProcessTransport::instance();
        for (auto it = mServices.begin(); it != mServices.end();) {
            if (transport.ownerOf(it->second.get()) == &dead) {
                removed.push_back(std::move(it->second));
                it = mServices.erase(it);
            } else {
                ++it;
            }
        }
    }
    // Released outside the lock: dropping a service may destroy it.
}

}  // namespace hostbinder
