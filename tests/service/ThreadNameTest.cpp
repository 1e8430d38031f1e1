/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <sys/prctl.h>

#include <ostream>
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

struct NameCase {
    std::string testName;
    std::string name;
    int result;
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const NameCase& row, std::ostream* os) {
    *os << row.testName;
}

class SetThreadNameTest : public ::testing::TestWithParam<NameCase> {};

TEST_P(SetThreadNameTest, SetThreadName_ByLength_NamesThreadOrRefuses) {
    const NameCase& c = GetParam();
    test::LogCapture log;
    // On a thread of its own, so the test runner's thread keeps its name.
    std::thread([&] {
        std::string before = currentThreadName();
        EXPECT_EQ(setThreadName(c.name), c.result);
        EXPECT_EQ(currentThreadName(), c.result == OK ? c.name : before)
                << "the kernel's name of the thread is wrong";
    }).join();
    bool logged = log.contains(Log::ERROR, "modem-util",
                               "setThreadName: {" + c.name + "} is too long for a thread name");
    EXPECT_EQ(logged, c.result != OK) << log.dump();
}

INSTANTIATE_TEST_SUITE_P(
        Lengths, SetThreadNameTest,
        ::testing::Values(NameCase{"Fifteen", "abcdefghijklmno", OK},
                          NameCase{"Sixteen", "abcdefghijklmnop", INVALID_ARGUMENT},
                          NameCase{"MainThreadName", "modem-main", OK},
                          NameCase{"Long", std::string(64, 'n'), INVALID_ARGUMENT}),
        [](const ::testing::TestParamInfo<NameCase>& info) { return info.param.testName; });

}  // namespace
}  // namespace com::vyr::plim::modem
