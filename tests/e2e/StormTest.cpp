/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A bounded storm against a daemon process: two storm client processes (StormClient.cpp), two
// sending threads each, a mix of instance 0's requests, while the modem's services drop and
// return, its latencies change, it restarts, and one client is killed mid-storm. Every request
// the surviving client had accepted must be answered exactly once, and the daemon must give back
// the descriptors and memory the storm made it take.
//
// The daemon holds one response callback, the last one set, so every answer goes to the client
// that registered last: the survivor. The victim registers first and sends without waiting for
// answers; what the daemon answers for it arrives at the survivor, which reports those serials
// too, and none of them may be answered twice either.

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <sstream>

#include "ProcessFootprint.h"
#include "Processes.h"
#include "StormReport.h"

namespace com::vyr::plim::e2e {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// Under a sanitizer the daemon runs several times slower; fewer requests keep the storm within
// a minute and a half on two cores.
#ifdef PLIM_SANITIZED_BUILD
constexpr int kRequests = 30'000;
#else
constexpr int kRequests = 100'000;
#endif
constexpr int kSurvivorRequests = kRequests * 3 / 4;
constexpr int kVictimRequests = kRequests / 2;  // more than it lives to send
constexpr int kVictimKilledAfter = kRequests / 4;
constexpr int kWarmUpRequests = 2'000;
constexpr int32_t kWarmUpFirst = 100'000;
constexpr int32_t kVictimFirst = 1'000'000;
constexpr int32_t kSurvivorFirst = 2'000'000;
constexpr int kWindow = 64;  // unanswered requests per sending thread
// The storm takes about 15 s in a plain build and 20 s in a sanitized one on two idle cores; its
// waits are bounded far beyond that, for a loaded machine.

// Resident memory may stay above where it started: the allocator keeps the pages that the
// victim's unpaced requests made the daemon queue at the peak (about 5 MiB after 100k requests,
// about 12 MiB after 300k, and no further growth when storms repeat). A leak of 200 bytes per
// request would exceed the bound.
#if defined(PLIM_ADDRESS_SANITIZED_BUILD)
// AddressSanitizer holds freed memory in a quarantine of up to 256 MiB, which the storm fills and
// which would hide any leak: resident memory is compared in the other builds only.
constexpr std::optional<int64_t> kRssSlackKib;
#elif defined(PLIM_SANITIZED_BUILD)
// ThreadSanitizer's shadow and history memory follow what the daemon touched at the peak (about
// 11 MiB after 30k requests).
constexpr std::optional<int64_t> kRssSlackKib = 32 * 1024;
#else
constexpr std::optional<int64_t> kRssSlackKib = 16 * 1024;
#endif

/** What the simulated modem is told once the survivor has made `at` of its calls. */
struct FaultStep {
    double at;
    std::vector<std::string> commands;  // `sim` command lines
};

const std::vector<FaultStep>& faultPlan() {
    static const std::vector<FaultStep> plan{
            {0.08, {"service 228 down"}},
            {0.12, {"service 228 up", "latency modem_get_build_id 2000"}},
            {0.18, {"service 3 down", "service 36 down"}},
            {0.22, {"service 3 up", "service 36 up"}},
            {0.30, {"restart 300"}},
            {0.45, {"service 2 down", "service 17 down", "latency * 300"}},
            {0.50, {"service 2 up", "service 17 up", "latency * 0"}},
            {0.60, {"service 1 down", "latency modem_get_build_time 0"}},
            {0.65, {"service 1 up", "latency modem_get_build_id 0"}},
    };
    return plan;
}

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

std::string lastLines(const std::string& text, size_t count) {
    size_t at = text.size();
    for (size_t n = 0; n <= count && at > 0; ++n) {
        at = text.rfind('\n', at - 1);
        if (at == std::string::npos) {
            return text;
        }
    }
    return text.substr(at + 1);
}

std::string joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return text.empty() ? "none" : text;
}

class StormTest : public E2eTest {
  protected:
    bool sim(const std::string& line) {
        std::vector<std::string> args = words(line);
        args.insert(args.begin(), "sim");
        const CliResult result = cli(args);
        EXPECT_EQ(0, result.status) << "sim " << line << " refused: " << result.out << result.err;
        return result.status == 0;
    }

    /** A storm client registered with the daemon and waiting to be told to go. */
    std::unique_ptr<Process> startClient(const std::string& name, int32_t first, int requests,
                                         int window) {
        const std::string ready = scratch_ + "/" + name + ".ready";
        auto client = std::make_unique<Process>(
                name, PLIM_STORM_CLIENT_BINARY,
                std::vector<std::string>{"--first-serial", std::to_string(first), "--requests",
                                         std::to_string(requests), "--threads", "2", "--window",
                                         std::to_string(window), "--ready", ready, "--go", go()},
                Env{{"PLIM_BINDER_SOCKET_DIR", scratch_ + "/binder"}}, scratch_ + "/" + name);
        EXPECT_TRUE(waitUntil([&] { return fs::exists(ready) || !client->running(); }, 30s) &&
                    client->running())
                << client->describe() << " never registered: " << client->err();
        return client;
    }

