/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The command-line client against a whole daemon instance 0 in the test process, runCli in a
// simulated process of its own: what only the client decides (parsing, printing, exit status).
// Every request through the client, and a daemon dying under it, are the e2e tests' part.

#include <android/binder_host.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <plim/Log.h>

#include "Cli.h"
#include "DaemonHarness.h"
#include "LogCapture.h"
#include "Response.h"

namespace com::vyr::plim::cli {
namespace {

using modemsim::Control;
using modemsim::State;
using Args = std::vector<std::string>;

// The daemon reads it once, as it makes its configuration client: a root that does not exist.
// And the simulated modem starts from power-on, not from a state saved by an earlier run.
[[maybe_unused]] const bool kEnvironmentSet =
        setenv("PLIM_MBN_ROOT", "/nonexistent/plim-cli-test/generic", 1) == 0 &&
        unsetenv("PLIM_MODEM_STATE_DIR") == 0;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class CliTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(0, daemon_.makeResult()) << log_.dump();
        std::ofstream(dataFile_, std::ios::binary) << std::string("\x01\x02\xfe", 3);
        Control::clearCalls();
        log_.clear();
    }

    void TearDown() override {
        std::remove(dataFile_.c_str());
        daemon_.waitForIdle();
        EXPECT_EQ(0u, ABinderHost_Process_getPendingWork(ABinderHost_Process_getDefault()))
                << "calls still queued to the daemon";
        EXPECT_TRUE(Control::waitForIdle()) << "the modem library is still busy";
    }

    /** Runs the client in a new process, which dies once it returns; "@FILE" is a 3-byte file. */
    Outcome run(Args args) {
        for (std::string& arg : args) {
            arg = arg == "@FILE" ? dataFile_ : arg;
        }
        ndk::host::ScopedProcess process(("cli-" + std::to_string(++runs_)).c_str());
        std::ostringstream out;
        std::ostringstream err;
        Outcome outcome;
        outcome.status = process.run([&] { return runCli(args, out, err); });
        outcome.out = out.str();
        outcome.err = err.str();
        daemon_.waitForIdle();
        return outcome;
    }

    test::LogCapture log_;
    test::DaemonHarness daemon_{0};
    const std::string dataFile_ = "/tmp/plim-cli-test-" + std::to_string(getpid()) + ".bin";
    int runs_ = 0;
};

// ---- Bad command lines --------------------------------------------------------------------------

struct UsageRow {
    const char* name;
    Args args;
    std::string message;  // after "plim-modem-cli: "
};

void PrintTo(const UsageRow& row, std::ostream* os) {
    *os << row.name;
}

class CliUsageTest : public CliTest, public ::testing::WithParamInterface<UsageRow> {};

TEST_P(CliUsageTest, RunCli_WhenCommandLineIsBad_ExitsUsageAndSendsNothing) {
    const Outcome outcome = run(GetParam().args);
    EXPECT_EQ(EXIT_USAGE, outcome.status) << outcome.err;
    EXPECT_EQ("plim-modem-cli: " + GetParam().message + " (see --help)\n", outcome.err)
            << "not one line naming what is wrong";
    EXPECT_EQ("", outcome.out) << "a refused command line printed a result";
    EXPECT_TRUE(log_.texts("modem-impl").empty()) << "a refused command line reached the daemon:\n"
                                                  << log_.dump();
    EXPECT_TRUE(Control::calls().empty()) << "a refused command line reached the modem";
}

const Args kReadNv{"read-nv", "--nv-id", "1", "--sub-id", "0"};
const Args kWriteEfs{"write-efs", "--efs-id", "1", "--sub-id", "0"};

