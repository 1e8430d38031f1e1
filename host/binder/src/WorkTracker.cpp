/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "WorkTracker.h"

namespace hostbinder {

WorkTracker& WorkTracker::instance() {
    // Never destroyed: binder threads may still be counting while the executable exits.
    static WorkTracker* tracker = new WorkTracker();
    return *tracker;
}

void WorkTracker::add(const Process& process) {
    MutexLock lock(mLock);
    ++mTotal;
    ++mByProcess[&process];
}

void WorkTracker::remove(const Process& process) {
    MutexLock lock(mLock);
    --mTotal;
    // The entry stays at zero until the process goes: a request that leaves a process idle and
    // the next that wakes it would otherwise free and allocate a node each time.
    --mByProcess.find(&process)->second;
    mChanged.notifyAll();
}

void WorkTracker::forget(const Process& process) {
    MutexLock lock(mLock);
    mByProcess.erase(&process);
}

size_t WorkTracker::pending(const Process& process) {
    MutexLock lock(mLock);
    return pendingLocked(process);
}

size_t WorkTracker::pendingLocked(const Process& process) {
    auto it = mByProcess.find(&process);
    return it == mByProcess.end() ? 0 : it->second;
}

void WorkTracker::waitForIdle(const Process& process) {
    MutexLock lock(mLock);
    while (pendingLocked(process) != 0)
        mChanged.wait(lock);
}

void WorkTracker::waitForIdle() {
    MutexLock lock(mLock);
    while (mTotal != 0)
        mChanged.wait(lock);
}

}  // namespace hostbinder
