/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A thread with a duty of its own trading places with an idle binder thread (Process::handOff):
// the pool's limits must hold whoever runs the work, and the thread lent to the pool must leave
// once the duty comes back.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>

#include "OtherProcess.h"
#include "PendingWork.h"
#include "Process.h"
#include "ThreadContext.h"
#include "Work.h"
#include "WorkTracker.h"

namespace {

using hostbinder::PendingWork;
using hostbinder::Process;
using hostbinder::Work;
using namespace std::chrono_literals;

// Work that runs a function, counted as pending while it exists unless pendingIn is null.
class FunctionWork : public Work {
  public:
    FunctionWork(std::shared_ptr<Process> pendingIn, std::function<void()> body)
        : mPending(pendingIn ? std::make_unique<PendingWork>(std::move(pendingIn)) : nullptr),
          mBody(std::move(body)) {}
    void run() override { mBody(); }
    void cancel() override {}

  private:
    std::unique_ptr<PendingWork> mPending;
    std::function<void()> mBody;
};

class ThreadHandOffTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mProcess = std::make_shared<Process>("handoff", getpid(), getuid());
        // One thread at start and one more on demand: a pool of two.
        ASSERT_TRUE(mProcess->setMaxThreadCount(1)) << "pool size";
    }

    void TearDown() override {
        // A duty a failed case left blocked goes first, so that the pool can drain.
        mReleaseDuty = true;
        hostbinder::WorkTracker::instance().waitForIdle(*mProcess);
        EXPECT_EQ(0u, hostbinder::WorkTracker::instance().pending(*mProcess))
                << "work left pending";
        // Work stops counting as pending just before it lets go of the process; the last
        // reference must go here, as a process cannot die on one of its own threads.
        ASSERT_TRUE(eventually([&] { return mProcess.use_count() == 1; }, 10s))
                << "finished work still holds the process";
        mProcess.reset();  // joins the pool, which must not wait for ever
    }

    // Declared before the process, so that they outlive its threads.
    std::atomic<bool> mDutyStarted{false};
    std::atomic<bool> mReleaseDuty{false};
    std::shared_ptr<Process> mProcess;
};

TEST_F(ThreadHandOffTest, ServeInPlace_KeepsThePoolAtItsSizeAndLeavesWhenTheDutyEnds) {
    mProcess->startThreadPool();
    // Retried until the pool's thread is idle.
    // The duty stands for reading a connection: it holds its binder thread until released, then
    // ends for good.
    ASSERT_TRUE(eventually([&] {
        std::unique_ptr<Work> duty = std::make_unique<FunctionWork>(nullptr, [this] {
            mDutyStarted = true;
            eventually([this] { return mReleaseDuty.load(); });
            mProcess->dutyEnded();
        });
        return mProcess->handOff(&duty);
    })) << "no idle thread took the duty";
    ASSERT_TRUE(eventually([this] { return mDutyStarted.load(); }))
            << "the idle thread never ran the duty";

    // Work counted while it runs; each waits until two run at once, which only two serving
    // threads can reach (one pool thread is on the duty).
    struct Tally {
        std::mutex mutex;
        std::condition_variable changed;
        int running = 0;
        int mostAtOnce = 0;
    };
    auto tally = std::make_shared<Tally>();
    auto body = [tally] {
        std::unique_lock<std::mutex> lock(tally->mutex);
        tally->mostAtOnce = std::max(tally->mostAtOnce, ++tally->running);
        tally->changed.notify_all();
        tally->changed.wait_for(lock, 2s, [&] { return tally->mostAtOnce >= 2; });
        --tally->running;
    };
    auto left = std::async(std::launch::async, [this, body] {
        mProcess->serveInPlace(std::make_unique<FunctionWork>(mProcess, body));
        return hostbinder::ThreadContext::current().isBinderThreadOf(*mProcess);
    });
    // Declared after `left`, so that a failed assertion lets the duty end before the body
    // waits for the thread serving in place.
    struct ReleaseOnExit {
        std::atomic<bool>& gate;
        ~ReleaseOnExit() { gate = true; }
    } releaseOnExit{mReleaseDuty};
    constexpr int kWorks = 6;
    for (int i = 0; i < kWorks; ++i)
        mProcess->post(std::make_unique<FunctionWork>(mProcess, body));
    hostbinder::WorkTracker::instance().waitForIdle(*mProcess);

    EXPECT_EQ(2, tally->mostAtOnce)
            << "the thread serving in place must stand in for the one on the duty, and no more "
               "than the pool's two may run work";
    EXPECT_EQ(2u, mProcess->binderThreadCount()) << "the pool grew past its maximum";
    EXPECT_EQ(std::future_status::timeout, left.wait_for(50ms))
            << "the thread serving in place left while the duty still held its place";

    mReleaseDuty = true;
    ASSERT_EQ(std::future_status::ready, left.wait_for(10s))
            << "the duty came back to the pool, yet the thread serving in place never left";
    EXPECT_FALSE(left.get()) << "a thread that left the pool must not still count as its own";
}

}  // namespace
