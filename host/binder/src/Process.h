/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A simulated process: its binder thread pool and the queue of work (incoming transactions,
// death notifications) its binder threads run, and its death.
//
// The pool follows the NDK: startThreadPool starts one thread, and while work waits with no
// idle thread, up to the maximum count more are started. Threads in joinThreadPool serve too.
//
// Threads: any thread, except that die() must not be called from one of the process's own
// binder threads.

#pragma once

#include <sys/types.h>

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Mutex.h"
#include "Work.h"

namespace hostbinder {

class Process : public std::enable_shared_from_this<Process> {
  public:
    // A device's receiving process shares about half its 1 MiB transaction buffer among the
    // oneway transactions queued for it.
    static constexpr size_t kOnewayBufferBytes = (1024 * 1024 - 8 * 1024) / 2;

    Process(std::string name, pid_t pid, uid_t uid);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    const std::string& name() const { return mName; }
    pid_t pid() const { return mPid; }
    uid_t uid() const { return mUid; }
    bool isAlive() const { return mAlive.load(std::memory_order_acquire); }

    bool setMaxThreadCount(uint32_t count) HOST_EXCLUDES(mLock);
    void startThreadPool() HOST_EXCLUDES(mLock);
    bool isThreadPoolStarted() const HOST_EXCLUDES(mLock);
    // The calling thread serves the queue until the process dies.
    void joinThreadPool() HOST_EXCLUDES(mLock);
    uint32_t binderThreadCount() const HOST_EXCLUDES(mLock);

    // Queues work for a binder thread; a dead process cancels it instead.
    void post(std::unique_ptr<Work> work) HOST_EXCLUDES(mLock);

    // First half of dying: refuses new work and returns the queued work for the caller to
    // cancel. False if the process was already dead.
    bool markDead(std::deque<std::unique_ptr<Work>>* queued) HOST_EXCLUDES(mLock);
    // Second half: waits for the running work to return and the pool threads to end.
    void joinThreads() HOST_EXCLUDES(mLock);

    // The buffer that oneway transactions queued for this process share, as a device's
    // receiving process has: a transaction that would overfill it fails
    // (STATUS_FAILED_TRANSACTION) until queued ones have run. False when `bytes` do not fit.
    bool reserveOnewayBytes(size_t bytes) HOST_EXCLUDES(mLock);
    void releaseOnewayBytes(size_t bytes) HOST_EXCLUDES(mLock);

  private:
    void serve() HOST_EXCLUDES(mLock);
    void startThreadLocked() HOST_REQUIRES(mLock);

    const std::string mName;
    const pid_t mPid;
    const uid_t mUid;
    std::atomic<bool> mAlive{true};

    mutable Mutex mLock;
    CondVar mWorkQueued;
    std::deque<std::unique_ptr<Work>> mQueue HOST_GUARDED_BY(mLock);
    std::vector<std::thread> mThreads HOST_GUARDED_BY(mLock);
    bool mPoolStarted HOST_GUARDED_BY(mLock) = false;
    uint32_t mMaxLazyThreads HOST_GUARDED_BY(mLock) = 15;
    uint32_t mLazyThreads HOST_GUARDED_BY(mLock) = 0;
    size_t mIdleThreads HOST_GUARDED_BY(mLock) = 0;
    bool mStopping HOST_GUARDED_BY(mLock) = false;
    size_t mOnewayBytes HOST_GUARDED_BY(mLock) = 0;
};

}  // namespace hostbinder
