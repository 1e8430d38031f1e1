/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The command-line client against a whole daemon instance 0 in the test process, runCli in a
// simulated process of its own: what only the client decides (refusals, exit statuses, escaping,
// the wait), and its `sim` lines against a stand-in channel. Requests and their ordinary results,
// a dying daemon and the real channel are the e2e tests' part.

#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <plim/Log.h>

#include "Cli.h"
#include "DaemonHarness.h"
#include "LogCapture.h"
#include "Response.h"
#include "SimCommands.h"

namespace com::vyr::plim::cli {
namespace {

using modemsim::Control;
using Args = std::vector<std::string>;

// The simulated modem starts from power-on, not from a state saved by an earlier run.
[[maybe_unused]] const bool kEnvironmentSet = unsetenv("PLIM_MODEM_STATE_DIR") == 0;

const std::string kFake = "/tmp/plim-sim-cli-" + std::to_string(getpid());

/** A stand-in for the simulator's channel at kFake, which the environment names. */
class FakeChannel {
  public:
    FakeChannel() {
        sockaddr_un address{AF_UNIX, {}};
        std::strncpy(address.sun_path, kFake.c_str(), sizeof(address.sun_path) - 1);
        unlink(kFake.c_str());
        listening = bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
                    listen(fd_, 1) == 0;
        setenv(kSimControlVariable, kFake.c_str(), 1);
    }
    ~FakeChannel() {
        close(fd_);
        unlink(kFake.c_str());
    }

    bool listening = false;
    /** Whether a client is waiting to be taken. */
    bool knocked() const {
        pollfd polled{fd_, POLLIN, 0};
        return poll(&polled, 1, 0) == 1;
    }
    /** Takes one client (within 5 s) and answers its line, which it returns, with `reply` ("":
     * closes unanswered; none: silent until the client gives up). */
    std::string serve(const std::optional<std::string>& reply) const {
        pollfd polled{fd_, POLLIN, 0};
        const int fd = poll(&polled, 1, 5000) == 1 ? accept(fd_, nullptr, nullptr) : -1;
        std::string line;
        for (char byte = 0; byte != '\n' && recv(fd, &byte, 1, 0) == 1;)
            line += byte;
        if (reply)
            send(fd, reply->data(), reply->size(), MSG_NOSIGNAL);
        for (char byte; !reply && recv(fd, &byte, 1, 0) > 0;) {
        }
        close(fd);
        return line;
    }

  private:
    const int fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

const auto kRowName = [](const auto& info) { return std::string(info.param.name); };

class CliTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, daemon_.makeResult()) << log_.dump();
        Control::clearCalls();
        log_.clear();
    }

    void TearDown() override {
        daemon_.waitForIdle();
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "calls still queued to the daemon";
        EXPECT_TRUE(Control::waitForIdle()) << "the modem library is still busy";
    }

    /** Runs the client in a new process, which dies once it returns. */
    Outcome run(const Args& args) {
        ndk::host::ScopedProcess process("cli");
        std::ostringstream out, err;
        const int status = process.run([&] { return runCli(args, out, err); });
        daemon_.waitForIdle();
        return Outcome{status, out.str(), err.str()};
    }

    test::LogCapture log_;
    test::DaemonHarness daemon_{0};
};

// ---- Refused before anything is sent -----------------------------------------------------------

struct UsageRow {
    const char* name;
    Args args;
    std::string message;  // after "plim-modem-cli: "
    int status = EXIT_USAGE;
};

class CliUsageTest : public CliTest, public ::testing::WithParamInterface<UsageRow> {};

TEST_P(CliUsageTest, RunCli_WhenCommandLineIsBadOrServiceMissing_ExitsAndSendsNothing) {
    FakeChannel channel;
    ASSERT_TRUE(channel.listening) << "the stand-in channel did not listen";
    const Outcome outcome = run(GetParam().args);
    EXPECT_EQ(GetParam().status, outcome.status) << outcome.err;
    EXPECT_EQ("plim-modem-cli: " + GetParam().message + "\n", outcome.err)
            << "not one line naming what is wrong";
    EXPECT_EQ("", outcome.out) << "a refused command line printed a result";
    EXPECT_TRUE(log_.texts("modem-impl").empty()) << "instance 0 was asked:\n" << log_.dump();
    EXPECT_TRUE(Control::calls().empty()) << "a refused command line reached the modem";
    EXPECT_FALSE(channel.knocked()) << "a refused command line reached the simulator's channel";
}

