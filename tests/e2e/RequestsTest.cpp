/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon's start-up as a process, then every request through plim-modem-cli against daemon
// processes: what the user sees, and that a change shows in the read that follows it.

#include <fstream>
#include <set>
#include <sstream>

#include "Processes.h"

namespace com::vyr::plim::e2e {
namespace {

struct Row {
    std::string command;  // split at spaces
    int status;
    std::string result;  // the result shown after the error (empty: none), or a whole JSON line
};

// The MBN list follows directory order, which the file system picks: lines compare as a set.
std::multiset<std::string> lines(const std::string& text) {
    std::multiset<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.insert(line);
    }
    return lines;
}

class RequestsTest : public E2eTest {
  protected:
    /** Runs the rows in order, one CLI process each, against instance `instance`. */
    void expectRows(int instance, const std::vector<Row>& rows) {
        // Exit status 0 for error 0, else 10 + the error.
        const char* kErrors[] = {"0 (OK)", "1 (FAILED)", "", "3 (INVALID_ARGUMENT)",
                                 "4 (INVALID_STATE)"};
        for (const Row& row : rows) {
            std::vector<std::string> args = words(row.command);
            const std::string out =
                    row.result[0] == '{'
                            ? row.result + "\n"
                            : args[0] + ": error " + kErrors[row.status % 10] +
                                      (row.result.empty() ? "" : ", result: " + row.result) + "\n";
            args.insert(args.begin(), {"--instance", std::to_string(instance), "--timeout", "30"});
            const CliResult got = cli(args);
            EXPECT_EQ(lines(out), lines(got.out)) << row.command << ": wrong output";
            EXPECT_EQ(row.status, got.status) << row.command << ": wrong exit status; " << got.err;
        }
    }
};

/** Whether `lines` come in `text` in this order; other lines may come between them. */
bool inOrder(const std::string& text, const std::vector<std::string>& lines) {
    size_t at = 0;
    for (const std::string& line : lines) {
        if ((at = text.find(line, at)) == std::string::npos) {
            return false;
        }
        at += line.size();
    }
    return true;
}

// Two instances in one socket directory: each sets up before it registers, and each serves from
// its own modem, instance 1 refusing what its modem lacks.
TEST_F(RequestsTest, Daemons_WhenStartedSideBySide_SetUpInOrderAndServeTheirOwnModem) {
    for (int instance : {0, 1}) {
        const Process& daemon = startDaemon(instance);
        const std::string id = std::to_string(instance), p = "[" + id + "] ";
        const std::string last = instance == 0 ? "SAR" : "WDS";  // the last client set up
        const std::string lastSetUp = p + "setup: " + last + " qmi notifier setup completed";
        const std::string registered =
                p + "successfully registered aidl service vendor.vyr.plim.modem.IModem/instance" +
                id;
        // The modem reports its services in the order they were asked for, once it has brought
        // them up: before or after the registration.
        const std::string log = daemon.err();
        EXPECT_TRUE(
                inOrder(log,
                        {"parse: successfully parsed instance id {" + id + "}",
                         p + "plim-modem main entry", p + "setup: NAS qmi notifier setup completed",
                         lastSetUp, p + "init done", registered, p + "plim-modem ready to loop"}) &&
                inOrder(log, {lastSetUp, p + "modemApiEventCallback: NAS qmi service is connected",
                              p + "modemApiEventCallback: " + last + " qmi service is connected"}))
                << "registered before its clients and modem were ready, or out of order:\n"
                << log;
        std::string name;
        std::getline(std::ifstream("/proc/" + std::to_string(daemon.pid()) + "/comm"), name);
        EXPECT_EQ("modem-main", name) << "the main thread must carry its name in ps and tombstones";
    }
    expectRows(1, {{"get-operating-mode", 14, "-1"},
                   {"get-mbn-list", 14, "0 entries"},
                   {"set-sar-state --state 1", 14, ""},
                   {"force-asdiv --mode 1", 14, ""},
                   {"set-nr-network-mode --mode 2", 0, ""},
                   {"get-nr-network-mode", 0, "2"},
                   {"write-nv --nv-id 550 --sub-id 0 --index 0 --data 01", 0, ""},
                   {"read-nv --nv-id 550 --sub-id 0 --index 0", 0, "01"},
                   {"delete-ims-profile", 0, ""}});
    expectRows(0, {{"get-operating-mode", 0, "0"}, {"get-nr-network-mode", 0, "0"}});
}

TEST_F(RequestsTest, Daemon_WithBadCommandLine_ExitsOneBeforeItStarts) {
    const std::pair<std::vector<std::string>, std::string> lines[] = {
            {{}, "NO valid instance id for plim-modem"},
            {{"-i", "2"}, "failed to parse modem options, err = 3"}};
    for (const auto& [args, why] : lines) {
        Process daemon("daemon", PLIM_MODEM_BINARY, args, {}, scratch_ + "/bad-options");
        ASSERT_TRUE(daemon.wait(60s)) << "a daemon with a bad command line kept running";
        EXPECT_EQ(1, daemon.exitCode()) << daemon.describe() << ": " << daemon.err();
        EXPECT_NE(std::string::npos, daemon.err().find(why)) << "not told why: " << daemon.err();
        EXPECT_EQ(std::string::npos, daemon.err().find("main entry"))
                << "start-up went past the options";
    }
}

TEST_F(RequestsTest, EveryRequest_ThroughCliInOrder_AnswersAsExpectedAndReadsBackChanges) {
    startDaemon(0);
    const std::string id = "MbnApp_" + mbnRoot_ + "/row/carrier-b/mcfg_sw.mbn";  // carrier-b's
    const std::vector<Row> rows{
            {"get-build-time", 0, "2026-11-02 09:41:17"},
            {"--json --serial 2 get-build-id", 0,
             R"({"request":"get-build-id","serial":2,"error":0,"result":"PLIM.SIM.1.0-00042"})"},
            {"read-nv --nv-id 550 --sub-id 0 --index 0", 11, "(empty)"},
            {"write-nv --nv-id 550 --sub-id 0 --index 0 --data 007fff", 0, ""},
            {"--json --serial -5 read-nv --nv-id 550 --sub-id 0 --index 0", 0,
             R"({"request":"read-nv","serial":-5,"error":0,"result":"007fff"})"},
            {"write-efs --efs-id 40 --sub-id 0 --data 0102fe", 0, ""},
            {"read-efs --efs-id 40 --sub-id 0", 0, "01 02 fe"},
            {"delete-efs-file --efs-id 40 --sub-id 0", 0, ""},
            {"read-efs --efs-id 40 --sub-id 0", 11, "(empty)"},
            {"delete-efs-dir --efs-id 1", 0, ""},
            {"delete-efs-dir --efs-id 1", 11, ""},
            {"set-nr-network-mode --mode 2", 0, ""},
            {"get-nr-network-mode", 0, "2"},
            {"set-vonr-mode --mode 1", 0, ""},
            {"get-vonr-mode", 0, "1"},
            {"set-operating-mode --mode 1", 0, ""},
            {"get-operating-mode", 0, "1"},
            {"set-radio-info-report-switch on", 0, ""},
            {"delete-ims-profile", 0, ""},
            {"get-mbn-list", 0, "3 entries\n/row/carrier-a/\n/row/carrier-b/\n/lab/test-sim/"},
            {"load-mbn " + mbnRoot_ + "/row/carrier-b/mcfg_sw.mbn", 0, ""},
            {"get-meta-mbn-info --id " + id, 0, "size=900;state=stored"},
            {"select-mbn --type 1 --id " + id, 0, ""},
            {"get-meta-mbn-info --id " + id, 0, "size=900;state=selected"},
            {"activate-mbn --type 1", 0, ""},
            {"get-active-mbn-info --type 1", 0, id},
            {"get-meta-mbn-info --id " + id, 0, "size=900;state=active"},
            {"deactivate-mbn --type 1", 0, ""},
            {"get-active-mbn-info --type 1", 0, "(empty)"},
            {"activate-mbn-by-name --name carrier-b", 0, ""},
            {"delete-all-mbns", 0, ""},
            {"get-meta-mbn-info --id " + id, 13, "(empty)"},
            {"load-mbn " + mbnRoot_ + "/lab/empty/mcfg_sw.mbn", 11, ""},
            {"restore-diff-qcn", 0, ""},
            {"remove-rat-mask", 0, ""},
            {"set-modem-property --key persist.x --value on", 0, ""},
            {"get-modem-property --key persist.x", 0, "on"},
            {"delete-modem-property --key persist.x", 0, ""},
            {"get-modem-property --key persist.x", 13, "(empty)"},
            {"set-5g-power-save-switch on", 0, ""},
            {"get-5g-power-save-switch", 0, "true"},
            {"set-5g-power-save-mode --mode 2", 0, ""},
            {"force-asdiv --mode 1", 0, ""},
            {"get-simlock-fuse-state", 0, "0"},
            {"set-qst-mode --mode 3", 0, ""},
            {"get-qst-mode", 0, "3"},
            {"abort-rrc-connection", 0, ""},
            {"set-sar-state --state 1", 0, ""},
            {"inform-screen-state off", 0, ""},
            // Last: the modem's services are down for a while after it.
            {"reboot-modem", 0, ""},
    };
    expectRows(0, rows);
    // Once the rebooted modem's services are back, what was set is still there.
    CliResult after;
    EXPECT_TRUE(waitUntil([&] {
        after = cli({"--timeout", "30", "get-operating-mode"});
        return after.status != 14;
    })) << "the operating mode was never served again after the modem rebooted";
    EXPECT_EQ("get-operating-mode: error 0 (OK), result: 1\n", after.out) << after.err;
}

}  // namespace
}  // namespace com::vyr::plim::e2e