Args with(Args args, const Args& more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

UsageRow usage(const char* name, Args args, std::string message) {
    return UsageRow{name, std::move(args), std::move(message)};
}

INSTANTIATE_TEST_SUITE_P(
        Cli, CliUsageTest,
        ::testing::Values(
                usage("NoSubcommand", {"--json"}, "missing subcommand"),
                usage("UnknownSubcommand", {"read-nvv"}, "unknown subcommand 'read-nvv'"),
                usage("UnknownOption", {"--verbose", "get-build-id"}, "unknown option --verbose"),
                usage("OptionAfterSubcommand", {"get-build-id", "--json"},
                      "get-build-id: unknown option --json"),
                usage("InstanceTwo", {"--instance", "2", "get-build-id"},
                      "--instance: '2' is not 0 or 1"),
                usage("TimeoutWord", {"--timeout", "soon", "get-build-id"},
                      "--timeout: 'soon' is not a number of seconds above 0"),
                usage("ValueMissing", {"set-operating-mode", "--mode"},
                      "set-operating-mode: --mode needs a value"),
                usage("ArgumentMissing", kReadNv, "read-nv: missing --index"),
                usage("IntWord", {"set-qst-mode", "--mode", "two"},
                      "set-qst-mode: --mode: 'two' is not a 32-bit integer"),
                usage("IntTrailingText", {"set-qst-mode", "--mode=2x"},
                      "set-qst-mode: --mode: '2x' is not a 32-bit integer"),
                usage("IntOverflow", {"set-sar-state", "--state", "2147483648"},
                      "set-sar-state: --state: '2147483648' is not a 32-bit integer"),
                usage("ByteAbove255", with(kReadNv, {"--index", "256"}),
                      "read-nv: --index: '256' is not a byte (0..255 or -128..127)"),
                usage("ByteBelowMinus128", {"set-5g-power-save-mode", "--mode", "-129"},
                      "set-5g-power-save-mode: --mode: '-129' is not a byte (0..255 or -128..127)"),
                usage("HexOddLength", with(kWriteEfs, {"--data", "abc"}),
                      "write-efs: --data: odd number of hex digits"),
                usage("HexNotADigit", with(kWriteEfs, {"--data", "0g"}),
                      "write-efs: --data: not a hex digit at position 2"),
                usage("DataTwice", with(kWriteEfs, {"--data", "00", "--data-file", "@FILE"}),
                      "write-efs: --data or --data-file given twice"),
                usage("DataFileMissing", with(kWriteEfs, {"--data-file", "/nonexistent/x"}),
                      "write-efs: --data-file: /nonexistent/x: No such file or directory"),
                usage("DataFileEndless", with(kWriteEfs, {"--data-file", "/dev/zero"}),
                      "write-efs: --data-file: /dev/zero: larger than 262144 bytes"),
                usage("OnOffMissing", {"inform-screen-state"},
                      "inform-screen-state: missing on|off"),
                usage("OnOffTwice", {"inform-screen-state", "--on", "off"},
                      "inform-screen-state: unexpected argument 'off'"),
                usage("OptionTwice", {"set-vonr-mode", "--mode", "1", "--mode", "2"},
                      "set-vonr-mode: --mode given twice"),
                usage("PathMissing", {"load-mbn"}, "load-mbn: missing PATH")),
        [](const ::testing::TestParamInfo<UsageRow>& info) { return info.param.name; });

// ---- What the user sees -------------------------------------------------------------------------

struct Step {
    Args args;
    std::string out;
    int status;
};

struct ScenarioRow {
    const char* name;
    std::function<void()> before;
    std::vector<Step> steps;  // each answered before the next is run
    std::function<bool(const State&)> modemHolds;
};

void PrintTo(const ScenarioRow& row, std::ostream* os) {
    *os << row.name;
}

class CliScenarioTest : public CliTest, public ::testing::WithParamInterface<ScenarioRow> {};

TEST_P(CliScenarioTest, RunCli_WhenDaemonAnswers_PrintsResultAndExitsWithItsError) {
    GetParam().before();
    for (const Step& step : GetParam().steps) {
        const Outcome outcome = run(step.args);
        EXPECT_EQ(step.out, outcome.out) << "wrong result printed for " << step.args[0];
        EXPECT_EQ(step.status, outcome.status) << "wrong exit status: " << outcome.err;
        EXPECT_EQ("", outcome.err) << "an answered request wrote on stderr";
    }
    EXPECT_TRUE(GetParam().modemHolds(Control::state())) << "the modem does not hold what was set";
}

void nothing() {}
bool anything(const State&) {
    return true;
}

Step step(Args args, std::string out, int status) {
    return Step{std::move(args), std::move(out), status};
}

ScenarioRow scenario(const char* name, std::function<void()> before, std::vector<Step> steps,
                     std::function<bool(const State&)> modemHolds = anything) {
    return ScenarioRow{name, std::move(before), std::move(steps), std::move(modemHolds)};
}

void plant(std::function<void(State&)> edit) {
    Control::editState(edit);
}

INSTANTIATE_TEST_SUITE_P(
        Cli, CliScenarioTest,
        ::testing::Values(
                // Hex in either case, "--opt=value", and data from a file.
                scenario("DataFromHexAndFile", nothing,
                         {step({"write-nv", "--nv-id", "550", "--sub-id=1", "--index", "0",
                                "--data", "007FfF"},
                               "write-nv: error 0 (OK)\n", 0),
                          step({"read-nv", "--nv-id", "550", "--sub-id", "1", "--index", "0"},
                               "read-nv: error 0 (OK), result: 00 7f ff\n", 0),
                          step({"write-efs", "--efs-id", "0x28", "--sub-id", "0", "--data-file",
                                "@FILE"},
                               "write-efs: error 0 (OK)\n", 0),
                          step({"read-efs", "--efs-id", "40", "--sub-id", "0"},
                               "read-efs: error 0 (OK), result: 01 02 fe\n", 0)},
                         [](const State& s) {
                             return s.nvItems.count({1, 550, 0}) == 1;
                         }),
                scenario(
                        "BytesPassTheirBits",
                        [] { plant([](State& s) {
                                 s.nvItems[{255, 7, 0}] = {42};
                             }); },
                        {step({"read-nv", "--nv-id", "7", "--sub-id", "-1", "--index", "0"},
                              "read-nv: error 0 (OK), result: 2a\n", 0),
                         step({"set-5g-power-save-mode", "--mode", "-2"},
                              "set-5g-power-save-mode: error 0 (OK)\n", 0)},
                        [](const State& s) { return s.powerSaveMode == 0xFE; }),
                scenario("TextsEscaped",
                         [] { plant([](State& s) { s.buildId = "PLIM \"7\"\x01\\"; }); },
                         {step({"get-build-id"},
                               "get-build-id: error 0 (OK), result: PLIM \"7\"\\x01\\\n", 0),
                          step({"--json", "--serial=-5", "get-build-id"},
                               "{\"request\":\"get-build-id\",\"serial\":-5,\"error\":0,"
                               "\"result\":\"PLIM \\\"7\\\"\\u0001\\\\\"}\n",
                               0)}),
                scenario("MbnListOfMissingRoot", nothing,
                         {step({"get-mbn-list"},
                               "get-mbn-list: error 1 (FAILED), result: 0 entries\n", 11),
                          step({"--json", "--serial", "9", "get-mbn-list"},
                               "{\"request\":\"get-mbn-list\",\"serial\":9,\"error\":1,"
                               "\"result\":[]}\n",
                               11)})),
        [](const ::testing::TestParamInfo<ScenarioRow>& info) { return info.param.name; });

// ---- No answer ----------------------------------------------------------------------------------

TEST_F(CliTest, RunCli_WhenInstanceNotRegistered_ExitsServiceNotFound) {
    const Outcome outcome = run({"--instance", "1", "get-build-id"});
    EXPECT_EQ(EXIT_NO_SERVICE, outcome.status) << outcome.err;
    EXPECT_EQ("plim-modem-cli: service vendor.vyr.plim.modem.IModem/instance1 not found\n",
              outcome.err);
    EXPECT_TRUE(log_.texts("modem-impl").empty()) << "instance 0 was asked instead";
}

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

// ---- The wait -----------------------------------------------------------------------------------

Reply replyOf(const char* method, int32_t serial) {
    Reply reply;
    reply.method = method;
    reply.serial = serial;
    reply.error = 2;
    return reply;
}

TEST(ResponseWaiterTest, Wait_WhenOthersAnswersArriveFirst_KeepsOnlyItsOwn) {
    ResponseWaiter waiter(5, "respondReadNv");
    waiter.offer(replyOf("respondReadNv", 6));
    waiter.offer(replyOf("respondReadEfs", 5));
    Reply reply;
    EXPECT_EQ(ResponseWaiter::Outcome::TimedOut, waiter.wait(std::chrono::milliseconds(10), &reply))
            << "took another client's response (other serial or other method) for its own";
    waiter.offer(replyOf("respondReadNv", 5));
    waiter.offer(replyOf("respondReadNv", 5));
    waiter.daemonDied();
    ASSERT_EQ(ResponseWaiter::Outcome::Answered, waiter.wait(std::chrono::milliseconds(10), &reply))
            << "an answer that came before the death must count";
    EXPECT_EQ(2, reply.error);
}

}  // namespace
}  // namespace com::vyr::plim::cli
