/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ProcessRegistry.h"

#include <unistd.h>

#include "Process.h"

namespace hostbinder {

namespace {

// Simulated processes get pids above any the host kernel hands out by default.
constexpr pid_t kFirstSimulatedPid = 1 << 22;

}  // namespace

ProcessRegistry& ProcessRegistry::instance() {
    // Never destroyed: binder threads of the default process run until the executable exits.
    static ProcessRegistry* registry = new ProcessRegistry();
    return *registry;
}

ProcessRegistry::ProcessRegistry()
    : mDefault(std::make_shared<Process>("default", getpid(), getuid())),
      mNextPid(kFirstSimulatedPid) {}

Process* ProcessRegistry::create(const std::string& name) {
    MutexLock lock(mLock);
    auto process = std::make_shared<Process>(name, mNextPid++, getuid());
    Process* raw = process.get();
    mCreated.emplace(raw, std::move(process));
    return raw;
}

bool ProcessRegistry::release(Process* process) {
    std::shared_ptr<Process> held;
    {
        MutexLock lock(mLock);
        auto it = mCreated.find(process);
        if (it == mCreated.end())
            return false;
        held = std::move(it->second);
        mCreated.erase(it);
    }
    // The process object itself lives on while binders still refer to it.
    return true;
}

}  // namespace hostbinder
