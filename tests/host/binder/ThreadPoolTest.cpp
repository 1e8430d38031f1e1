/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Binder thread pools of simulated processes: one thread at start, more only while calls wait,
// never past the maximum, which may grow but not shrink once the pool runs.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <thread>
#include <vector>

#include "Latch.h"
#include "TestObject.h"

namespace {

constexpr transaction_code_t kCall = FIRST_CALL_TRANSACTION;
constexpr uint32_t kNoChange = UINT32_MAX;

// How the maximum is set around startThreadPool; every row ends with 2 lazy threads allowed.
struct MaximumRow {
    const char* name;
    uint32_t before;   // set before starting
    uint32_t after;    // set once started, or kNoChange
    bool refused;      // the device refuses the setting made after starting
    bool afterResult;  // what that setting returns
};

void PrintTo(const MaximumRow& row, std::ostream* os) {
    *os << row.name;
}

class ThreadPoolTest : public ::testing::TestWithParam<MaximumRow> {
  protected:
    void TearDown() override {
        ABinderHost_setThreadPoolMaxThreadCountRefused(false);
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

TEST_P(ThreadPoolTest, StartThreadPool_WhenCallsPileUp_StartsThreadsLazilyUpToMax) {
    const MaximumRow& row = GetParam();
    server.run([&] {
        ASSERT_TRUE(ABinderProcess_setThreadPoolMaxThreadCount(row.before));
        ABinderProcess_startThreadPool();
        ABinderHost_setThreadPoolMaxThreadCountRefused(row.refused);
        if (row.after != kNoChange) {
            EXPECT_EQ(row.afterResult, ABinderProcess_setThreadPoolMaxThreadCount(row.after))
                    << "the setting after start was refused or accepted wrongly";
        }
    });
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
        EXPECT_TRUE(changed.wait_for(lock, Latch::kTimeout, [&] { return running == 3; }))
                << "the pool did not grow to serve the waiting calls";
    }
    // The fourth caller may still be on its way: wait until its call is queued too.
    const auto deadline = std::chrono::steady_clock::now() + Latch::kTimeout;
    while (server.pendingWork() < 4 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(4u, server.pendingWork()) << "a call got lost on its way to the server";
    EXPECT_EQ(3u, ABinderHost_Process_getBinderThreadCount(server.get()))
            << "the pool did not grow to exactly its maximum";
    {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(3, running) << "the fourth call ran without a free thread";
    }
    release.open();
    for (std::thread& caller : callers) {
        caller.join();
    }
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(4, running) << "a call was lost";
}

INSTANTIATE_TEST_SUITE_P(Maximums, ThreadPoolTest,
                         ::testing::Values(MaximumRow{"SetBeforeStart", 2, kNoChange, false, true},
                                           MaximumRow{"RaisedAfterStart", 1, 2, false, true},
                                           MaximumRow{"SameAfterStart", 2, 2, false, true},
                                           MaximumRow{"RaiseRefused", 2, 5, true, false}),
                         [](const ::testing::TestParamInfo<MaximumRow>& info) {
                             return info.param.name;
                         });

using ThreadPoolDeathTest = ThreadPoolTest;

TEST_F(ThreadPoolDeathTest, SetThreadPoolMaxThreadCount_WhenLoweredAfterStart_Aborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // The daemon's own process, as it would go wrong in the daemon.
    EXPECT_DEATH(
            {
                ABinderProcess_setThreadPoolMaxThreadCount(1);
                ABinderProcess_startThreadPool();
                ABinderProcess_setThreadPoolMaxThreadCount(0);
            },
            "thread pool cannot be shrunk after starting")
            << "a started pool was shrunk instead of aborting";
    EXPECT_TRUE(server.run([] {
        return ABinderProcess_setThreadPoolMaxThreadCount(1) &&
               ABinderProcess_setThreadPoolMaxThreadCount(0);
    })) << "a pool that has not started must take any maximum";
}

}  // namespace
