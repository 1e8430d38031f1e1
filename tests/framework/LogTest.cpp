/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <ostream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <plim/Log.h>

#include "LogCapture.h"

namespace com::vyr::plim::test {
namespace {

class LogTest : public ::testing::Test {
  protected:
    void TearDown() override {
        Log::setPrefix("");
        Log::setCaptureHook(nullptr);
    }
};

struct LineCase {
    std::string name;
    std::string prefix;
    int priority;
    std::string text;  // logged as text + "%d" with the argument 7
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const LineCase& row, std::ostream* os) {
    *os << row.name;
}

class LogLineTest : public LogTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(LogLineTest, PrintAndroidLog_WithPrefix_GivesPrefixThenFormattedTextUnderItsPriority) {
    const LineCase& c = GetParam();
    LogCapture log;
    Log::setPrefix(c.prefix);
    Log::printAndroidLog(c.priority, "log-test", (c.text + "%d").c_str(), 7);
    EXPECT_TRUE(log.contains(c.priority, "log-test", c.prefix + c.text + "7"))
            << "line cut, garbled or under the wrong priority: " << log.dump();
}

// Prefix and format share a 512-byte stack buffer (terminator included) until they outgrow it:
// 4 + 505 + 2 + 1 bytes fill it exactly.
INSTANTIATE_TEST_SUITE_P(
        Lines, LogLineTest,
        ::testing::Values(LineCase{"Prefixed", "[1] ", Log::INFO, "serial = "},
                          LineCase{"PercentInPrefixIsLiteral", "[%d%s] ", Log::WARN, "value "},
                          LineCase{"FillsStackBuffer", "[1] ", Log::DEBUG, std::string(505, 'f')},
                          LineCase{"OneOverStackBuffer", "[1] ", Log::ERROR,
                                   std::string(506, 'f')}),
        [](const ::testing::TestParamInfo<LineCase>& info) { return info.param.name; });

TEST_F(LogTest, PrintAndroidLog_WhenManyThreads_CapturesEveryLineWhole) {
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
    std::multiset<std::string> expected;
    for (int t = 0; t < THREADS; ++t) {
        for (int i = 0; i < LINES; ++i) {
            expected.insert("thread " + std::to_string(t) + " line " + std::to_string(i));
        }
    }
    std::vector<std::string> texts = log.texts("log-test");
    EXPECT_EQ(std::multiset<std::string>(texts.begin(), texts.end()), expected)
            << "lines were lost, torn or repeated";
}

TEST_F(LogTest, SetCaptureHook_WhenClearedWhileOthersLog_NeverCallsItAgain) {
    std::atomic<int> calls{0};
    Log::setCaptureHook([&](int, const char*, const std::string&) { calls++; });
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop.load()) {
            Log::printAndroidLog(Log::DEBUG, "log-test", "noise");
        }
    });
    while (calls.load() < 100) {
        std::this_thread::yield();
    }
    Log::setCaptureHook(nullptr);
    const int callsWhenCleared = calls.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    stop = true;
    writer.join();
    EXPECT_EQ(calls.load(), callsWhenCleared) << "a removed hook was still running or called";
}

}  // namespace
}  // namespace com::vyr::plim::test
