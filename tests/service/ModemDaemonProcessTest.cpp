/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon binary as a process: its exit paths, exit status and log lines.

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "DaemonProcess.h"

namespace com::vyr::plim::test {
namespace {

struct ExitCase {
    std::string name;
    std::vector<std::string> args;
    std::vector<std::string> expectedOutput;
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const ExitCase& row, std::ostream* os) {
    *os << row.name;
}

class ModemDaemonExitTest : public ::testing::TestWithParam<ExitCase> {};

TEST_P(ModemDaemonExitTest, Main_WhenStartUpFails_ExitsWithOneAndLogsWhy) {
    std::vector<std::string> args = {PLIM_MODEM_BINARY};
    args.insert(args.end(), GetParam().args.begin(), GetParam().args.end());
    DaemonProcess daemon(args);
    int status = daemon.waitForExit();
    ASSERT_NE(status, -1) << "daemon did not exit; output:\n" << daemon.output();
    ASSERT_TRUE(WIFEXITED(status)) << "daemon crashed; output:\n" << daemon.output();
    EXPECT_EQ(WEXITSTATUS(status), 1);
    for (const std::string& text : GetParam().expectedOutput) {
        EXPECT_NE(daemon.output().find(text), std::string::npos)
                << "missing log line \"" << text << "\" in:\n"
                << daemon.output();
    }
    EXPECT_EQ(daemon.output().find("plim-modem main entry"), std::string::npos)
            << "start-up went past the options";
}

INSTANTIATE_TEST_SUITE_P(
        BadCommandLines, ModemDaemonExitTest,
        ::testing::Values(
                ExitCase{"NoInstance", {}, {"NO valid instance id for plim-modem"}},
                ExitCase{"OnlyUnknownOption", {"-x"}, {"NO valid instance id for plim-modem"}},
                ExitCase{"Instance2",
                         {"-i", "2"},
                         {"parse: invalid instance id {2} parsed",
                          "failed to parse modem options, err = 3"}},
                ExitCase{"InstanceMinus1",
                         {"-i", "-1"},
                         {"parse: invalid instance id {-1} parsed",
                          "failed to parse modem options, err = 3"}}),
        [](const ::testing::TestParamInfo<ExitCase>& info) { return info.param.name; });

class ModemDaemonRunTest : public ::testing::TestWithParam<int> {};

TEST_P(ModemDaemonRunTest, Main_WhenInstanceValid_LoopsOnNamedThreadWithPrefixedLogs) {
    const std::string id = std::to_string(GetParam());
    const std::string prefix = "[" + id + "] ";
    DaemonProcess daemon({PLIM_MODEM_BINARY, "-i", id});
    ASSERT_TRUE(daemon.waitForOutput(prefix + "plim-modem ready to loop"))
            << "daemon never reached its loop; output:\n"
            << daemon.output();
    EXPECT_NE(daemon.output().find(prefix + "plim-modem main entry"), std::string::npos)
            << daemon.output();

    std::ifstream comm("/proc/" + std::to_string(daemon.pid()) + "/comm");
    std::string name;
    std::getline(comm, name);
    EXPECT_EQ(name, "modem-main") << "main thread not named";

    daemon.kill(SIGTERM);
    int status = daemon.waitForExit();
    ASSERT_NE(status, -1) << "daemon ignored SIGTERM";
    EXPECT_TRUE(WIFSIGNALED(status)) << "a looping daemon must end only by a signal";
}

INSTANTIATE_TEST_SUITE_P(Instances, ModemDaemonRunTest, ::testing::Values(0, 1));

}  // namespace
}  // namespace com::vyr::plim::test
