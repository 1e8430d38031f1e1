/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The command-line client end to end: runCli in a simulated process of its own, a whole daemon
// instance 0 in the test process. What a user sees (stdout, stderr, exit status) and what the
// daemon got: a bad command line sends nothing, a good one one request, answered once.

#include <android/binder_host.h>
#include <android/binder_manager.h>
#include <gtest/gtest.h>
#include <modem_sim/ModemSimControl.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <functional>
#include <future>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Cli.h"
#include "Commands.h"
#include "DaemonHarness.h"
#include "LogCapture.h"
#include "Response.h"

namespace com::vyr::plim::cli {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
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

    /** Lines of `tag` that are "<method>: serial = <serial>", alone or followed by ", ...". */
    size_t countLogged(const char* tag, const std::string& method, int64_t serial) const {
        const std::string head = method + ": serial = " + std::to_string(serial);
        size_t count = 0;
        for (const std::string& line : log_.texts(tag)) {
            count += line == head || line.rfind(head + ",", 0) == 0 ? 1 : 0;
        }
        return count;
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
                scenario("NvWriteThenReadBack", nothing,
                         {step({"write-nv", "--nv-id", "550", "--sub-id", "1", "--index", "0",
                                "--data", "007FfF"},
                               "write-nv: error 0 (OK)\n", 0),
                          step({"read-nv", "--nv-id", "550", "--sub-id=1", "--index", "0"},
                               "read-nv: error 0 (OK), result: 00 7f ff\n", 0),
                          // Another subscription's item of that id is not there.
                          step({"read-nv", "--nv-id", "550", "--sub-id", "0", "--index", "0"},
                               "read-nv: error 1 (FAILED), result: (empty)\n", 11)},
                         [](const State& s) {
                             return s.nvItems.count({1, 550, 0}) == 1;
                         }),
                scenario("EfsFromFile", nothing,
                         {step({"write-efs", "--efs-id", "0x28", "--sub-id", "0", "--data-file",
                                "@FILE"},
                               "write-efs: error 0 (OK)\n", 0),
                          step({"read-efs", "--efs-id", "40", "--sub-id", "0"},
                               "read-efs: error 0 (OK), result: 01 02 fe\n", 0)}),
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
                scenario("PropertyAsTextAndJson", nothing,
                         {step({"set-modem-property", "--key", "persist.x", "--value", "on"},
                               "set-modem-property: error 0 (OK)\n", 0),
                          step({"get-modem-property", "--key", "persist.x"},
                               "get-modem-property: error 0 (OK), result: on\n", 0),
                          step({"--json", "--serial", "7", "get-modem-property", "--key",
                                "persist.x"},
                               "{\"request\":\"get-modem-property\",\"serial\":7,\"error\":0,"
                               "\"result\":\"6f6e\"}\n",
                               0)},
                         [](const State& s) { return s.properties.at("persist.x") == "on"; }),
                scenario("TextsEscaped",
                         [] { plant([](State& s) { s.buildId = "PLIM \"7\"\x01\\"; }); },
                         {step({"get-build-id"},
                               "get-build-id: error 0 (OK), result: PLIM \"7\"\\x01\\\n", 0),
                          step({"--json", "--serial=-5", "get-build-id"},
                               "{\"request\":\"get-build-id\",\"serial\":-5,\"error\":0,"
                               "\"result\":\"PLIM \\\"7\\\"\\u0001\\\\\"}\n",
                               0)}),
                scenario("SwitchAndModeRoundTrip", nothing,
                         {step({"set-5g-power-save-switch", "on"},
                               "set-5g-power-save-switch: error 0 (OK)\n", 0),
                          step({"get-5g-power-save-switch"},
                               "get-5g-power-save-switch: error 0 (OK), result: true\n", 0),
                          step({"set-qst-mode", "--mode", "3"}, "set-qst-mode: error 0 (OK)\n", 0),
                          step({"get-qst-mode"}, "get-qst-mode: error 0 (OK), result: 3\n", 0)},
                         [](const State& s) { return s.powerSaveSwitch && s.qstMode == 3; }),
                scenario("MbnListOfMissingRoot", nothing,
                         {step({"get-mbn-list"},
                               "get-mbn-list: error 1 (FAILED), result: 0 entries\n", 11),
                          step({"--json", "--serial", "9", "get-mbn-list"},
                               "{\"request\":\"get-mbn-list\",\"serial\":9,\"error\":1,"
                               "\"result\":[]}\n",
                               11)}),
                scenario("ModemErrorsMapped",
                         [] { Control::failNextCalls("modem_api_active_mbn", 1, MODEM_API_BUSY); },
                         {step({"activate-mbn-by-name", "--name", "A"},
                               "activate-mbn-by-name: error 1 (FAILED)\n", 11),
                          // A missing key is refused as an invalid argument.
                          step({"get-modem-property", "--key", "nope"},
                               "get-modem-property: error 3 (INVALID_ARGUMENT), result: (empty)\n",
                               13)})),
        [](const ::testing::TestParamInfo<ScenarioRow>& info) { return info.param.name; });

