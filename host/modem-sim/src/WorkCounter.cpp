/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "WorkCounter.h"

namespace modemsim {

void WorkCounter::add() {
    MutexLock lock(mLock);
    ++mPending;
}

void WorkCounter::done() {
    MutexLock lock(mLock);
    if (--mPending == 0)
        mIdle.notifyAll();
}

bool WorkCounter::waitUntilIdle(std::chrono::steady_clock::time_point deadline) {
    MutexLock lock(mLock);
    while (mPending != 0) {
        if (!mIdle.waitUntil(lock, deadline))
            return mPending == 0;
    }
    return true;
}

}  // namespace modemsim
