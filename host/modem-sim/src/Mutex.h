/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A std::mutex and its scoped lock, annotated so that clang checks what each one guards
// (libstdc++'s own carry no attributes).

#pragma once

#include <mutex>

#include "ThreadAnnotations.h"

namespace modemsim {

class MS_CAPABILITY("mutex") Mutex {
  public:
    void lock() MS_ACQUIRE() { mMutex.lock(); }
    void unlock() MS_RELEASE() { mMutex.unlock(); }

  private:
    friend class MutexLock;
    std::mutex mMutex;
};

class MS_SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) MS_ACQUIRE(mutex) : mLock(mutex.mMutex) {}
    ~MutexLock() MS_RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    /** Lets go of the mutex for a while, e.g. to run a job; lock() takes it back. */
    void unlock() MS_RELEASE() { mLock.unlock(); }
    void lock() MS_ACQUIRE() { mLock.lock(); }

    // For CondVar only: waiting releases and retakes the mutex underneath.
    std::unique_lock<std::mutex>& native() { return mLock; }

  private:
    std::unique_lock<std::mutex> mLock;
};

}  // namespace modemsim
