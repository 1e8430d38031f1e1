/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The main thread's set-up: its stack limit, and the names the daemon gives its threads.

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "LogCapture.h"
#include "MainThreadStack.h"
#include "ThreadName.h"

namespace com::vyr::plim::modem {
namespace {

constexpr rlim_t KIB = 1024;

struct StackRow {
    const char* name;
    rlim_t soft;
    rlim_t hard;
    int result;
    rlim_t softAfter;
};

void PrintTo(const StackRow& row, std::ostream* os) {
    *os << row.name;
}

class EnsureMainThreadStackTest : public ::testing::TestWithParam<StackRow> {};

// In a child process: a lowered hard limit cannot be raised again.
TEST_P(EnsureMainThreadStackTest, EnsureMainThreadStack_ForLimits_RaisesTheSoftOneWhenAllowed) {
    const StackRow& row = GetParam();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        struct rlimit limit {
            row.soft, row.hard
        };
        if (setrlimit(RLIMIT_STACK, &limit) != 0) {
            _exit(10);
        }
        const int result = ensureMainThreadStack(128 * KIB);
        getrlimit(RLIMIT_STACK, &limit);
        _exit(result != row.result ? 11 : limit.rlim_cur != row.softAfter ? 12 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_NE(10, WEXITSTATUS(status)) << "the test could not set the limits";
    EXPECT_NE(11, WEXITSTATUS(status)) << "wrong result";
    EXPECT_NE(12, WEXITSTATUS(status)) << "wrong soft limit afterwards";
}

INSTANTIATE_TEST_SUITE_P(
        Limits, EnsureMainThreadStackTest,
        ::testing::Values(StackRow{"LowSoftRoomyHard", 64 * KIB, 1024 * KIB, OK, 128 * KIB},
                          StackRow{"ExactlyEnough", 128 * KIB, 128 * KIB, OK, 128 * KIB},
                          StackRow{"HardTooLow", 64 * KIB, 127 * KIB, FAILED, 64 * KIB},
                          StackRow{"Unlimited", RLIM_INFINITY, RLIM_INFINITY, OK, RLIM_INFINITY}),
        [](const ::testing::TestParamInfo<StackRow>& info) { return info.param.name; });

std::string currentThreadName() {
    char name[17] = {};
    prctl(PR_GET_NAME, name);
    return name;
}

class SetThreadNameTest : public ::testing::Test {};

TEST_F(SetThreadNameTest, SetThreadName_ByLength_Takes15CharactersAndRefuses16) {
    const std::string fifteen = "abcdefghijklmno";
    test::LogCapture log;
    // On a thread of its own, so the test runner's thread keeps its name.
    std::thread([&] {
        EXPECT_EQ(setThreadName(fifteen), OK) << "15 characters and the terminator fit the kernel";
        EXPECT_EQ(currentThreadName(), fifteen) << "an accepted name was not set";
        EXPECT_EQ(setThreadName(fifteen + "p"), INVALID_ARGUMENT) << "the kernel keeps 15, no more";
        EXPECT_EQ(currentThreadName(), fifteen) << "a refused name must leave the name alone";
    }).join();
    ASSERT_EQ(log.lines().size(), 1u) << "the refusal, and only it, must be logged:\n"
                                      << log.dump();
    EXPECT_TRUE(log.contains(Log::ERROR, "modem-util",
                             "setThreadName: {" + fifteen + "p} is too long for a thread name"))
            << log.dump();
}

}  // namespace
}  // namespace com::vyr::plim::modem
