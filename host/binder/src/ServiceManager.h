/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The service manager of all simulated processes: services by name, each held by one strong
// reference (as the real one holds a proxy), and handed to a caller as seen from its process.
// A service leaves when the process owning its object dies.
//
// Threads: any thread.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_status.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Mutex.h"

namespace hostbinder {

class Process;

class ServiceManager {
  public:
    static ServiceManager& instance();

    // EX_ILLEGAL_ARGUMENT for a null binder or an invalid name.
    binder_exception_t add(AIBinder* binder, const char* name) HOST_EXCLUDES(mLock);
    // The live service for caller, waiting up to timeout for it (forever without one).
    ndk::SpAIBinder get(const char* name, const std::shared_ptr<Process>& caller,
                        std::optional<std::chrono::milliseconds> timeout) HOST_EXCLUDES(mLock);
    void removeServicesOf(Process& dead) HOST_EXCLUDES(mLock);

    static bool isValidName(const char* name);
    // Registers `binder` (one strong reference taken) under `name` in `services`, and hands back
    // the one it replaces, for the caller to drop outside its lock: dropping may destroy it.
    static ndk::SpAIBinder replaceEntry(std::map<std::string, ndk::SpAIBinder>& services,
                                        const char* name, AIBinder* binder);

  private:
    ServiceManager() = default;

    Mutex mLock;
    CondVar mAdded;
    std::map<std::string, ndk::SpAIBinder> mServices HOST_GUARDED_BY(mLock);
};

}  // namespace hostbinder
