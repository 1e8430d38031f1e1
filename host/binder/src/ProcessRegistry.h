/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The simulated processes: the default one every thread starts in, and those tests create
// (owned here until deleted, so that the host API can hand out plain pointers).
//
// Threads: any thread.

#pragma once

#include <map>
#include <memory>
#include <string>

#include "Mutex.h"

namespace hostbinder {

class Process;

class ProcessRegistry {
  public:
    static ProcessRegistry& instance();

    // Never dies and is never destroyed.
    Process& defaultProcess() { return *mDefault; }

    Process* create(const std::string& name) HOST_EXCLUDES(mLock);
    // Releases the registry's hold; false if process was not created here.
    bool release(Process* process) HOST_EXCLUDES(mLock);

  private:
    ProcessRegistry();

    const std::shared_ptr<Process> mDefault;
    Mutex mLock;
    pid_t mNextPid HOST_GUARDED_BY(mLock);
    std::map<Process*, std::shared_ptr<Process>> mCreated HOST_GUARDED_BY(mLock);
};

}  // namespace hostbinder
