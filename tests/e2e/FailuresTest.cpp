/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What goes wrong between real processes: the daemon killed mid-request, a stranger knocking (a
// client killed mid-request and the modem restarting under traffic are the storm's). The modem is
// slowed through the simulated library's control socket (`plim-modem-cli sim ...`).

#include <signal.h>
#include <unistd.h>

#include <filesystem>

#include "Processes.h"

namespace com::vyr::plim::e2e {
namespace {

using FailuresTest = E2eTest;

TEST_F(FailuresTest, Cli_WhenDaemonKilledWhileWaiting_ExitsDaemonDiedAndRestartKeepsNv) {
    Process& daemon = startDaemon(0);
    const CliResult write = cli(
            {"write-nv", "--nv-id", "550", "--sub-id", "0", "--index", "0", "--data", "0a0b0c"});
    ASSERT_EQ(0, write.status) << "write-nv failed: " << write.err;
    sim("latency modem_get_build_id 60000000");
    const auto waiting = spawnCli({"--timeout", "120", "--serial", "4201", "get-build-id"});
    ASSERT_TRUE(waitUntil([&] { return logged(daemon, "] getBuildId: serial = 4201\n"); }))
            << "the request never reached the daemon:\n"
            << daemon.err();
    daemon.kill(SIGKILL);
    const auto killed = std::chrono::steady_clock::now();
    ASSERT_TRUE(waiting->wait(60s)) << "the CLI still waits for a daemon that is gone";
    const auto took = std::chrono::steady_clock::now() - killed;
    EXPECT_EQ(76, waiting->exitCode()) << waiting->describe() << ": " << waiting->err();
    EXPECT_EQ("plim-modem-cli: get-build-id: the daemon died before it answered\n", waiting->err());
    EXPECT_LE(took, 1s) << "the CLI noticed the death late";
    ASSERT_TRUE(daemon.wait(60s));
    EXPECT_EQ(SIGKILL, daemon.termSignal()) << daemon.describe();

    startDaemon(0);  // the same state directory
    const CliResult read = cli({"read-nv", "--nv-id", "550", "--sub-id", "0", "--index", "0"});
    EXPECT_EQ("read-nv: error 0 (OK), result: 0a 0b 0c\n", read.out)
            << "the NV item written before the kill was lost: " << read.err;
}

TEST_F(FailuresTest, Daemon_WhenAnotherUidConnects_RefusesItAndServesItsOwn) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to run the client as another user";
    }
    Process& daemon = startDaemon(0);
    // Let the stranger reach the directory and the daemon's socket, so that only the daemon's
    // own check of the peer stands in its way.
    namespace fs = std::filesystem;
    const fs::path binder = scratch_ + "/binder";
    fs::permissions(binder, fs::perms::all);
    fs::permissions(binder / "services", fs::perms::all);
    for (const auto& entry : fs::directory_iterator(binder)) {
        if (entry.is_socket()) {
            fs::permissions(entry.path(), fs::perms::all);
        }
    }
    const size_t callbacksBefore = occurrences(daemon.err(), "setCallback: set callbacks");
    const auto stranger = spawnCli({"--timeout", "30", "get-build-id"}, 65534);
    ASSERT_TRUE(stranger->wait(60s)) << "the stranger's CLI hung";
    const int status = stranger->exitCode();
    EXPECT_TRUE(status == 69 || status == 74 || status == 76)
            << stranger->describe() << ": " << stranger->out() << stranger->err();
    EXPECT_TRUE(waitUntil([&] { return logged(daemon, "refused a connection from uid 65534"); }))
            << "the refusal was not the daemon's:\n"
            << daemon.err();
    EXPECT_EQ(callbacksBefore, occurrences(daemon.err(), "setCallback: set callbacks"))
            << "the stranger got as far as setting a callback";
    const CliResult own = cli({"--timeout", "30", "get-build-id"});
    EXPECT_EQ("get-build-id: error 0 (OK), result: PLIM.SIM.1.0-00042\n", own.out)
            << "the daemon stopped serving its own user: " << own.err;
}

}  // namespace
}  // namespace com::vyr::plim::e2e
