/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon binary as a process: its exit status, its log prefix and the order of its start-up
// lines. Other lines may come between the ones checked here.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace com::vyr::plim::test {
namespace {

using namespace std::chrono_literals;

/** Polls for up to 20 s until `done` holds. */
bool waitUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

/**
 * The first line of `orders` not found in `output` after the one before it in its sequence;
 * empty if every sequence is there in order.
 */
std::string missingInOrder(const std::string& output,
                           const std::vector<std::vector<std::string>>& orders) {
    for (const std::vector<std::string>& lines : orders) {
        size_t at = 0;
        for (const std::string& line : lines) {
            at = output.find(line, at);
            if (at == std::string::npos) {
                return line;
            }
            at += line.size();
        }
    }
    return "";
}

struct RunCase {
    std::string name;
    std::vector<std::string> args;
    std::vector<std::vector<std::string>> lines;  // each sequence in its order
    bool loops;  // true: reaches its loop and ends only by a signal; false: exits with status 1
};

// Names the row in test output instead of dumping its bytes.
void PrintTo(const RunCase& row, std::ostream* os) {
    *os << row.name;
}

// Each row runs the binary once, its log (stderr on the host) going to a file.
class ModemDaemonProcessTest : public ::testing::TestWithParam<RunCase> {
  protected:
    void TearDown() override {
        if (pid_ > 0 && status_ == -1) {
            ADD_FAILURE() << "the daemon outlived its test";
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        unlink(logPath_.c_str());
    }

    pid_t start(const std::vector<std::string>& args) {
        std::vector<char*> argv = {const_cast<char*>(PLIM_MODEM_BINARY)};
        for (const std::string& arg : args) {
            argv.push_back(const_cast<char*>(arg.c_str()));
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, logPath_.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
        if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        return pid_;
    }

    std::string output() const {
        std::ifstream in(logPath_);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    /** The raw wait status, or -1 while the child still runs after 20 s. */
    int waitForExit() {
        waitUntil([this] {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                status_ = status;
            }
            return status_ != -1;
        });
        return status_;
    }

    const std::string logPath_ =
            ::testing::TempDir() + "plim-modem-" + std::to_string(getpid()) + ".log";
    pid_t pid_ = -1;
    int status_ = -1;
};

TEST_P(ModemDaemonProcessTest, Run_WithCommandLine_LogsStartUpInOrderThenLoopsOrExitsWithOne) {
    const RunCase& c = GetParam();
    ASSERT_GT(start(c.args), 0) << "could not start " << PLIM_MODEM_BINARY;
    if (c.loops) {
        EXPECT_TRUE(waitUntil([&] { return missingInOrder(output(), c.lines).empty(); }))
                << "the daemon never logged its start-up in order";
        std::ifstream comm("/proc/" + std::to_string(pid_) + "/comm");
        std::string name;
        std::getline(comm, name);
        EXPECT_EQ(name, "modem-main") << "the main thread must carry its name in ps and tombstones";
        kill(pid_, SIGTERM);
    }
    const int status = waitForExit();
    const std::string log = output();
    ASSERT_NE(status, -1) << "the daemon did not exit" << (c.loops ? " on SIGTERM" : "") << ":\n"
                          << log;
    EXPECT_EQ(missingInOrder(log, c.lines), "") << "missing or out of order in:\n" << log;
    if (c.loops) {
        EXPECT_TRUE(WIFSIGNALED(status)) << "a looping daemon must end only by a signal";
    } else {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1)
                << "a failed start-up must exit with status 1; wait status " << status;
        EXPECT_EQ(log.find("main entry"), std::string::npos) << "start-up went past the options";
    }
}

/** Instance `id`'s start-up, whose last client to connect is `lastClient`. */
std::vector<std::vector<std::string>> startUp(const std::string& id,
                                              const std::string& lastClient) {
    const std::string prefix = "[" + id + "] ";
    const std::string registered =
            prefix + "successfully registered aidl service vendor.vyr.plim.modem.IModem/instance" +
            id;
    // The clients are set up and the library started before the service is registered. The modem
    // reports its services, in the order they were asked for, once it has brought them up; that
    // may be before or after the registration.
    return {{"parse: parsing modem options", "parse: successfully parsed instance id {" + id + "}",
             prefix + "plim-modem main entry", prefix + "setup: NAS qmi notifier setup completed",
             prefix + "setup: " + lastClient + " qmi notifier setup completed",
             prefix + "init done", registered, prefix + "plim-modem ready to loop"},
            {prefix + "setup: " + lastClient + " qmi notifier setup completed",
             prefix + "modemApiEventCallback: NAS qmi service is connected",
             prefix + "modemApiEventCallback: " + lastClient + " qmi service is connected"}};
}

INSTANTIATE_TEST_SUITE_P(
        CommandLines, ModemDaemonProcessTest,
        ::testing::Values(
                RunCase{"NoInstance", {}, {{"NO valid instance id for plim-modem"}}, false},
                RunCase{"Instance2",
                        {"-i", "2"},
                        {{"parse: invalid instance id {2} parsed",
                          "failed to parse modem options, err = 3"}},
                        false},
                RunCase{"Instance0", {"-i", "0"}, startUp("0", "SAR"), true},
                RunCase{"Instance1", {"-i", "1"}, startUp("1", "WDS"), true}),
        [](const ::testing::TestParamInfo<RunCase>& info) { return info.param.name; });

}  // namespace
}  // namespace com::vyr::plim::test