    std::string go() const { return scratch_ + "/go"; }
    void letGo() { std::ofstream(go()).close(); }

    /** The daemon's descriptor count once it has held still for a moment. */
    ProcessFootprint settled(pid_t daemon) {
        ProcessFootprint last = ProcessFootprint::of(daemon, true);
        int still = 0;
        EXPECT_TRUE(waitUntil(
                [&] {
                    const ProcessFootprint now = ProcessFootprint::of(daemon, true);
                    still = now.fds == last.fds ? still + 1 : 0;
                    last = now;
                    return still >= 20;
                },
                30s))
                << "the daemon's descriptors never settled";
        return last;
    }

    /** Fails with the daemon's last log lines, which say what it was doing. */
    std::string daemonTail(const Process& daemon) {
        return "\ndaemon " + daemon.describe() + ", last lines of its log:\n" +
               lastLines(daemon.err(), 40);
    }

    static constexpr size_t kShown = 10;  // serials listed in a failure message
};

TEST_F(StormTest, Storm_WithFaultsAndAClientKilled_AnswersEveryAcceptedRequestOnceAndLeaksNothing) {
    Process& daemon = startDaemon(0);
    if (simMissing()) {
        GTEST_SKIP() << "plim-modem-cli has no `sim` control in this build: no faults to inject";
    }
    // First traffic grows the daemon's binder threads and its allocator's arenas: the levels after
    // a short warm-up are the ones the storm must come back to.
    {
        const auto warmUp = startClient("warmup", kWarmUpFirst, kWarmUpRequests, kWindow);
        letGo();
        ASSERT_TRUE(warmUp->wait(60s)) << "the warm-up client hung" << daemonTail(daemon);
        const StormReport report(warmUp->out());
        ASSERT_EQ(0, warmUp->exitCode())
                << warmUp->describe() << ", " << report.summary() << "\n"
                << warmUp->err()
                << "answered other than once: " << joined(report.answeredWrongly(kShown))
                << daemonTail(daemon);
        fs::remove(go());
    }
    const ProcessFootprint before = settled(daemon.pid());

    // Some answers come late, from the modem library's reply threads.
    ASSERT_TRUE(sim("latency modem_get_build_time 3000"));
    ASSERT_TRUE(sim("latency modem_api_get_modem_property 1500"));
    const auto victim = startClient("victim", kVictimFirst, kVictimRequests, 0);
    const auto survivor = startClient("survivor", kSurvivorFirst, kSurvivorRequests, kWindow);
    ASSERT_TRUE(victim->running() && survivor->running()) << daemonTail(daemon);
    const Clock::time_point started = Clock::now();
    letGo();

    ProcessFootprint peak = before;
    size_t applied = 0;    // steps of the fault plan
    int victimCalls = -1;  // its last progress line when it was killed
    const bool finished = waitUntil(
            [&] {
                const int made = StormReport(survivor->out()).progress();
                while (applied < faultPlan().size() &&
                       made >= faultPlan()[applied].at * kSurvivorRequests) {
                    for (const std::string& command : faultPlan()[applied].commands) {
                        sim(command);
                    }
                    ++applied;
                }
                const int victimMade = StormReport(victim->out()).progress();
                if (victimCalls < 0 && (victimMade >= kVictimKilledAfter ||
                                        made >= kSurvivorRequests / 2 || !victim->running())) {
                    victim->kill(SIGKILL);
                    victimCalls = victimMade;
                }
                const ProcessFootprint now = ProcessFootprint::of(daemon.pid());
                peak.fds = std::max(peak.fds, now.fds);
                peak.rssKib = std::max(peak.rssKib, now.rssKib);
                return !survivor->running();
            },
            240s);
    const double seconds = std::chrono::duration<double>(Clock::now() - started).count();
    ASSERT_TRUE(finished) << "the survivor was still at it after 240 s: "
                          << lastLines(survivor->out(), 1) << daemonTail(daemon);
    ASSERT_TRUE(victim->wait(60s)) << "the killed client did not end";
    EXPECT_EQ(SIGKILL, victim->termSignal())
            << victim->describe() << " before it was killed: " << victim->err();
    EXPECT_EQ(faultPlan().size(), applied) << "the storm ended before every fault was injected";
    EXPECT_TRUE(daemon.running()) << "the daemon did not survive the storm" << daemonTail(daemon);

    const StormReport report(survivor->out());
    EXPECT_EQ(0, survivor->exitCode()) << survivor->describe() << ", " << report.summary() << "\n"
                                       << survivor->err();
    ASSERT_EQ(static_cast<size_t>(kSurvivorRequests), report.own().size())
            << "the survivor's report is incomplete: " << lastLines(survivor->out(), 3);
    const std::string log = daemon.err();
    const std::map<int32_t, uint32_t> logged = responsesLogged(log);
    const auto loggedFor = [&](int32_t serial) {
        const auto found = logged.find(serial);
        return found == logged.end() ? 0u : found->second;
    };
    std::vector<std::string> refused, wrongly, wrongMethod, loggedWrongly;
    for (const StormReport::Own& entry : report.own()) {
        const std::string serial = std::to_string(entry.serial);
        if (entry.status != 0 && refused.size() < kShown) {
            refused.push_back(serial + " status " + std::to_string(entry.status));
        }
        if (entry.status == 0 && entry.answers != 1 && wrongly.size() < kShown) {
            wrongly.push_back(serial + " answered x" + std::to_string(entry.answers) +
                              ", daemon logged x" + std::to_string(loggedFor(entry.serial)));
        }
        if (entry.wrongMethod != 0 && wrongMethod.size() < kShown) {
            wrongMethod.push_back(serial);
        }
        if (entry.status == 0 && loggedFor(entry.serial) != 1 && loggedWrongly.size() < kShown) {
            loggedWrongly.push_back(serial + " x" + std::to_string(loggedFor(entry.serial)));
        }
    }
    EXPECT_EQ(static_cast<size_t>(kSurvivorRequests), report.accepted())
            << "the daemon refused calls of a live client: " << joined(refused);
    EXPECT_TRUE(wrongly.empty()) << "accepted requests lost or answered more than once: "
                                 << joined(wrongly) << daemonTail(daemon);
    EXPECT_TRUE(loggedWrongly.empty())
            << "the daemon's log shows accepted requests answered other than once: "
            << joined(loggedWrongly);
    EXPECT_TRUE(wrongMethod.empty())
            << "serials answered on another method than their request's: " << joined(wrongMethod);

    // The faults must have met requests: some were refused for a service that was down (4,
    // INVALID_STATE), and the modem came back from its restart: SAR connects at start-up and again
    // after every drop it is told of. Its own drop is always told; the restart's only when SAR
    // had reconnected by then, which a busy machine may not have managed.
    const std::map<int32_t, size_t> errors = report.errors();
    std::string errorTally;
    for (const auto& [error, count] : errors) {
        errorTally += " " + std::to_string(error) + ":" + std::to_string(count);
    }
    EXPECT_TRUE(errors.count(0) && errors.count(4))
            << "the answers' errors (error:count)" << errorTally
            << " show no service down, or no service up: the faults missed the storm";
    const size_t connects = occurrences(log, "SAR qmi service is connected");
    const size_t drops = occurrences(log, "SAR qmi service is disconnected");
    EXPECT_TRUE(drops >= 1 && connects == drops + 1)
            << "SAR connected " << connects << " times, dropped " << drops
            << " times: the modem never came back from its restart" << daemonTail(daemon);

    // The victim's requests were answered to the survivor: each at most once, and every answer
    // the daemon logged for it arrived.
    std::vector<std::string> victimWrongly;
    size_t victimAnswered = 0;
    for (const auto& [serial, answers] : report.others()) {
        victimAnswered += answers;
        if ((serial < kVictimFirst || serial >= kVictimFirst + kVictimRequests || answers != 1 ||
             loggedFor(serial) != 1) &&
            victimWrongly.size() < kShown) {
            victimWrongly.push_back(std::to_string(serial) + " x" + std::to_string(answers) +
                                    ", daemon logged x" + std::to_string(loggedFor(serial)));
        }
    }
    size_t victimLogged = 0;
    for (auto it = logged.lower_bound(kVictimFirst);
         it != logged.end() && it->first < kVictimFirst + kVictimRequests; ++it) {
        victimLogged += it->second;
    }
    EXPECT_TRUE(victimWrongly.empty())
            << "answers to serials the victim never sent, or sent twice: " << joined(victimWrongly);
    EXPECT_EQ(victimLogged, victimAnswered)
            << "answers the daemon logged for the victim's requests did not all arrive";

    // The daemon lets go of the killed client's connection once it notices the death, and of the
    // survivor's once it has gone.
    ProcessFootprint after;
    const bool fdsBack = waitUntil(
            [&] {
                after = ProcessFootprint::of(daemon.pid());
                return after.fds == before.fds;
            },
            10s);
    EXPECT_TRUE(fdsBack) << "the daemon holds " << after.fds << " descriptors, " << before.fds
                         << " before the storm; before:\n"
                         << before.fdTargets << "now:\n"
                         << ProcessFootprint::of(daemon.pid(), true).fdTargets;
    if (kRssSlackKib) {
        EXPECT_LE(after.rssKib, before.rssKib + *kRssSlackKib)
                << "the daemon's resident memory grew by " << after.rssKib - before.rssKib
                << " KiB over the storm: a leak per request";
    }

    std::cout << "[ storm    ] " << report.own().size() + victimLogged
              << " requests answered (survivor " << report.own().size() << ", victim "
              << victimLogged << ", killed after " << victimCalls << " calls) in " << seconds
              << " s; daemon fds " << before.fds << " / " << peak.fds << " / " << after.fds
              << ", VmRSS KiB " << before.rssKib << " / " << peak.rssKib << " / " << after.rssKib
              << " (before / peak / after); survivor " << report.summary() << "; errors"
              << errorTally << std::endl;
}

}  // namespace
}  // namespace com::vyr::plim::e2e
