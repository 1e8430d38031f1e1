/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <condition_variable>
#include <mutex>

#include <plim/ThreadAnnotations.h>

namespace com::vyr::plim {

/**
 * A std::mutex that clang's thread-safety analysis understands, so that GUARDED_BY members are
 * checked at compile time on every standard library (libstdc++'s mutex carries no attributes).
 */
class CAPABILITY("mutex") Mutex {
  public:
    void lock() ACQUIRE() { mutex_.lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

  private:
    friend class MutexLock;
    std::mutex mutex_;
};

/** Holds a Mutex for its scope; can wait on a condition variable while holding it. */
class SCOPED_CAPABILITY MutexLock {
  public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock_(mutex.mutex_) {}
    ~MutexLock() RELEASE() {}

    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    /** Releases the mutex while blocked; holds it again when this returns. */
    void wait(std::condition_variable& cv) { cv.wait(lock_); }

  private:
    std::unique_lock<std::mutex> lock_;
};

}  // namespace com::vyr::plim
