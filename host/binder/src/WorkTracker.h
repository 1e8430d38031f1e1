/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Counts the work pending in each process and in all of them, so that tests can wait until
// everything that was set off has run. Work queued by running work is counted before the
// running work stops being pending, so "nothing pending" means quiet for good.
//
// Threads: any thread; the waits must not be made from a binder thread (its own work would
// never finish).

#pragma once

#include <cstddef>
#include <map>

#include "Mutex.h"

namespace hostbinder {

class Process;

class WorkTracker {
  public:
    static WorkTracker& instance();

    void add(const Process& process) HOST_EXCLUDES(mLock);
    void remove(const Process& process) HOST_EXCLUDES(mLock);
    /** Drops the process's entry; called as the process goes, when no work of it is left. */
    void forget(const Process& process) HOST_EXCLUDES(mLock);
    size_t pending(const Process& process) HOST_EXCLUDES(mLock);
    void waitForIdle(const Process& process) HOST_EXCLUDES(mLock);
    void waitForIdle() HOST_EXCLUDES(mLock);

  private:
    WorkTracker() = default;
    size_t pendingLocked(const Process& process) HOST_REQUIRES(mLock);

    Mutex mLock;
    CondVar mChanged;
    size_t mTotal HOST_GUARDED_BY(mLock) = 0;
    std::map<const Process*, size_t> mByProcess HOST_GUARDED_BY(mLock);
};

}  // namespace hostbinder
