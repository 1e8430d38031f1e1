/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Process.h"

#include <cstdio>
#include <cstdlib>

#include "InjectedFailures.h"
#include "ThreadContext.h"
#include "WorkTracker.h"

namespace hostbinder {

Process::Process(std::string name, pid_t pid, uid_t uid)
    : mName(std::move(name)), mPid(pid), mUid(uid) {}

Process::~Process() {
    std::deque<std::unique_ptr<Work>> queued;
    if (markDead(&queued)) {
        for (auto& work : queued)
            work->cancel();
    }
    joinThreads();
    // Pending work holds its process, so none is left by now.
    WorkTracker::instance().forget(*this);
}

bool Process::setMaxThreadCount(uint32_t count) {
    MutexLock lock(mLock);
    // As on a device: threads already started could outnumber a lowered maximum.
    if (mPoolStarted && count < mMaxLazyThreads) {
        std::fprintf(stderr,
                     "binder: process %s: thread pool cannot be shrunk after starting "
                     "(maximum %u, asked for %u)\n",
                     mName.c_str(), mMaxLazyThreads, count);
        std::abort();
    }
    if (injected::threadPoolMaxRefused.load())
        return false;
    mMaxLazyThreads = count;
    return true;
}

void Process::startThreadPool() {
    MutexLock lock(mLock);
    if (mPoolStarted || mStopping)
        return;
    mPoolStarted = true;
    startThreadLocked();
    // Work queued before the pool existed may need more than the first thread.
    while (mQueue.size() > mIdleThreads + 1 && mLazyThreads < mMaxLazyThreads) {
        ++mLazyThreads;
        startThreadLocked();
    }
}

bool Process::isThreadPoolStarted() const {
    MutexLock lock(mLock);
    return mPoolStarted;
}

uint32_t Process::binderThreadCount() const {
    MutexLock lock(mLock);
    return static_cast<uint32_t>(mThreads.size());
}

void Process::startThreadLocked() {
    mThreads.emplace_back([this] {
        ThreadContext& context = ThreadContext::current();
        context.enter(this);
        context.setServing(this);
        serve(false);
    });
}

void Process::joinThreadPool() {
    ThreadContext& context = ThreadContext::current();
    Process* previous = context.enter(this);
    context.setServing(this);
    serve(false);
    context.setServing(nullptr);
    context.enter(previous);
}

void Process::serveInPlace(std::unique_ptr<Work> work) {
    ThreadContext& context = ThreadContext::current();
    Process* previous = context.enter(this);
    context.setServing(this);
    work->run();
    work.reset();
    serve(true);
    context.setServing(nullptr);
    context.enter(previous);
    MutexLock lock(mLock);
    --mInPlaceThreads;
    mInPlaceLeft.notifyAll();
}

void Process::serve(bool inPlace) {
    for (;;) {
        std::unique_ptr<Work> work;
        {
            MutexLock lock(mLock);
            ++mIdleThreads;
            // Work first: a thread that leaves must not take a wake-up meant for queued work.
            while (mQueue.empty() && !mStopping && !(inPlace && mSpareThreads > 0))
                mWorkQueued.wait(lock);
            --mIdleThreads;
            if (mStopping)
                return;
            if (mQueue.empty()) {
                --mSpareThreads;
                return;
            }
            work = std::move(mQueue.front());
            mQueue.pop_front();
        }
        work->run();
        // Destroyed here, outside the lock: it may release binders and so run user code.
        work.reset();
    }
}

void Process::post(std::unique_ptr<Work> work) {
    {
        MutexLock lock(mLock);
        if (!mStopping) {
            mQueue.push_back(std::move(work));
            if (mPoolStarted && mQueue.size() > mIdleThreads && mLazyThreads < mMaxLazyThreads) {
                ++mLazyThreads;
                startThreadLocked();
            }
        }
    }
    if (work != nullptr) {
        work->cancel();  // the process is dying
        return;
    }
    // After the unlock, so that the woken thread does not block at once on mLock.
    mWorkQueued.notifyOne();
}

bool Process::handOff(std::unique_ptr<Work>* duty) {
    {
        MutexLock lock(mLock);
        // Each queued piece of work already has its idle thread coming.
        if (mStopping || mIdleThreads <= mQueue.size())
            return false;
        mQueue.push_front(std::move(*duty));
        if (!ThreadContext::current().isBinderThreadOf(*this))
            ++mInPlaceThreads;
    }
    mWorkQueued.notifyOne();
    return true;
}

void Process::dutyEnded() {
    {
        MutexLock lock(mLock);
        ++mSpareThreads;
    }
    mWorkQueued.notifyAll();
}

bool Process::markDead(std::deque<std::unique_ptr<Work>>* queued) {
    MutexLock lock(mLock);
    if (mStopping)
        return false;
    mStopping = true;
    mAlive.store(false, std::memory_order_release);
    queued->swap(mQueue);
    mWorkQueued.notifyAll();
    return true;
}

void Process::joinThreads() {
    std::vector<std::thread> threads;
    {
        MutexLock lock(mLock);
        threads.swap(mThreads);
    }
    for (std::thread& thread : threads) {
        if (thread.get_id() == std::this_thread::get_id()) {
            std::fprintf(stderr, "binder: process %s cannot die on its own binder thread\n",
                         mName.c_str());
            std::abort();
        }
        thread.join();
    }
    MutexLock lock(mLock);
    while (mInPlaceThreads > 0)
        mInPlaceLeft.wait(lock);
}

bool Process::reserveOnewayBytes(size_t bytes) {
    MutexLock lock(mLock);
    if (bytes > kOnewayBufferBytes - mOnewayBytes)
        return false;
    mOnewayBytes += bytes;
    return true;
}

void Process::releaseOnewayBytes(size_t bytes) {
    MutexLock lock(mLock);
    mOnewayBytes -= bytes;
}

}  // namespace hostbinder
