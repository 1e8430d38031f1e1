/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The lines a host build writes to stderr: liblog's layout, the ids of the thread that logged
// (remembered, so they must not go stale across threads or a fork), and liblog's priority filter.

#ifndef __ANDROID__

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <plim/Log.h>

namespace com::vyr::plim::test {
namespace {

struct Line {
    std::string tag;
    char priority = 0;
    pid_t pid = 0;
    pid_t tid = 0;
    std::string text;
};

// Sends this process's stderr to a file for the fixture's lifetime.
class HostStderrLoggerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char path[] = "/tmp/plim-stderr-XXXXXX";
        mFile = mkstemp(path);
        ASSERT_GE(mFile, 0) << "temporary file";
        unlink(path);
        std::fflush(stderr);
        mSavedStderr = dup(STDERR_FILENO);
        ASSERT_EQ(STDERR_FILENO, dup2(mFile, STDERR_FILENO)) << "stderr redirection";
    }

    void TearDown() override {
        restore();
        close(mFile);
        Log::setPrefix("");
    }

    void restore() {
        if (mSavedStderr >= 0) {
            dup2(mSavedStderr, STDERR_FILENO);
            close(mSavedStderr);
            mSavedStderr = -1;
        }
    }

    // Every line written so far, parsed; a line not in liblog's layout fails the test.
    std::vector<Line> lines() {
        std::string text;
        char buffer[4096];
        ssize_t n;
        off_t offset = 0;
        while ((n = pread(mFile, buffer, sizeof(buffer), offset)) > 0) {
            text.append(buffer, static_cast<size_t>(n));
            offset += n;
        }
        static const std::regex layout(
                R"(^(\S+) ([VDIWEF]) \d\d-\d\d \d\d:\d\d:\d\d +(\d+) +(\d+) (.*)$)");
        std::vector<Line> parsed;
        std::istringstream stream(text);
        std::string raw;
        while (std::getline(stream, raw)) {
            std::smatch m;
            EXPECT_TRUE(std::regex_match(raw, m, layout)) << "not liblog's layout: " << raw;
            if (m.empty())
                continue;
            parsed.push_back(Line{m[1], m[2].str()[0], std::atoi(m[3].str().c_str()),
                                  std::atoi(m[4].str().c_str()), m[5]});
        }
        return parsed;
    }

    int mFile = -1;
    int mSavedStderr = -1;
};

struct PriorityCase {
    const char* name;
    int priority;
    char letter;  // 0: liblog drops it
};

class HostStderrLoggerPriorityTest : public HostStderrLoggerTest,
                                     public ::testing::WithParamInterface<PriorityCase> {};

TEST_P(HostStderrLoggerPriorityTest, Line_CarriesTagLetterAndText_OrIsFilteredAsBefore) {
    const PriorityCase& row = GetParam();
    Log::setPrefix("[3] ");
    Log::printAndroidLog(row.priority, "logger-test", "serial = %d", 12);
    const std::vector<Line> written = lines();
    if (row.letter == 0) {
        EXPECT_TRUE(written.empty()) << "a priority liblog filters out was written";
        return;
    }
    ASSERT_EQ(1u, written.size()) << "one call, one line";
    EXPECT_EQ("logger-test", written[0].tag) << "tag";
    EXPECT_EQ(row.letter, written[0].priority) << "priority letter";
    EXPECT_EQ("[3] serial = 12", written[0].text) << "prefix and formatted text";
}

INSTANTIATE_TEST_SUITE_P(Priorities, HostStderrLoggerPriorityTest,
                         ::testing::Values(PriorityCase{"Debug", Log::DEBUG, 0},
                                           PriorityCase{"Info", Log::INFO, 'I'},
                                           PriorityCase{"Warn", Log::WARN, 'W'},
                                           PriorityCase{"Error", Log::ERROR, 'E'}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(HostStderrLoggerTest, Line_NamesTheThreadThatLogged_EvenAfterAnotherDid) {
    Log::printAndroidLog(Log::INFO, "logger-test", "main before");
    pid_t workerTid = 0;
    std::thread worker([&] {
        workerTid = gettid();
        Log::printAndroidLog(Log::INFO, "logger-test", "worker");
    });
    worker.join();
    Log::printAndroidLog(Log::INFO, "logger-test", "main after");

    const std::vector<Line> written = lines();
    ASSERT_EQ(3u, written.size()) << "three lines";
    for (const Line& line : written)
        EXPECT_EQ(getpid(), line.pid) << "pid of line '" << line.text << "'";
    EXPECT_EQ(gettid(), written[0].tid) << "the main thread's id";
    EXPECT_EQ(workerTid, written[1].tid) << "another thread's line took the main thread's id";
    EXPECT_EQ(gettid(), written[2].tid) << "the main thread's id, after the worker logged";
}

TEST_F(HostStderrLoggerTest, Line_AfterFork_CarriesTheChildsIds) {
    Log::printAndroidLog(Log::INFO, "logger-test", "parent");
    const pid_t child = fork();
    ASSERT_GE(child, 0) << "fork";
    if (child == 0) {
        Log::printAndroidLog(Log::INFO, "logger-test", "child");
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0)) << "child";
    const std::vector<Line> written = lines();
    ASSERT_EQ(2u, written.size()) << "one line from each side of the fork";
    EXPECT_EQ(getpid(), written[0].pid) << "the parent's line";
    EXPECT_EQ(child, written[1].pid) << "the child's line kept the parent's pid";
    EXPECT_EQ(child, written[1].tid) << "the child's line kept the parent's thread id";
}

TEST_F(HostStderrLoggerTest, Line_LongerThanTheStackBuffer_IsWrittenWhole) {
    // liblog cuts a message at 1023 bytes before any logger sees it; with the tag and the ids in
    // front, this one's line is longer than the logger's 1024-byte stack buffer.
    const std::string text(1000, 'x');
    Log::printAndroidLog(Log::INFO, "logger-test", "%s!", text.c_str());
    const std::vector<Line> written = lines();
    ASSERT_EQ(1u, written.size()) << "one line";
    EXPECT_EQ(text + "!", written[0].text) << "a long line was cut";
}

}  // namespace
}  // namespace com::vyr::plim::test

#endif  // __ANDROID__
