/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Binder thread pools, serving calls from another process over each transport: one thread at
// start, more only while calls wait, never past the maximum, which may grow but not shrink once
// the pool runs.

#include <android/binder_host.h>
#include <android/binder_process.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <ostream>
#include <thread>
#include <tuple>

#include "OtherProcess.h"
#include "TestObject.h"
#include "Waiting.h"

namespace {

constexpr uint32_t kNoChange = UINT32_MAX;

// How the maximum is set around startThreadPool; every row ends with 2 lazy threads allowed.
struct MaximumRow {
    const char* name;
    uint32_t before;   // set before starting
    uint32_t after;    // set once started, or kNoChange
    bool refused;      // the device refuses the setting made after starting
    bool afterResult;  // what that setting returns
    friend void PrintTo(const MaximumRow& row, std::ostream* os) { *os << row.name; }
};

class ThreadPoolTest : public TwoProcessTest,
                       public ::testing::WithParamInterface<std::tuple<TransportKind, MaximumRow>> {
  protected:
    void TearDown() override {
        ABinderHost_setThreadPoolMaxThreadCountRefused(false);
        TwoProcessTest::TearDown();
    }
};

// This process serves; the other process calls in.
TEST_P(ThreadPoolTest, StartThreadPool_WhenCallsPileUp_StartsThreadsLazilyUpToMax) {
    const MaximumRow& row = std::get<1>(GetParam());
    ASSERT_TRUE(ABinderProcess_setThreadPoolMaxThreadCount(row.before));
    ABinderProcess_startThreadPool();
    ABinderHost_setThreadPoolMaxThreadCountRefused(row.refused);
    if (row.after != kNoChange) {
        EXPECT_EQ(row.afterResult, ABinderProcess_setThreadPoolMaxThreadCount(row.after))
                << "the setting after start was refused or accepted wrongly";
    }
    ABinderHost_Process* self = ABinderHost_Process_getDefault();
    EXPECT_EQ(1u, ABinderHost_Process_getBinderThreadCount(self))
            << "startThreadPool must start exactly one thread";
    startOther(std::get<0>(GetParam()), OtherProcess::kPoolStartedByTest);

    std::mutex mutex;
    std::condition_variable changed;
    int running = 0;
    Latch release;
    ndk::SpAIBinder mine = testobject::create([&](auto, auto, AParcel* out) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            ++running;
            changed.notify_all();
        }
        release.wait();
        return AParcel_writeInt32(out, 0);
    });
    binder_status_t status = STATUS_UNKNOWN_ERROR;
    // Four two-way calls at once from four threads of the other process.
    std::thread caller(
            [&] { status = callBackThrough(other->object(), mine.get(), 0, 0, 4, 4).status; });
    {
        std::unique_lock<std::mutex> lock(mutex);
        EXPECT_TRUE(changed.wait_for(lock, Latch::kTimeout, [&] { return running == 3; }))
                << "the pool did not grow to serve the waiting calls";
    }
    // The fourth call may still be on its way: wait until it is queued too.
    EXPECT_TRUE(eventually([&] { return ABinderHost_Process_getPendingWork(self) >= 4; }))
            << "a call got lost on its way to this process";
    EXPECT_EQ(3u, ABinderHost_Process_getBinderThreadCount(self))
            << "the pool did not grow to exactly its maximum";
    {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(3, running) << "the fourth call ran without a free thread";
    }
    release.open();
    caller.join();
    EXPECT_EQ(STATUS_OK, status) << "a call from the other process failed";
    std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(4, running) << "a call was lost";
}

INSTANTIATE_TEST_SUITE_P(
        Maximums, ThreadPoolTest,
        ::testing::Combine(bothTransports(),
                           ::testing::Values(MaximumRow{"SetBeforeStart", 2, kNoChange, false,
                                                        true},
                                             MaximumRow{"RaisedAfterStart", 1, 2, false, true},
                                             MaximumRow{"SameAfterStart", 2, 2, false, true},
                                             MaximumRow{"RaiseRefused", 2, 5, true, false})),
        transportAndRowName<MaximumRow>);

TEST(ThreadPoolDeathTest, SetThreadPoolMaxThreadCount_WhenLoweredAfterStart_Aborts) {
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
    ndk::host::ScopedProcess server("server");
    EXPECT_TRUE(server.run([] {
        return ABinderProcess_setThreadPoolMaxThreadCount(1) &&
               ABinderProcess_setThreadPoolMaxThreadCount(0);
    })) << "a pool that has not started must take any maximum";
}

}  // namespace
