/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <gtest/gtest.h>

#include <string>

#include <plim/Log.h>

#include "LogCapture.h"

namespace com::vyr::plim::test {
namespace {

class LogTest : public ::testing::Test {
  protected:
    void TearDown() override { Log::setPrefix(""); }
    LogCapture log_;
};

TEST_F(LogTest, PrintAndroidLog_WithPrefix_PutsPrefixInFrontOfFormattedText) {
    Log::setPrefix("[1] ");
    Log::printAndroidLog(Log::INFO, "log-test", "%s: serial = %d", "readNv", 7);
    EXPECT_TRUE(log_.contains(Log::INFO, "log-test", "[1] readNv: serial = 7")) << log_.dump();
}

TEST_F(LogTest, PrintAndroidLog_WhenPrefixHasPercent_PrintsItLiterally) {
    Log::setPrefix("[%d%s] ");
    Log::printAndroidLog(Log::WARN, "log-test", "value %d", 5);
    EXPECT_TRUE(log_.contains(Log::WARN, "log-test", "[%d%s] value 5"))
            << "the prefix must never be read as a format: " << log_.dump();
}

TEST_F(LogTest, PrintAndroidLog_WhenLongerThanStackBuffer_KeepsWholeLine) {
    Log::setPrefix(std::string(300, 'p'));
    std::string format(400, 'f');
    Log::printAndroidLog(Log::ERROR, "log-test", "%s|%s", format.c_str(), "end");
    EXPECT_TRUE(log_.contains(Log::ERROR, "log-test", std::string(300, 'p') + format + "|end"))
            << "a long line was cut or garbled";
    std::string longFormat = std::string(600, 'x') + " %d";
    Log::printAndroidLog(Log::ERROR, "log-test", longFormat.c_str(), 9);
    EXPECT_TRUE(log_.contains(Log::ERROR, "log-test",
                              std::string(300, 'p') + std::string(600, 'x') + " 9"))
            << "a format longer than the stack buffer was cut or garbled";
}

TEST_F(LogTest, PrintAndroidLog_EachPriority_ReachesHookWithItsPriorityAndTag) {
    for (int priority : {Log::DEBUG, Log::INFO, Log::WARN, Log::ERROR}) {
        Log::printAndroidLog(priority, "tag-x", "p%d", priority);
        EXPECT_TRUE(log_.contains(priority, "tag-x", "p" + std::to_string(priority)))
                << "priority " << priority << " lost: " << log_.dump();
    }
}

}  // namespace
}  // namespace com::vyr::plim::test
