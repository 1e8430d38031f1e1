/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "JobThread.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace modemsim {

namespace {
thread_local bool tIsJobThread = false;
}  // namespace

JobThread::~JobThread() {
    stop();
}

void JobThread::start() {
    if (mThread.joinable())
        return;
    mThread = std::thread([this] { run(); });
}

void JobThread::stop() {
    if (mThread.joinable()) {
        if (mThread.get_id() == std::this_thread::get_id()) {
            // Joining itself would hang the process; this is a misuse by the caller.
            std::fprintf(stderr, "modem-sim: %s stopped from its own thread\n", mName);
            std::abort();
        }
        {
            MutexLock lock(mLock);
            mStopping = true;
            mChanged.notifyAll();
        }
        mThread.join();
    }
    std::multimap<Clock::time_point, Job> dropped;
    {
        MutexLock lock(mLock);
        dropped.swap(mJobs);
        mStopping = false;
    }
    // Destroyed outside the lock: a job's captures may be anything.
    for (size_t i = 0; i < dropped.size(); ++i)
        mWork.done();
}

void JobThread::post(Clock::time_point due, Job job) {
    mWork.add();
    MutexLock lock(mLock);
    mJobs.emplace(due, std::move(job));
    mChanged.notifyAll();
}

bool JobThread::isJobThread() {
    return tIsJobThread;
}

void JobThread::run() {
    tIsJobThread = true;
    pthread_setname_np(pthread_self(), mName);
    MutexLock lock(mLock);
    while (!mStopping) {
        if (mJobs.empty()) {
            mChanged.wait(lock);
            continue;
        }
        auto first = mJobs.begin();
        if (first->first > Clock::now()) {
            mChanged.waitUntil(lock, first->first);
            continue;
        }
        Job job = std::move(first->second);
        mJobs.erase(first);
        lock.unlock();
        job();
        job = nullptr;  // its captures go before the job counts as done
        mWork.done();
        lock.lock();
    }
}

}  // namespace modemsim
