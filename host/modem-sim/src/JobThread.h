/*
 * Copyright (C) 2026 The plim-modem developers
 */

// One of the library's own threads: runs queued jobs one at a time, each once its due time has
// come; jobs due at the same time run in the order they were posted. The event thread, the
// request thread and each reply thread are one of these.
//
// Jobs may be posted before the thread starts: they wait for it. Stopping discards what is
// still queued.
//
// Threads: any thread, except that stop() must not be called from the thread itself.

#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <thread>

#include "Mutex.h"
#include "WorkCounter.h"

namespace modemsim {

class JobThread {
  public:
    using Clock = std::chrono::steady_clock;
    using Job = std::function<void()>;

    JobThread(const char* name, WorkCounter& work) : mName(name), mWork(work) {}
    ~JobThread();
    JobThread(const JobThread&) = delete;
    JobThread& operator=(const JobThread&) = delete;

    /** Starts the thread unless it runs already. */
    void start() HOST_EXCLUDES(mLock);
    /** Waits for the running job, ends the thread and drops the queued jobs. */
    void stop() HOST_EXCLUDES(mLock);
    void post(Clock::time_point due, Job job) HOST_EXCLUDES(mLock);

    /** Whether the calling thread is any JobThread's. */
    static bool isJobThread();

  private:
    void run() HOST_EXCLUDES(mLock);

    const char* const mName;
    WorkCounter& mWork;
    Mutex mLock;
    CondVar mChanged;
    // A multimap keeps jobs of equal due time in the order they were inserted.
    std::multimap<Clock::time_point, Job> mJobs HOST_GUARDED_BY(mLock);
    bool mStopping HOST_GUARDED_BY(mLock) = false;
    // Written only by start() and stop(), which the library never runs concurrently.
    std::thread mThread;
};

}  // namespace modemsim
