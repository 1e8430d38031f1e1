/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon's start-up as a process, then every request through plim-modem-cli against daemon
// processes: what the user sees, and that a change shows in the read that follows it.

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "Processes.h"

namespace com::vyr::plim::e2e {
namespace {

struct Row {
    const char* name;
    const char* command;  // split at spaces; @MBN is the MBN root, @ID carrier-b's configuration
    int status;
    const char* result;  // the result shown after the error (null: none), or a whole JSON line
};

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

/** The subcommand among the options before it: --json alone, the others with a value. */
std::string subcommandOf(const std::vector<std::string>& args) {
    size_t i = 0;
    while (args[i][0] == '-') {
        i += args[i] == "--json" ? 1 : 2;
    }
    return args[i];
}

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
    std::string substituted(std::string text) const {
        const std::string id = "MbnApp_" + mbnRoot_ + "/row/carrier-b/mcfg_sw.mbn";
        for (const auto& [from, to] : {std::pair{std::string("@ID"), id}, {"@MBN", mbnRoot_}}) {
            for (size_t at; (at = text.find(from)) != std::string::npos;) {
                text.replace(at, from.size(), to);
            }
        }
        return text;
    }

    /** Runs the rows in order, one CLI process each, against instance `instance`. */
    void expectRows(int instance, const std::vector<Row>& rows) {
        static const std::map<int, std::string> kErrors{{0, "0 (OK)"},
                                                        {11, "1 (FAILED)"},
                                                        {13, "3 (INVALID_ARGUMENT)"},
                                                        {14, "4 (INVALID_STATE)"}};
        for (const Row& row : rows) {
            std::vector<std::string> args = words(substituted(row.command));
            const std::string line = substituted(row.result ? row.result : "");
            const std::string out =
                    line[0] == '{' ? line + "\n"
                                   : args[0] + ": error " + kErrors.at(row.status) +
                                             (row.result ? ", result: " + line : "") + "\n";
            args.insert(args.begin(), {"--instance", std::to_string(instance), "--timeout", "30"});
            const CliResult got = cli(args);
            EXPECT_EQ(lines(out), lines(got.out)) << row.name << ": wrong output";
            EXPECT_EQ(row.status, got.status) << row.name << ": wrong exit status; " << got.err;
        }
    }
};

const std::vector<Row>& instance0Rows() {
    static const std::vector<Row> rows{
            {"GetBuildTime", "get-build-time", 0, "2026-11-02 09:41:17"},
            {"GetBuildIdJson", "--json --serial 2 get-build-id", 0,
             R"({"request":"get-build-id","serial":2,"error":0,"result":"PLIM.SIM.1.0-00042"})"},
            {"ReadNvMissing", "read-nv --nv-id 550 --sub-id 0 --index 0", 11, "(empty)"},
            {"WriteNv", "write-nv --nv-id 550 --sub-id 0 --index 0 --data 007fff", 0, nullptr},
            {"ReadNvJson", "--json --serial -5 read-nv --nv-id 550 --sub-id 0 --index 0", 0,
             R"({"request":"read-nv","serial":-5,"error":0,"result":"007fff"})"},
            {"WriteEfs", "write-efs --efs-id 40 --sub-id 0 --data 0102fe", 0, nullptr},
            {"ReadEfs", "read-efs --efs-id 40 --sub-id 0", 0, "01 02 fe"},
            {"DeleteEfsFile", "delete-efs-file --efs-id 40 --sub-id 0", 0, nullptr},
            {"ReadEfsDeleted", "read-efs --efs-id 40 --sub-id 0", 11, "(empty)"},
            {"DeleteEfsDir", "delete-efs-dir --efs-id 1", 0, nullptr},
            {"DeleteEfsDirAgain", "delete-efs-dir --efs-id 1", 11, nullptr},
            {"SetNrNetworkMode", "set-nr-network-mode --mode 2", 0, nullptr},
            {"GetNrNetworkMode", "get-nr-network-mode", 0, "2"},
            {"SetVonrMode", "set-vonr-mode --mode 1", 0, nullptr},
            {"GetVonrMode", "get-vonr-mode", 0, "1"},
            {"SetOperatingMode", "set-operating-mode --mode 1", 0, nullptr},
            {"GetOperatingMode", "get-operating-mode", 0, "1"},
            {"SetRadioInfoReportSwitch", "set-radio-info-report-switch on", 0, nullptr},
            {"DeleteImsProfile", "delete-ims-profile", 0, nullptr},
            {"GetMbnList", "get-mbn-list", 0,
             "3 entries\n/row/carrier-a/\n/row/carrier-b/\n/lab/test-sim/"},
            {"LoadMbn", "load-mbn @MBN/row/carrier-b/mcfg_sw.mbn", 0, nullptr},
            {"MetaMbnStored", "get-meta-mbn-info --id @ID", 0, "size=900;state=stored"},
            {"SelectMbn", "select-mbn --type 1 --id @ID", 0, nullptr},
            {"MetaMbnSelected", "get-meta-mbn-info --id @ID", 0, "size=900;state=selected"},
            {"ActivateMbn", "activate-mbn --type 1", 0, nullptr},
            {"GetActiveMbnInfo", "get-active-mbn-info --type 1", 0, "@ID"},
            {"MetaMbnActive", "get-meta-mbn-info --id @ID", 0, "size=900;state=active"},
            {"DeactivateMbn", "deactivate-mbn --type 1", 0, nullptr},
            {"GetActiveMbnInfoNone", "get-active-mbn-info --type 1", 0, "(empty)"},
            {"ActivateMbnByName", "activate-mbn-by-name --name carrier-b", 0, nullptr},
            {"DeleteAllMbns", "delete-all-mbns", 0, nullptr},
            {"MetaMbnDeleted", "get-meta-mbn-info --id @ID", 13, "(empty)"},
            {"LoadMbnMissingFile", "load-mbn @MBN/lab/empty/mcfg_sw.mbn", 11, nullptr},
            {"RestoreDiffQcn", "restore-diff-qcn", 0, nullptr},
            {"RemoveRatMask", "remove-rat-mask", 0, nullptr},
            {"SetModemProperty", "set-modem-property --key persist.x --value on", 0, nullptr},
            {"GetModemProperty", "get-modem-property --key persist.x", 0, "on"},
            {"DeleteModemProperty", "delete-modem-property --key persist.x", 0, nullptr},
            {"GetModemPropertyDeleted", "get-modem-property --key persist.x", 13, "(empty)"},
            {"Set5gPowerSaveSwitch", "set-5g-power-save-switch on", 0, nullptr},
            {"Get5gPowerSaveSwitch", "get-5g-power-save-switch", 0, "true"},
            {"Set5gPowerSaveMode", "set-5g-power-save-mode --mode 2", 0, nullptr},
            {"ForceAsdiv", "force-asdiv --mode 1", 0, nullptr},
            {"GetSimlockFuseState", "get-simlock-fuse-state", 0, "0"},
            {"SetQstMode", "set-qst-mode --mode 3", 0, nullptr},
            {"GetQstMode", "get-qst-mode", 0, "3"},
            {"AbortRrcConnection", "abort-rrc-connection", 0, nullptr},
            {"SetSarState", "set-sar-state --state 1", 0, nullptr},
            {"InformScreenState", "inform-screen-state off", 0, nullptr},
            // Last: the modem's services are down for a while after it.
            {"RebootModem", "reboot-modem", 0, nullptr},
    };
    return rows;
}

/** Whether `lines` come in `text` in this order; other lines may come between them. */
bool inOrder(const std::string& text, const std::vector<std::string>& lines) {
    size_t at = 0;
    for (const std::string& line : lines) {
        at = text.find(line, at);
        if (at == std::string::npos) {
            return false;
        }
        at += line.size();
    }
    return true;
}

TEST_F(RequestsTest, Daemon_WhenStarted_SetsUpClientsAndModemBeforeItRegisters) {
    for (int instance : {0, 1}) {
        const Process& daemon = startDaemon(instance);
        const std::string id = std::to_string(instance);
        const std::string p = "[" + id + "] ";
        const std::string last = instance == 0 ? "SAR" : "WDS";  // the last client set up
        // The modem reports its services in the order they were asked for, once it has brought
        // them up: before or after the registration.
        const std::string log = daemon.err();
        EXPECT_TRUE(
                inOrder(log,
                        {"parse: successfully parsed instance id {" + id + "}",
                         p + "plim-modem main entry", p + "setup: NAS qmi notifier setup completed",
                         p + "setup: " + last + " qmi notifier setup completed", p + "init done",
                         p +
                                 "successfully registered aidl service "
                                 "vendor.vyr.plim.modem.IModem/instance" +
                                 id,
                         p + "plim-modem ready to loop"}) &&
                inOrder(log, {p + "setup: " + last + " qmi notifier setup completed",
                              p + "modemApiEventCallback: NAS qmi service is connected",
                              p + "modemApiEventCallback: " + last + " qmi service is connected"}))
                << "registered before its clients and modem were ready, or out of order:\n"
                << log;
        std::string name;
        std::getline(std::ifstream("/proc/" + std::to_string(daemon.pid()) + "/comm"), name);
        EXPECT_EQ("modem-main", name) << "the main thread must carry its name in ps and tombstones";
    }
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
    expectRows(0, instance0Rows());
    // Once the rebooted modem's services are back, what was set is still there.
    CliResult after;
    EXPECT_TRUE(waitUntil([&] {
        after = cli({"--timeout", "30", "get-operating-mode"});
        return after.status != 14;
    })) << "the operating mode was never served again after the modem rebooted";
    EXPECT_EQ("get-operating-mode: error 0 (OK), result: 1\n", after.out) << after.err;
}

TEST_F(RequestsTest, Rows_ComparedWithCliHelp_CoverEverySubcommand) {
    std::set<std::string> covered;
    for (const Row& row : instance0Rows()) {
        covered.insert(subcommandOf(words(row.command)));
    }
    // Subcommands are listed two spaces in, their help lines deeper.
    std::istringstream help(cli({"--help"}).err);
    std::set<std::string> listed;
    for (std::string line; std::getline(help, line);) {
        if (line.size() > 2 && line.compare(0, 2, "  ") == 0 && islower(line[2])) {
            listed.insert(words(line)[0]);
        }
    }
    listed.erase("sim");  // the simulated modem's control, not a request
    EXPECT_EQ(41u, listed.size()) << "the CLI does not list one subcommand per request";
    for (const std::string& name : listed) {
        EXPECT_TRUE(covered.count(name)) << name << " has no row";
    }
}

TEST_F(RequestsTest, InstanceOne_BesideInstanceZero_RefusesWhatItLacksAndServesTheRest) {
    startDaemon(0);
    startDaemon(1);
    expectRows(1, {{"OperatingModeNoDms", "get-operating-mode", 14, "-1"},
                   {"MbnListNoPdc", "get-mbn-list", 14, "0 entries"},
                   {"SarStateNoSar", "set-sar-state --state 1", 14, nullptr},
                   {"AsdivNoDiag", "force-asdiv --mode 1", 14, nullptr},
                   {"NasServed", "set-nr-network-mode --mode 2", 0, nullptr},
                   {"NasReadsBack", "get-nr-network-mode", 0, "2"},
                   {"VsServed", "write-nv --nv-id 550 --sub-id 0 --index 0 --data 01", 0, nullptr},
                   {"VsReadsBack", "read-nv --nv-id 550 --sub-id 0 --index 0", 0, "01"},
                   {"WdsServed", "delete-ims-profile", 0, nullptr}});
    // Instance 0 in the same directory still answers for itself, from its own modem.
    expectRows(0, {{"Instance0Dms", "get-operating-mode", 0, "0"},
                   {"Instance0Nas", "get-nr-network-mode", 0, "0"}});
}

}  // namespace
}  // namespace com::vyr::plim::e2e
