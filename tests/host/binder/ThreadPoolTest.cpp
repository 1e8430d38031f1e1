/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Binder thread pools of simulated processes: one thread at start, more only while calls wait,
// never past the maximum; joined threads serve too.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "Latch.h"
#include "TestObject.h"

namespace {

constexpr transaction_code_t kCall = FIRST_CALL_TRANSACTION;

class ThreadPoolTest : public ::testing::Test {
  protected:
    void TearDown() override {
        ABinderHost_waitForIdle();
        EXPECT_EQ(0u, server.pendingWork()) << "the server still has work queued";
    }

    ndk::SpAIBinder serve(testobject::Handler handler) {
        return server.run([&] {
            ndk::SpAIBinder local = testobject::create(std::move(handler));
            return testobject::sendTo(ABinderHost_Process_getDefault(), local);
        });
    }

    ndk::host::ScopedProcess server{"server"};
};

TEST_F(ThreadPoolTest, StartThreadPool_WhenCallsPileUp_StartsThreadsLazilyUpToMax) {
    constexpr uint32_t kLazy = 2;
    server.startThreadPool(kLazy);
    EXPECT_EQ(1u, ABinderHost_Process_getBinderThreadCount(server.get()))
            << "startThreadPool must start exactly one thread";

    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;
    Latch release;
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            ++running;
            changed.notify_all();
        }
        release.wait();
        return STATUS_OK;
    });

    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i) {
        callers.emplace_back([&] { EXPECT_EQ(STATUS_OK, testobject::callInt(proxy, kCall, 0)); });
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        ASSERT_TRUE(changed.wait_for(lock, Latch::kTimeout, [&] { return running == 3; }))
                << "the pool did not grow to serve the waiting calls";
    }
    // The fourth caller may still be on its way: wait until its call is queued too.
    const auto deadline = std::chrono::steady_clock::now() + Latch::kTimeout;
    while (server.pendingWork() < 4 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(4u, server.pendingWork()) << "a call got lost on its way to the server";
    EXPECT_EQ(1 + kLazy, ABinderHost_Process_getBinderThreadCount(server.get()))
            << "the pool grew past its maximum";
    {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(3, running) << "the fourth call ran without a free thread";
    }
    release.open();
    for (std::thread& caller : callers)
        caller.join();
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(4, running) << "a call was lost";
}

TEST_F(ThreadPoolTest, StartThreadPool_WhenWorkQueuedBefore_RunsIt) {
    std::atomic<int> handled{0};
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        ++handled;
        return STATUS_OK;
    });
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kCall, 0, nullptr, FLAG_ONEWAY));
    EXPECT_EQ(1u, server.pendingWork()) << "a process without threads must hold the call";
    EXPECT_EQ(0, handled.load()) << "a call ran in a process without binder threads";

    server.startThreadPool(0);
    server.waitForIdle();
    EXPECT_EQ(1, handled.load()) << "the held call did not run once the pool started";
}

TEST_F(ThreadPoolTest, JoinThreadPool_WhenJoined_ServesCallsAndReturnsOnDeath) {
    std::thread::id joinedId;
    std::thread joined([&] {
        joinedId = std::this_thread::get_id();
        ndk::host::ProcessContext context(server.get());
        ABinderProcess_joinThreadPool();
    });
    std::thread::id ranOn;
    ndk::SpAIBinder proxy = serve([&](auto, auto, auto) {
        ranOn = std::this_thread::get_id();
        return STATUS_OK;
    });
    ASSERT_EQ(STATUS_OK, testobject::callInt(proxy, kCall, 0));
    EXPECT_EQ(joinedId, ranOn) << "the joined thread did not serve the call";
    ASSERT_TRUE(server.kill());
    joined.join();  // hangs (and times out) if joinThreadPool does not return on death
}

TEST_F(ThreadPoolTest, IsThreadPoolStarted_WhenStartedInOneProcess_OthersUnaffected) {
    ndk::host::ScopedProcess other("other");
    server.startThreadPool(0);
    EXPECT_TRUE(server.run([] { return ABinderProcess_isThreadPoolStarted(); }))
            << "the started pool is not reported";
    EXPECT_FALSE(other.run([] { return ABinderProcess_isThreadPoolStarted(); }))
            << "starting one process's pool started another's";
}

}  // namespace