UsageRow usage(const char* name, Args args, const std::string& why) {
    return UsageRow{name, std::move(args), why + " (see --help)"};
}
UsageRow simUsage(const char* name, Args args, const std::string& why) {
    return UsageRow{name, std::move(args), "sim: " + why + " (see sim --help)"};
}
UsageRow unreachable(const char* name, Args args, const std::string& why) {
    return UsageRow{name, std::move(args), why, EXIT_NO_SERVICE};
}

INSTANTIATE_TEST_SUITE_P(
        Cli, CliUsageTest,
        ::testing::Values(
                usage("InstanceTwo", {"--instance", "2", "get-build-id"},
                      "--instance: '2' is not 0 or 1"),
                usage("IntTrailingText", {"set-qst-mode", "--mode=2x"},
                      "set-qst-mode: --mode: '2x' is not a 32-bit integer"),
                usage("IntOverflow", {"set-sar-state", "--state", "2147483648"},
                      "set-sar-state: --state: '2147483648' is not a 32-bit integer"),
                usage("ByteAbove255", {"set-5g-power-save-mode", "--mode", "256"},
                      "set-5g-power-save-mode: --mode: '256' is not a byte (0..255 or -128..127)"),
                usage("ByteBelowMinus128", {"set-5g-power-save-mode", "--mode", "-129"},
                      "set-5g-power-save-mode: --mode: '-129' is not a byte (0..255 or -128..127)"),
                usage("HexOddLength", {"write-efs", "--data", "abc"},
                      "write-efs: --data: odd number of hex digits"),
                usage("DataFileEndless", {"write-efs", "--data-file", "/dev/zero"},
                      "write-efs: --data-file: /dev/zero: larger than 262144 bytes"),
                unreachable("ServiceNotRegistered", {"--instance", "1", "get-build-id"},
                            "service vendor.vyr.plim.modem.IModem/instance1 not found"),
                simUsage("SimMissingArgument", {"sim", "restart"},
                         "restart: usage: sim restart MS"),
                simUsage("SimServiceZero", {"sim", "service", "0", "down"},
                         "service: ID: '0' is not an integer in 1..255"),
                simUsage("SimNoSocketNamed", {"sim", "--control=", "state"},
                         "no control socket: set PLIM_MODEM_SIM_CONTROL or give --control PATH"),
                // The channel the environment names is there: --control must win.
                unreachable("SimNothingListens",
                            {"sim", "--control", "/nonexistent/plim-sim", "state"},
                            "sim: cannot reach /nonexistent/plim-sim: No such file or directory")),
        kRowName);

// ---- `sim`: the line sent, and what the reply (or none) makes of it -----------------------------

struct SimRow {
    const char* name;
    Args args;
    std::optional<std::string> reply;  // see FakeChannel::serve()
    std::string sent;                  // the line the channel must have received
    std::string said;  // the one line written: on stdout for exit 0 and 1, else on stderr
    int status;
};

class CliSimTest : public CliTest, public ::testing::WithParamInterface<SimRow> {};

TEST_P(CliSimTest, RunCli_WhenSimCommandIsGood_SendsItsLineAndExitsByTheReply) {
    const SimRow& row = GetParam();
    const FakeChannel channel;
    ASSERT_TRUE(channel.listening) << "the stand-in channel did not listen";
    Outcome outcome;
    std::thread client([&] { outcome = run(row.args); });
    EXPECT_EQ(row.sent, channel.serve(row.reply)) << "wrong line sent to the channel";
    client.join();
    EXPECT_EQ(row.status, outcome.status) << outcome.err;
    const bool onStdout = row.status == EXIT_OK || row.status == EXIT_SIM_REFUSED;
    EXPECT_EQ(onStdout ? row.said : "", outcome.out) << "wrong output";
    EXPECT_EQ(onStdout ? "" : row.said, outcome.err) << "not one line naming what went wrong";
}

SimRow sim(const char* name, Args args, std::optional<std::string> reply, std::string sent,
           std::string said, int status) {
    return SimRow{name,  std::move(args), std::move(reply), std::move(sent), std::move(said),
                  status};
}

const std::string kCliSim = "plim-modem-cli: sim: ";

