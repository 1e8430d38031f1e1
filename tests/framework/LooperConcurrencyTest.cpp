/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Races between producers, the loop thread and the logger. Run under ThreadSanitizer too.

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <plim/Errno.h>
#include <plim/Log.h>
#include <plim/Looper.h>
#include <plim/Message.h>
#include <plim/SerialIntParam.h>

#include "LogCapture.h"
#include "LoopThread.h"
#include "RecordingHandler.h"

namespace com::vyr::plim::test {
namespace {

class LooperConcurrencyTest : public ::testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(loop_.stop(), OK);
        EXPECT_TRUE(loop_.looper()->isSleeping() == false) << "stopped loop left asleep";
    }

    LoopThread loop_;
};

TEST_F(LooperConcurrencyTest, ObtainAndDispatch_WhenManyThreadsWhileLooping_HandlesEachOnce) {
    auto handler =
            loop_.make<RecordingHandler>([] { return std::make_shared<RecordingHandler>(); });
    constexpr int THREADS = 8;
    constexpr int PER_THREAD = 2000;
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&, t] {
            while (!go.load()) {
                std::this_thread::yield();
            }
            for (int i = 0; i < PER_THREAD; ++i) {
                auto param = std::make_shared<SerialIntParam>(i, t * PER_THREAD + i);
                ASSERT_EQ(Message::obtain(t, handler, param, nullptr)->dispatch(), OK);
            }
        });
    }
    go = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_TRUE(handler->waitForCount(THREADS * PER_THREAD)) << "messages were lost";
    std::vector<bool> seen(THREADS * PER_THREAD, false);
    for (const Handled& h : handler->handled()) {
        ASSERT_FALSE(seen[h.value]) << "message " << h.value << " handled twice";
        seen[h.value] = true;
    }
    EXPECT_EQ(handler->handled().size(), static_cast<size_t>(THREADS * PER_THREAD));
}

// One message in flight at a time: every post finds the loop asleep or about to sleep, which is
// where a lost wake-up would hang the exchange (and time the test out).
TEST_F(LooperConcurrencyTest, Dispatch_WhenLoopKeepsFallingAsleep_NeverLosesAWakeUp) {
    class PingHandler : public Handler {
      public:
        int handle(std::shared_ptr<Message>) override {
            std::lock_guard<std::mutex> lock(mutex);
            ++handled;
            cv.notify_one();
            return 0;
        }
        std::mutex mutex;
        std::condition_variable cv;
        int handled = 0;
    };
    auto ping = loop_.make<PingHandler>([] { return std::make_shared<PingHandler>(); });
    constexpr int ROUNDS = 20000;
    for (int i = 1; i <= ROUNDS; ++i) {
        ASSERT_EQ(Message::obtain(i, ping, nullptr, nullptr)->dispatch(), OK);
        std::unique_lock<std::mutex> lock(ping->mutex);
        ASSERT_TRUE(ping->cv.wait_for(lock, std::chrono::seconds(10),
                                      [&] { return ping->handled == i; }))
                << "round " << i << " was never handled: lost wake-up";
    }
}

TEST_F(LooperConcurrencyTest, Quit_WhenRacingProducers_EveryAcceptedMessageIsHandled) {
    auto handler =
            loop_.make<RecordingHandler>([] { return std::make_shared<RecordingHandler>(); });
    std::atomic<size_t> accepted{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> producers;
    for (int t = 0; t < 3; ++t) {
        producers.emplace_back([&] {
            while (!stop.load()) {
                if (Message::obtain(1, handler, nullptr, nullptr)->dispatch() == OK) {
                    accepted++;
                }
            }
        });
    }
    while (accepted.load() < 1000) {
        std::this_thread::yield();
    }
    LogCapture quiet;  // refusals after quit() are expected here
    EXPECT_EQ(loop_.stop(), OK);
    stop = true;
    for (std::thread& producer : producers) {
        producer.join();
    }
    EXPECT_EQ(handler->handled().size(), accepted.load())
            << "a message accepted around quit() was dropped or handled twice";
}

class LogConcurrencyTest : public ::testing::Test {};

TEST_F(LogConcurrencyTest, PrintAndroidLog_WhenManyThreads_CapturesEveryLineWhole) {
    LogCapture log;
    constexpr int THREADS = 4;
    constexpr int LINES = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < LINES; ++i) {
                Log::printAndroidLog(Log::DEBUG, "log-test", "thread %d line %d", t, i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log.texts("log-test").size(), static_cast<size_t>(THREADS * LINES))
            << "lines were lost";
    EXPECT_EQ(log.count(Log::DEBUG, "log-test", "thread 3 line 499"), 1u) << "a line was torn";
}

TEST_F(LogConcurrencyTest, SetCaptureHook_WhenClearedWhileOthersLog_NeverCallsItAgain) {
    std::atomic<bool> cleared{false};
    std::atomic<int> callsAfterClear{0};
    Log::setCaptureHook([&](int, const char*, const std::string&) {
        if (cleared.load()) {
            callsAfterClear++;
        }
    });
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop.load()) {
            Log::printAndroidLog(Log::DEBUG, "log-test", "noise");
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    Log::setCaptureHook(nullptr);
    cleared = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    stop = true;
    writer.join();
    EXPECT_EQ(callsAfterClear.load(), 0) << "a removed hook was still called";
}

}  // namespace
}  // namespace com::vyr::plim::test
