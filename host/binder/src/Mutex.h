/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A std::mutex the thread-safety analysis understands, its scoped lock, and a condition variable
// that waits on that lock.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ThreadAnnotations.h"

namespace hostbinder {

class HB_CAPABILITY("mutex") Mutex {
  public:
    void lock() HB_ACQUIRE() { mMutex.lock(); }
    void unlock() HB_RELEASE() { mMutex.unlock(); }
    std::mutex& native() { return mMutex; }

  private:
    std::mutex mMutex;
};

class HB_SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) HB_ACQUIRE(mutex) : mLock(mutex.native()) {}
    ~MutexLock() HB_RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    std::unique_lock<std::mutex>& native() { return mLock; }

  private:
    std::unique_lock<std::mutex> mLock;
};

// Waits are written as `while (!condition) cv.wait(lock);` so that the condition is read where
// the analysis knows the lock is held.
class CondVar {
  public:
    // Releases the lock while waiting and holds it again on return. May wake spuriously.
    void wait(MutexLock& lock) { mCv.wait(lock.native()); }
    // As wait; returns false once deadline has passed.
    bool waitUntil(MutexLock& lock, std::chrono::steady_clock::time_point deadline) {
        return mCv.wait_until(lock.native(), deadline) == std::cv_status::no_timeout;
    }
    void notifyOne() { mCv.notify_one(); }
    void notifyAll() { mCv.notify_all(); }

  private:
    std::condition_variable mCv;
};

}  // namespace hostbinder