// ---- Every subcommand ---------------------------------------------------------------------------

struct EveryRow {
    Args args;  // the subcommand and its arguments
    int status;
};

void PrintTo(const EveryRow& row, std::ostream* os) {
    *os << row.args[0];
}

const std::vector<EveryRow>& everyRow() {
    static const std::vector<EveryRow> rows{
            {{"get-build-time"}, 0},
            {{"get-build-id"}, 0},
            {{"read-nv", "--nv-id", "550", "--sub-id", "0", "--index", "0"}, 0},
            {{"write-nv", "--nv-id", "550", "--sub-id", "0", "--index", "0", "--data", "01"}, 0},
            {{"read-efs", "--efs-id", "40", "--sub-id", "0"}, 0},
            {{"write-efs", "--efs-id", "40", "--sub-id", "0", "--data", "01"}, 0},
            {{"delete-efs-file", "--efs-id", "40", "--sub-id", "0"}, 0},
            {{"delete-efs-dir", "--efs-id", "1"}, 0},
            {{"get-nr-network-mode"}, 0},
            {{"set-nr-network-mode", "--mode", "2"}, 0},
            {{"get-vonr-mode"}, 0},
            {{"set-vonr-mode", "--mode", "1"}, 0},
            {{"get-operating-mode"}, 0},
            {{"set-operating-mode", "--mode", "1"}, 0},
            {{"set-radio-info-report-switch", "--on"}, 0},
            {{"delete-ims-profile"}, 0},
            {{"get-active-mbn-info", "--type", "1"}, 0},
            {{"get-meta-mbn-info", "--id", "cfg-a"}, 0},
            {{"get-mbn-list"}, 11},
            {{"delete-all-mbns"}, 0},
            {{"select-mbn", "--type", "1", "--id", "cfg-a"}, 0},
            {{"load-mbn", "/nonexistent/plim-cli-test/generic/a/mcfg_sw.mbn"}, 11},
            {{"activate-mbn", "--type", "1"}, 0},
            {{"deactivate-mbn", "--type", "1"}, 0},
            {{"activate-mbn-by-name", "--name", "cfg-a"}, 0},
            {{"restore-diff-qcn"}, 0},
            {{"reboot-modem"}, 0},
            {{"remove-rat-mask"}, 0},
            {{"get-modem-property", "--key", "persist.x"}, 0},
            {{"set-modem-property", "--key", "persist.x", "--value", "off"}, 0},
            {{"delete-modem-property", "--key", "persist.x"}, 0},
            {{"get-5g-power-save-switch"}, 0},
            {{"set-5g-power-save-switch", "off"}, 0},
            {{"set-5g-power-save-mode", "--mode", "255"}, 0},
            {{"force-asdiv", "--mode", "1"}, 0},
            {{"get-simlock-fuse-state"}, 0},
            {{"get-qst-mode"}, 0},
            {{"set-qst-mode", "--mode", "1"}, 0},
            {{"abort-rrc-connection"}, 0},
            {{"set-sar-state", "--state", "1"}, 0},
            {{"inform-screen-state", "on"}, 0},
    };
    return rows;
}

class CliEveryTest : public CliTest, public ::testing::WithParamInterface<EveryRow> {};

