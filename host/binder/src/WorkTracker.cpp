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
    auto it = mByProcess.find(&process);
    if (--it->second == 0)
        mByProcess.erase(it);
    mChanged.notifyAll();
}

size_t WorkTracker::pending(const Process& process) {
    MutexLock lock(mLock);
    auto it = mByProcess.find(&process);
    return it == mByProcess.end() ? 0 : it->second;
}

void WorkTracker::waitForIdle(const Process& process) {
    MutexLock lock(mLock);
    while (mByProcess.count(&process) != 0)
        mChanged.wait(lock);
}

void WorkTracker::waitForIdle() {
    MutexLock lock(mLock);
    while (mTotal != 0)
        mChanged.wait(lock);
}

}  // namespace hostbinder
