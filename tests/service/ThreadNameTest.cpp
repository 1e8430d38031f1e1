/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <sys/prctl.h>

#include <string>
#include <thread>

#include <plim/Errno.h>
#include <plim/Log.h>

#include "LogCapture.h"
#include "ThreadName.h"

namespace com::vyr::plim::modem {
namespace {

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