TEST_P(CliEveryTest, RunCli_ForEachSubcommand_SendsOneRequestAnsweredOnceWithItsSerial) {
    Control::editState([](State& s) {
        s.nvItems[{0, 550, 0}] = {1};
        s.efsFiles[{0, 40}] = {1};
        s.properties["persist.x"] = "on";
        s.pdcConfigs["cfg-a"] = {1, 2};
        s.pdcSelected[1] = "cfg-a";
        s.pdcActive[1] = "cfg-a";
    });
    const Command* command = findCommand(GetParam().args[0]);
    ASSERT_NE(nullptr, command) << "no such subcommand";
    const Outcome outcome = run(with({"--json"}, GetParam().args));
    EXPECT_EQ(GetParam().status, outcome.status) << outcome.out << outcome.err;

    std::smatch serial;
    ASSERT_TRUE(std::regex_search(outcome.out, serial, std::regex("\"serial\":(-?[0-9]+)")))
            << "no serial printed: " << outcome.out;
    const int64_t sent = std::stoll(serial[1]);
    EXPECT_EQ(1u, countLogged("modem-impl", command->method, sent))
            << "the printed serial is not the one of exactly one request:\n"
            << log_.dump();
    EXPECT_EQ(1u, countLogged("modem-resp", responseMethod(*command), sent))
            << "the request was not answered exactly once on its method:\n"
            << log_.dump();
}

INSTANTIATE_TEST_SUITE_P(Cli, CliEveryTest, ::testing::ValuesIn(everyRow()),
                         [](const ::testing::TestParamInfo<EveryRow>& info) {
                             std::string name;
                             for (char c : info.param.args[0]) {
                                 name += c == '-' ? '_' : c;
                             }
                             return name;
                         });

TEST(CliTableTest, Commands_ComparedWithTheInterface_OneRowPerRequestEachTestedAbove) {
    std::set<std::string> tested;
    for (const EveryRow& row : everyRow()) {
        tested.insert(row.args[0]);
    }
    std::set<std::string> methods;
    for (const Command& command : commands()) {
        EXPECT_TRUE(tested.count(command.name)) << command.name << " has no end-to-end row";
        methods.insert(command.method);
    }
    // Every IModem method but setCallback, none twice.
    EXPECT_EQ(41u, commands().size()) << "a request has no subcommand";
    EXPECT_EQ(41u, methods.size()) << "two subcommands call the same method";
}

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
    EXPECT_EQ("", outcome.out);
    EXPECT_GE(waited, std::chrono::milliseconds(300)) << "gave up before the timeout";
    EXPECT_EQ(1u, countLogged("modem-impl", "getActiveMbnInfo", 77)) << "the request was not sent";
}

/** Accepts every call and answers none: a daemon that hangs, in a process the test kills. */
class SilentModem {
  public:
    SilentModem() {
        process_.startThreadPool(0);
        process_.run([&] {
            // Classes live as long as the process, as the generated ones do.
            static AIBinder_Class* const clazz = AIBinder_Class_define(
                    IModem::descriptor, [](void* args) { return args; }, [](void*) {}, onTransact);
            binder_ = ndk::SpAIBinder(AIBinder_new(clazz, this));
            EXPECT_EQ(EX_NONE, AServiceManager_addService(
                                       binder_.get(), "vendor.vyr.plim.modem.IModem/instance1"));
        });
    }

    std::promise<void> requested;  // set by the second call: setCallback, then the request
    ndk::host::ScopedProcess& process() { return process_; }

  private:
    static binder_status_t onTransact(AIBinder* binder, transaction_code_t, const AParcel*,
                                      AParcel* out) {
        auto* self = static_cast<SilentModem*>(AIBinder_getUserData(binder));
        if (++self->calls_ == 2) {
            self->requested.set_value();
        }
        return AParcel_writeStatusHeader(out, ndk::ScopedAStatus::ok().get());
    }

    ndk::host::ScopedProcess process_{"silent-daemon"};
    ndk::SpAIBinder binder_;
    std::atomic<int> calls_{0};
};

TEST_F(CliTest, RunCli_WhenDaemonDiesBeforeAnswering_ExitsDaemonDied) {
    SilentModem silent;
    std::future<void> requested = silent.requested.get_future();
    std::promise<Outcome> done;
    std::thread client([&] { done.set_value(run({"--instance", "1", "reboot-modem"})); });
    EXPECT_EQ(std::future_status::ready, requested.wait_for(std::chrono::seconds(10)))
            << "setCallback and the request never came";
    // The death may cut the request's own call short or come during the wait: either way the
    // daemon died before it answered.
    silent.process().kill();
    const Outcome outcome = done.get_future().get();
    client.join();
    EXPECT_EQ(EXIT_DAEMON_DIED, outcome.status) << outcome.err;
    EXPECT_EQ("plim-modem-cli: reboot-modem: the daemon died before it answered\n", outcome.err);
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
