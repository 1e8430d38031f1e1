/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A simulated process: its binder thread pool and the queue of work (incoming transactions,
// death notifications) its binder threads run, and its death.
//
// The pool follows the NDK: startThreadPool starts one thread, and while work waits with no
// idle thread, up to the maximum count more are started. Threads in joinThreadPool serve too.
//
// A thread with a duty of its own (reading a connection) that receives work may trade places
// with an idle binder thread instead of queuing the work: the idle thread takes the duty, the
// caller runs the work as a binder thread and then serves in the pool in its place. The woken
// thread is then off the path of the work, and the number of threads that can run work stays
// the pool's.
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

    // Gives *duty to an idle binder thread, to run in the caller's place, and takes it from the
    // caller; false (leaving *duty alone) when no thread is idle. After true, the caller counts
    // as that binder thread: if it is one already it just goes on; otherwise it must run its
    // work through serveInPlace. A duty that ends without being handed on calls dutyEnded.
    bool handOff(std::unique_ptr<Work>* duty) HOST_EXCLUDES(mLock);
    // After handOff, on a thread that is not one of the pool's: runs work as a binder thread,
    // then serves the queue until a duty ends (dutyEnded) or the process dies.
    void serveInPlace(std::unique_ptr<Work> work) HOST_EXCLUDES(mLock);
    // From a duty's run() when its duty ended for good (its connection closed): the thread goes
    // back to the pool, so one that serves in place leaves.
    void dutyEnded() HOST_EXCLUDES(mLock);

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
    // inPlace: a thread that serveInPlace lent the pool, which leaves when one is to spare.
    void serve(bool inPlace) HOST_EXCLUDES(mLock);
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
    // Threads serving in place, and how many of them should leave (duties that ended).
    size_t mInPlaceThreads HOST_GUARDED_BY(mLock) = 0;
    size_t mSpareThreads HOST_GUARDED_BY(mLock) = 0;
    CondVar mInPlaceLeft;
    size_t mOnewayBytes HOST_GUARDED_BY(mLock) = 0;
};

}  // namespace hostbinder
