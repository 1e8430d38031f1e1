/*
 * Copyright (C) 2026 The plim-modem developers
 */

// HOST ONLY: the locks of the host stand-ins (binder, simulated modem). A std::mutex that clang's
// thread-safety analysis understands (libstdc++'s carries no attributes), its scoped lock, and a
// condition variable that waits on that lock. Other compilers see empty annotations.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define HOST_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define HOST_THREAD_ANNOTATION(x)
#endif

#define HOST_CAPABILITY(x) HOST_THREAD_ANNOTATION(capability(x))
#define HOST_SCOPED_CAPABILITY HOST_THREAD_ANNOTATION(scoped_lockable)
#define HOST_GUARDED_BY(x) HOST_THREAD_ANNOTATION(guarded_by(x))
#define HOST_PT_GUARDED_BY(x) HOST_THREAD_ANNOTATION(pt_guarded_by(x))
#define HOST_REQUIRES(...) HOST_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define HOST_EXCLUDES(...) HOST_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define HOST_ACQUIRE(...) HOST_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define HOST_RELEASE(...) HOST_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define HOST_NO_THREAD_SAFETY_ANALYSIS HOST_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace hostcommon {

class HOST_CAPABILITY("mutex") Mutex {
  public:
    void lock() HOST_ACQUIRE() { mMutex.lock(); }
    void unlock() HOST_RELEASE() { mMutex.unlock(); }
    std::mutex& native() { return mMutex; }

  private:
    std::mutex mMutex;
};

class HOST_SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) HOST_ACQUIRE(mutex) : mLock(mutex.native()) {}
    ~MutexLock() HOST_RELEASE() {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    /** Lets go of the mutex for a while (to run a job, say); lock() takes it back. */
    void unlock() HOST_RELEASE() { mLock.unlock(); }
    void lock() HOST_ACQUIRE() { mLock.lock(); }
    // For CondVar: waiting releases and retakes the mutex underneath.
    std::unique_lock<std::mutex>& native() { return mLock; }

  private:
    std::unique_lock<std::mutex> mLock;
};

// Waits are written as `while (!condition) cv.wait(lock);` so that the condition is read where
// the analysis knows the lock is held.
class CondVar {
  public:
    /** Releases the lock while waiting and holds it again on return. May wake spuriously. */
    void wait(MutexLock& lock) { mCv.wait(lock.native()); }
    /** As wait(); false once `deadline` has passed. */
    bool waitUntil(MutexLock& lock, std::chrono::steady_clock::time_point deadline) {
        return mCv.wait_until(lock.native(), deadline) == std::cv_status::no_timeout;
    }
    void notifyOne() { mCv.notify_one(); }
    void notifyAll() { mCv.notify_all(); }

  private:
    std::condition_variable mCv;
};

}  // namespace hostcommon