INSTANTIATE_TEST_SUITE_P(
        Cli, CliSimTest,
        ::testing::Values(sim("HexSentAsDecimal", {"sim", "restart", "0x1f4"}, "ok\n",
                              "restart 500\n", "ok\n", EXIT_OK),
                          sim("Refused", {"sim", "service", "3", "down"}, "error: busy\n",
                              "service 3 down\n", "error: busy\n", EXIT_SIM_REFUSED),
                          sim("ClosedUnanswered", {"sim", "state"}, "", "state\n",
                              kCliSim + kFake + " closed the connection without a reply\n",
                              EXIT_NO_SERVICE),
                          sim("GarbledReply", {"sim", "state"}, "fine\n", "state\n",
                              kCliSim + "unexpected reply: fine\n", EXIT_BAD_ANSWER),
                          sim("NoReplyInTime", {"--timeout", "0.2", "sim", "connect-delay", "5"},
                              std::nullopt, "connect-delay 5\n",
                              kCliSim + "no reply from " + kFake + " within 0.2 s\n",
                              EXIT_TIMEOUT)),
        kRowName);

// ---- Printing -----------------------------------------------------------------------------------

TEST_F(CliTest, RunCli_WhenResultHoldsQuotesAndControlBytes_EscapesThemInTextAndJson) {
    Control::editState([](modemsim::State& s) { s.buildId = "PLIM \"7\"\x01\\"; });
    const Outcome text = run({"get-build-id"});
    EXPECT_EQ("get-build-id: error 0 (OK), result: PLIM \"7\"\\x01\\\n", text.out)
            << "a control byte printed raw can garble a terminal";
    const Outcome json = run({"--json", "--serial=-5", "get-build-id"});
    EXPECT_EQ(
            "{\"request\":\"get-build-id\",\"serial\":-5,\"error\":0,"
            "\"result\":\"PLIM \\\"7\\\"\\u0001\\\\\"}\n",
            json.out)
            << "the JSON output is not valid JSON for this text";
}

// ---- The wait -----------------------------------------------------------------------------------

TEST_F(CliTest, RunCli_WhenAnswerNeverComes_ExitsTimeoutAfterTheTimeout) {
    modemsim::EventTamper invalid;
    invalid.tokenValid = 0;
    Control::tamperNextEvents(MODEM_API_EVENT_PDC_ACTIVE_CONFIG_INFO, 1, invalid);
    const auto start = std::chrono::steady_clock::now();
    const Outcome outcome =
            run({"--timeout", "0.3", "--serial", "77", "get-active-mbn-info", "--type", "1"});
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(EXIT_TIMEOUT, outcome.status) << outcome.err;
    EXPECT_EQ("plim-modem-cli: get-active-mbn-info: no response to serial 77 within 0.3 s\n",
              outcome.err);
    EXPECT_EQ("", outcome.out) << "a timed-out request printed a result";
    EXPECT_GE(waited, std::chrono::milliseconds(300)) << "gave up before the timeout";
    EXPECT_TRUE(log_.contains(Log::INFO, "modem-impl", "getActiveMbnInfo: serial = 77, subId = 1"))
            << "the request was not sent:\n"
            << log_.dump();
}

Reply answer(const char* method, int32_t serial) {
    return Reply{method, serial, 2, Reply::Type::None, {}, {}, {}};
}

TEST(ResponseWaiterTest, Wait_WhenOthersAnswersArriveFirst_KeepsOnlyItsOwn) {
    ResponseWaiter waiter(5, "respondReadNv");
    waiter.offer(answer("respondReadNv", 6));
    waiter.offer(answer("respondReadEfs", 5));
    Reply reply;
    EXPECT_EQ(ResponseWaiter::Outcome::TimedOut, waiter.wait(std::chrono::milliseconds(10), &reply))
            << "took another client's response (other serial or other method) for its own";
    waiter.offer(answer("respondReadNv", 5));
    waiter.offer(answer("respondReadNv", 5));
    waiter.daemonDied();
    ASSERT_EQ(ResponseWaiter::Outcome::Answered, waiter.wait(std::chrono::milliseconds(10), &reply))
            << "an answer that came before the death must count";
    EXPECT_EQ(2, reply.error) << "not the answer offered";
}

}  // namespace
}  // namespace com::vyr::plim::cli
