/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The real binaries as child processes, and a fixture that gives each test its own scratch
// directory (binder sockets, modem state, MBN tree) and checks at the end that no child is left.

#pragma once

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace com::vyr::plim::e2e {

using namespace std::chrono_literals;
using Env = std::map<std::string, std::string>;

/** A child running `binary`, its stdout and stderr going to `logPrefix`.{out,err}. */
class Process {
  public:
    /** The test's environment without its PLIM_* variables, plus `env`; as `uid` if given. */
    Process(std::string name, const std::string& binary, const std::vector<std::string>& args,
            const Env& env, const std::string& logPrefix, std::optional<uid_t> uid = {});
    ~Process() {  // kills a child still running and reaps it
        kill(SIGKILL);
        wait(60s);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /** Waits up to `timeout` for the child to end; whether it has. */
    bool wait(std::chrono::milliseconds timeout);
    bool running() { return !wait(0ms); }
    void kill(int signal) {
        if (!status_) {
            ::kill(pid_, signal);
        }
    }
    pid_t pid() const { return pid_; }
    /** -1 while running or when ended by a signal. */
    int exitCode() const { return status_ && WIFEXITED(*status_) ? WEXITSTATUS(*status_) : -1; }
    int termSignal() const { return status_ && WIFSIGNALED(*status_) ? WTERMSIG(*status_) : 0; }
    std::string out() const { return readAll(outPath_); }
    std::string err() const { return readAll(errPath_); }
    std::string describe() const;  // e.g. "cli: exit 14", for messages
    static std::string readAll(const std::string& path);

  private:
    const std::string name_;
    const std::string outPath_;
    const std::string errPath_;
    pid_t pid_ = -1;
    std::optional<int> status_;
};

/** Polls `done` every 10 ms for up to `limit`; whether it came true. */
bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds limit = 60s);

size_t occurrences(const std::string& text, const std::string& part);
std::vector<std::string> words(const std::string& text);

struct CliResult {
    int status;  // the exit status; -1 if it hung or died by a signal
    std::string out;
    std::string err;
};

class E2eTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    /** Daemon `instance` as a process, once a client is served by it. */
    Process& startDaemon(int instance);
    /** Runs the CLI to its end; one still running after a minute is killed and fails the test. */
    CliResult cli(const std::vector<std::string>& args);
    /** Starts the CLI (as `uid` if given) and leaves the waiting to the caller. */
    std::unique_ptr<Process> spawnCli(const std::vector<std::string>& args,
                                      std::optional<uid_t> uid = {}) {
        return std::make_unique<Process>("cli", PLIM_CLI_BINARY, args, env(0), logPrefix("cli"),
                                         uid);
    }
    /** Gives instance 0's simulated modem a `sim` command line, which it must take. */
    void sim(const std::string& line) {
        const CliResult result = cli(words("sim " + line));
        EXPECT_EQ(0, result.status) << "sim " << line << " refused: " << result.out << result.err;
    }
    static bool logged(const Process& daemon, const std::string& text) {
        return daemon.err().find(text) != std::string::npos;
    }

    std::string scratch_;  // this test's own directory, removed at the end
    std::string mbnRoot_;

  private:
    Env env(int instance) const {
        const std::string n = std::to_string(instance);
        return {{"PLIM_BINDER_SOCKET_DIR", scratch_ + "/binder"},
                {"PLIM_MODEM_STATE_DIR", scratch_ + "/state" + n},
                {"PLIM_MBN_ROOT", mbnRoot_},
                {"PLIM_MODEM_SIM_CONTROL", scratch_ + "/sim" + n}};
    }
    std::string logPrefix(const std::string& name) {
        return scratch_ + "/" + name + "-" + std::to_string(++launches_);
    }

    std::vector<std::pair<int, std::unique_ptr<Process>>> daemons_;  // by instance
    int launches_ = 0;
};

}  // namespace com::vyr::plim::e2e
