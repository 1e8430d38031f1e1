/*
 * Copyright (C) 2026 The plim-modem developers
 */

// `plim-modem-cli sim`: a bad command line sends nothing, a good one sends the line the
// simulator's channel takes, and each kind of reply (or none) gives its exit status. Against the
// real channel of a daemon's simulated modem it runs in the e2e tests.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Cli.h"
#include "SimCommands.h"

namespace com::vyr::plim::cli {
namespace {

using Args = std::vector<std::string>;

std::string socketPath(const char* name) {
    return "/tmp/plim-sim-cli-" + std::to_string(getpid()) + "-" + name;
}

/** How the stand-in channel answers the one line it reads. */
enum class Answer { Reply, Close, Silence };

/** A stand-in for the simulator's channel: takes one connection and records its line. */
class FakeChannel {
  public:
    FakeChannel(Answer answer, std::string reply)
        : answer_(answer), reply_(std::move(reply)), listener_(socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        unlink(path.c_str());
        listening_ = bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
                     listen(listener_, 1) == 0;
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeChannel() {
        stop_ = true;
        if (thread_.joinable())
            thread_.join();
        close(listener_);
        unlink(path.c_str());
    }

    const std::string path = socketPath("fake");
    bool listening() const { return listening_; }
    /** What the client sent; waits for the exchange to end, so call it once the client is done. */
    std::string received() {
        if (thread_.joinable())
            thread_.join();
        return received_;
    }
    bool connected() const { return connected_; }

  private:
    void serve() {
        pollfd polled{listener_, POLLIN, 0};
        while (!stop_ && poll(&polled, 1, 20) == 0) {
        }
        if (stop_)
            return;
        const int fd = accept(listener_, nullptr, nullptr);
        connected_ = true;
        char byte = 0;
        while (recv(fd, &byte, 1, 0) == 1) {
            received_ += byte;
            if (byte == '\n')
                break;
        }
        if (answer_ == Answer::Reply)
            send(fd, reply_.data(), reply_.size(), MSG_NOSIGNAL);
        // Silence lasts until the client gives up and closes.
        while (answer_ == Answer::Silence && recv(fd, &byte, 1, 0) > 0) {
        }
        close(fd);
    }

    const Answer answer_;
    const std::string reply_;
    const int listener_;
    bool listening_ = false;
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> connected_{false};
    std::string received_;  // the thread's until it ends
};

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

Outcome runWith(const Args& args) {
    std::ostringstream out;
    std::ostringstream err;
    Outcome outcome;
    outcome.status = runCli(args, out, err);
    outcome.out = out.str();
    outcome.err = err.str();
    return outcome;
}

// ---- Bad command lines ------------------------------------------------------------------------

struct SimUsageRow {
    const char* name;
    Args args;
    std::string message;  // the whole stderr line
    bool socketNamed = true;
};

void PrintTo(const SimUsageRow& row, std::ostream* os) {
    *os << row.name;
}

class SimUsageTest : public ::testing::TestWithParam<SimUsageRow> {};

TEST_P(SimUsageTest, RunCli_WhenSimCommandLineIsBad_ExitsUsageAndConnectsToNothing) {
    FakeChannel channel(Answer::Reply, "ok\n");
    ASSERT_TRUE(channel.listening()) << "the stand-in channel did not listen";
    if (GetParam().socketNamed) {
        setenv(kSimControlVariable, channel.path.c_str(), 1);
    } else {
        unsetenv(kSimControlVariable);
    }
    const Outcome outcome = runWith(GetParam().args);
    EXPECT_EQ(EXIT_USAGE, outcome.status) << outcome.err;
    EXPECT_EQ(GetParam().message + "\n", outcome.err) << "not one line naming what is wrong";
    EXPECT_EQ("", outcome.out) << "a refused command line printed something";
    EXPECT_FALSE(channel.connected()) << "a refused command line reached the channel";
}

SimUsageRow usage(const char* name, Args args, const std::string& why, bool socketNamed = true) {
    return SimUsageRow{name, std::move(args), "plim-modem-cli: sim: " + why + " (see sim --help)",
                       socketNamed};
}

INSTANTIATE_TEST_SUITE_P(
        Sim, SimUsageTest,
        ::testing::Values(
                usage("NoCommand", {"sim"}, "missing command"),
                usage("UnknownCommand", {"sim", "reboot"}, "unknown command 'reboot'"),
                usage("MissingArgument", {"sim", "restart"}, "restart: usage: sim restart MS"),
                usage("ExtraArgument", {"sim", "state", "now"}, "state: usage: sim state"),
                usage("MemoryTakesNoArgument", {"sim", "memory", "now"},
                      "memory: usage: sim memory"),
                usage("ClearCallsTakesNoArgument", {"sim", "clear-calls", "all"},
                      "clear-calls: usage: sim clear-calls"),
                usage("ServiceZero", {"sim", "service", "0", "down"},
                      "service: ID: '0' is not an integer in 1..255"),
                usage("UpDownTypo", {"sim", "service", "228", "dwn"},
                      "service: 'dwn' is not up or down"),
                usage("FunctionTypo", {"sim", "fail", "read_nv", "1", "8"},
                      "fail: 'read_nv' is not a modem_... function name"),
                usage("ControlWithoutValue", {"sim", "--control"}, "--control needs a value"),
                usage("NoSocketNamed", {"sim", "state"},
                      "no control socket: set PLIM_MODEM_SIM_CONTROL or give --control PATH",
                      false),
                SimUsageRow{"InstanceOption",
                            {"--instance", "1", "sim", "state"},
                            "plim-modem-cli: sim: of the options only --timeout applies (see "
                            "--help)"}),
        [](const ::testing::TestParamInfo<SimUsageRow>& info) { return info.param.name; });

// ---- What is sent and what the reply makes of it ----------------------------------------------

struct SimExchangeRow {
    const char* name;
    Args args;  // "@FAKE" stands for the stand-in channel's path
    Answer answer;
    std::string reply;
    std::string sent;  // the line the channel must have received
    std::string out;
    std::string errPart;  // found in stderr; empty: stderr empty
    int status;
};

void PrintTo(const SimExchangeRow& row, std::ostream* os) {
    *os << row.name;
}

class SimExchangeTest : public ::testing::TestWithParam<SimExchangeRow> {};

TEST_P(SimExchangeTest, RunCli_WhenSimCommandIsGood_SendsItsLineAndExitsByTheReply) {
    const SimExchangeRow& row = GetParam();
    FakeChannel channel(row.answer, row.reply);
    ASSERT_TRUE(channel.listening()) << "the stand-in channel did not listen";
    // --control, where given, must win over the environment.
    setenv(kSimControlVariable, channel.path.c_str(), 1);
    Args args = row.args;
    for (std::string& arg : args) {
        if (arg == "@FAKE") {
            arg = channel.path;
            setenv(kSimControlVariable, "/nonexistent/plim-sim", 1);
        }
    }
    const Outcome outcome = runWith(args);
    EXPECT_EQ(row.status, outcome.status) << outcome.err;
    EXPECT_EQ(row.out, outcome.out) << "wrong output";
    if (row.errPart.empty()) {
        EXPECT_EQ("", outcome.err) << "stderr not empty";
    } else {
        EXPECT_NE(std::string::npos, outcome.err.find(row.errPart)) << outcome.err;
    }
    EXPECT_EQ(row.sent, channel.received()) << "wrong line sent to the channel";
}

SimExchangeRow exchange(const char* name, Args args, Answer answer, std::string reply,
                        std::string sent, std::string out, std::string errPart, int status) {
    return SimExchangeRow{
            name,           std::move(args),    answer, std::move(reply), std::move(sent),
            std::move(out), std::move(errPart), status};
}

INSTANTIATE_TEST_SUITE_P(
        Sim, SimExchangeTest,
        ::testing::Values(
                exchange("HexSentAsDecimal", {"sim", "restart", "0x1f4"}, Answer::Reply, "ok\n",
                         "restart 500\n", "ok\n", "", EXIT_OK),
                exchange("FailWithSkip", {"sim", "fail", "modem_read_nv_for_subid", "1", "-3", "2"},
                         Answer::Reply, "ok\n", "fail modem_read_nv_for_subid 1 -3 2\n", "ok\n", "",
                         EXIT_OK),
                exchange("LatencyOfEveryFunction", {"sim", "latency", "*", "2000"}, Answer::Reply,
                         "ok\n", "latency * 2000\n", "ok\n", "", EXIT_OK),
                exchange("ControlOptionWins", {"sim", "--control", "@FAKE", "state"}, Answer::Reply,
                         "ok operatingMode=1 nv=0\n", "state\n", "ok operatingMode=1 nv=0\n", "",
                         EXIT_OK),
                exchange("ClearCalls", {"sim", "clear-calls"}, Answer::Reply, "ok\n",
                         "clear-calls\n", "ok\n", "", EXIT_OK),
                exchange("MemoryFiguresPrinted", {"sim", "memory"}, Answer::Reply,
                         "ok heap=180224 arena=270336 mmapped=0 free=90112\n", "memory\n",
                         "ok heap=180224 arena=270336 mmapped=0 free=90112\n", "", EXIT_OK),
                exchange("Refused", {"sim", "service", "3", "down"}, Answer::Reply, "error: busy\n",
                         "service 3 down\n", "error: busy\n", "", EXIT_SIM_REFUSED),
                exchange("ClosedUnanswered", {"sim", "state"}, Answer::Close, "", "state\n", "",
                         "closed the connection without a reply", EXIT_NO_SERVICE),
                exchange("GarbledReply", {"sim", "state"}, Answer::Reply, "fine\n", "state\n", "",
                         "unexpected reply: fine", EXIT_BAD_ANSWER),
                exchange("NoReplyInTime", {"--timeout", "0.2", "sim", "connect-delay", "5"},
                         Answer::Silence, "", "connect-delay 5\n", "", "no reply from",
                         EXIT_TIMEOUT)),
        [](const ::testing::TestParamInfo<SimExchangeRow>& info) { return info.param.name; });

TEST(SimCliTest, RunCli_WhenNothingListens_ExitsUnavailable) {
    const Outcome outcome = runWith({"sim", "--control", "/nonexistent/plim-sim", "state"});
    EXPECT_EQ(EXIT_NO_SERVICE, outcome.status) << outcome.err;
    EXPECT_EQ(
            "plim-modem-cli: sim: cannot reach /nonexistent/plim-sim: No such file or "
            "directory\n",
            outcome.err)
            << "not one line naming the socket and why";
}

}  // namespace
}  // namespace com::vyr::plim::cli
