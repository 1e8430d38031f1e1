/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include <plim/Log.h>

#include "LogCapture.h"

namespace com::vyr::plim::test {
namespace {

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

class LogTest : public ::testing::TestWithParam<LineCase> {
  protected:
    void TearDown() override { Log::setPrefix(""); }
};

TEST_P(LogTest, PrintAndroidLog_WithPrefix_GivesPrefixThenFormattedTextUnderItsPriority) {
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
        Lines, LogTest,
        ::testing::Values(LineCase{"PercentInPrefixIsLiteral", "[%d%s] ", Log::WARN, "value "},
                          LineCase{"FillsStackBuffer", "[1] ", Log::DEBUG, std::string(505, 'f')},
                          LineCase{"OneOverStackBuffer", "[1] ", Log::ERROR,
                                   std::string(506, 'f')}),
        [](const ::testing::TestParamInfo<LineCase>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::test
