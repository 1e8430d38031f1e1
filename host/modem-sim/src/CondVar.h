/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A condition variable that waits on a MutexLock. Callers loop on their condition, so that the
// analysis sees it read with the lock held; waits may wake spuriously.

#pragma once

#include <chrono>
#include <condition_variable>

#include "Mutex.h"

namespace modemsim {

class CondVar {
  public:
    void wait(MutexLock& lock) { mCv.wait(lock.native()); }
    /** False once `deadline` has passed. */
    bool waitUntil(MutexLock& lock, std::chrono::steady_clock::time_point deadline) {
        return mCv.wait_until(lock.native(), deadline) == std::cv_status::no_timeout;
    }
    void notifyAll() { mCv.notify_all(); }

  private:
    std::condition_variable mCv;
};

}  // namespace modemsim
