/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The daemon process's memory: the daemon binary runs as a child process, and this process reads
// its resident set (VmRSS) and its heap in use (mallinfo2, read inside it through its simulated
// modem's control channel) when idle after start-up, at the peak of a storm of requests from
// this process and after it, and after each of ten storms in a row. Beside them, the host
// binder's own share, from a child process that runs nothing else. Each figure is printed
// against its goal; none is asserted.
//
// The simulated modem keeps a record of the last 4096 library calls on the daemon's heap, which
// a storm fills: each heap figure is read as it is, then again with that record emptied, and
// the goals are checked on both.

#include <aidl/vendor/vyr/plim/modem/IModem.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "BinderOnlyProcess.h"
#include "DaemonMemory.h"
#include "DaemonProcess.h"
#include "GoalReporter.h"
#include "RequestStorm.h"
#include "Response.h"

namespace com::vyr::plim::bench {
namespace {

using aidl::vendor::vyr::plim::modem::IModem;
using Reading = DaemonMemory::Reading;

constexpr uint64_t kKiB = 1024;
constexpr uint32_t kStormThreads = 3;
constexpr uint32_t kStormRequests = 20'000;
constexpr int kStormsInARow = 10;
// Goals.
constexpr uint64_t kIdleOwnHeap = 256 * kKiB;
constexpr uint64_t kBackAfterStorm = 64 * kKiB;
// What ten storms may add before it counts as growth: about what the threads' malloc caches
// (tcache: up to 7 free chunks of each small size per thread, counted as in use) can hold more
// or less from one quiet moment to the next.
constexpr uint64_t kGrowthNoise = 16 * kKiB;
// Long enough for every thread of the daemon to have finished with the storm.
constexpr std::chrono::milliseconds kSettle(500);
constexpr std::chrono::milliseconds kSampleEvery(2);

const char* const kControlSocketName = "/modem-sim-0";
const char* const kWithoutRecord = " (call record emptied)";

/** A moment's heap as it is, and then with the simulator's record of calls emptied. */
struct Point {
    Reading raw;
    Reading own;
};

/** The figures of one run, shared by its benchmarks, which run in the order registered. */
struct Session {
    DaemonMemory* memory = nullptr;
    GoalReporter* report = nullptr;
    std::optional<BinderOnlyProcess::Share> binderShare;
    // This process's client of the daemon, from the idle benchmark on.
    std::shared_ptr<IModem> modem;
    std::unique_ptr<RequestStorm> storm;
};
Session session;

std::string kib(uint64_t bytes) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f KiB", static_cast<double>(bytes) / kKiB);
    return text;
}

std::string change(uint64_t now, uint64_t then) {
    return now >= then ? "+" + kib(now - then) : "-" + kib(then - now);
}

void setBytes(benchmark::State& state, const char* name, uint64_t bytes) {
    state.counters[name] =
            benchmark::Counter(static_cast<double>(bytes), benchmark::Counter::kDefaults,
                               benchmark::Counter::OneK::kIs1024);
}

/** Both readings, once the daemon has had time to finish what it was doing. */
std::optional<Point> settledPoint() {
    std::this_thread::sleep_for(kSettle);
    std::optional<Reading> raw = session.memory->read();
    if (!raw || !session.memory->clearCallRecord()) {
        return std::nullopt;
    }
    std::optional<Reading> own = session.memory->read();
    if (!own) {
        return std::nullopt;
    }
    return Point{*raw, *own};
}

void addPoint(const std::string& when, const Point& point) {
    session.report->addFigure(when + ": resident (VmRSS)", kib(point.raw.rssBytes));
    session.report->addFigure(when + ": heap in use", kib(point.raw.heapBytes));
    session.report->addFigure(when + ": heap in use" + kWithoutRecord, kib(point.own.heapBytes));
}

/** The goal that `after` is back near `before`, on the raw readings and on the daemon's own. */
void addBackGoal(const std::string& figure, const Point& after, const Point& before,
                 uint64_t allowed, const std::string& goalNote) {
    const std::string goal = "<= +" + kib(allowed) + goalNote;
    session.report->addGoal(figure, change(after.raw.heapBytes, before.raw.heapBytes), goal,
                            after.raw.heapBytes <= before.raw.heapBytes + allowed);
    session.report->addGoal(figure + kWithoutRecord,
                            change(after.own.heapBytes, before.own.heapBytes), goal,
                            after.own.heapBytes <= before.own.heapBytes + allowed);
}

/** This process as the daemon's client: its service found, callbacks set, modem services up. */
bool connectClient() {
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    for (int tries = 0; !session.modem && tries < 500; ++tries) {
        session.modem = IModem::fromBinder(ndk::SpAIBinder(
                AServiceManager_checkService("vendor.vyr.plim.modem.IModem/instance0")));
        if (!session.modem) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    if (!session.modem) {
        return false;
    }
    session.storm = std::make_unique<RequestStorm>(session.modem);
    session.modem->setCallback(session.storm->receiver(), cli::makeIndicationReceiver());
    for (int tries = 0; tries < 500; ++tries) {
        if (session.storm->ready()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

void BinderShare(benchmark::State& state) {
    for (auto _ : state) {
        BinderOnlyProcess child;
        session.binderShare = child.measure();
    }
    if (!session.binderShare) {
        state.SkipWithError("the binder-only process did not report");
        return;
    }
    setBytes(state, "registered", session.binderShare->registeredBytes);
    setBytes(state, "served", session.binderShare->servedBytes);
    session.report->addFigure("host binder share: pool of 1, one service",
                              kib(session.binderShare->registeredBytes));
    session.report->addFigure("host binder share: and a client's call, one call back",
                              kib(session.binderShare->servedBytes));
}

void Idle(benchmark::State& state) {
    std::optional<Point> alone;
    std::optional<Point> withClient;
    for (auto _ : state) {
        // The channel listens once the daemon has first used its modem library.
        for (int tries = 0; !session.memory->read() && tries < 500; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        alone = settledPoint();
        if (!connectClient()) {
            state.SkipWithError("the daemon's service or its modem never came up");
            return;
        }
        withClient = settledPoint();
    }
    if (!alone || !withClient) {
        state.SkipWithError("no memory reading from the daemon");
        return;
    }
    setBytes(state, "rss", withClient->raw.rssBytes);
    setBytes(state, "heap", withClient->raw.heapBytes);
    addPoint("idle, before any client", *alone);
    addPoint("idle, one client with callbacks set", *withClient);
    session.report->addFigure("idle: main arena size / free in it / mapped apart",
                              kib(withClient->raw.arenaBytes) + " / " +
                                      kib(withClient->raw.freeBytes) + " / " +
                                      kib(withClient->raw.mmappedBytes));
    if (!session.binderShare) {
        session.report->addFigure("idle heap, daemon's own", "binder share not measured");
        return;
    }
    const uint64_t share = session.binderShare->servedBytes;
    const uint64_t own = withClient->own.heapBytes > share ? withClient->own.heapBytes - share : 0;
    session.report->addGoal("idle heap, daemon's own (record emptied, less binder share)", kib(own),
                            "<= " + kib(kIdleOwnHeap), own <= kIdleOwnHeap);
}

void Storm(benchmark::State& state) {
    if (!session.storm) {
        state.SkipWithError("needs the idle benchmark's client");
        return;
    }
    Reading peak;
    RequestStorm::Outcome outcome;
    std::optional<Point> before;
    std::optional<Point> after;
    for (auto _ : state) {
        before = settledPoint();
        outcome = session.storm->run(kStormThreads, kStormRequests, [&peak] {
            if (std::optional<Reading> now = session.memory->read()) {
                peak.rssBytes = std::max(peak.rssBytes, now->rssBytes);
                peak.heapBytes = std::max(peak.heapBytes, now->heapBytes);
            }
            std::this_thread::sleep_for(kSampleEvery);
        });
        after = settledPoint();
    }
    if (!outcome.complete || !before || !after) {
        state.SkipWithError("the storm was not answered in full, or no memory reading");
        return;
    }
    setBytes(state, "peak_rss", peak.rssBytes);
    setBytes(state, "peak_heap", peak.heapBytes);
    setBytes(state, "after_heap", after->raw.heapBytes);
    state.counters["requests_per_second"] = static_cast<double>(outcome.answered) / outcome.seconds;
    state.counters["failed"] = static_cast<double>(outcome.failed);
    session.report->addFigure("storm: requests answered (failed) from threads",
                              std::to_string(outcome.answered) + " (" +
                                      std::to_string(outcome.failed) + ") from " +
                                      std::to_string(kStormThreads));
    session.report->addFigure("storm: most requests in flight when sampled",
                              std::to_string(outcome.peakInFlight));
    // The record is full once a fifth of the storm's requests have reached the library, most
    // likely before the peak, when thousands are queued: the peak less it is an estimate.
    const uint64_t record = after->raw.heapBytes - after->own.heapBytes;
    session.report->addFigure("storm peak: resident (VmRSS)", kib(peak.rssBytes));
    session.report->addFigure("storm peak: heap in use", kib(peak.heapBytes));
    session.report->addFigure("storm peak: heap in use, less a full call record (about)",
                              kib(peak.heapBytes - record));
    addPoint("after the storm", *after);
    session.report->addFigure("after the storm: main arena size / free in it",
                              kib(after->raw.arenaBytes) + " / " + kib(after->raw.freeBytes));
    session.report->addFigure("simulator's record of calls, full (4096)", kib(record));
    addBackGoal("after the storm: heap against before it", *after, *before, kBackAfterStorm, "");
}

void StormsInARow(benchmark::State& state) {
    if (!session.storm) {
        state.SkipWithError("needs the idle benchmark's client");
        return;
    }
    std::vector<Point> afterEach;
    for (auto _ : state) {
        for (int i = 0; i < kStormsInARow; ++i) {
            const RequestStorm::Outcome outcome =
                    session.storm->run(kStormThreads, kStormRequests,
                                       [] { std::this_thread::sleep_for(kSampleEvery); });
            std::optional<Point> after = settledPoint();
            if (!outcome.complete || !after) {
                state.SkipWithError("a storm was not answered in full, or no memory reading");
                return;
            }
            afterEach.push_back(*after);
        }
    }
    for (size_t i = 0; i < afterEach.size(); ++i) {
        session.report->addFigure(
                "after storm " + std::to_string(i + 1) + " of " + std::to_string(kStormsInARow) +
                        ": heap / record emptied / RSS",
                kib(afterEach[i].raw.heapBytes) + " / " + kib(afterEach[i].own.heapBytes) + " / " +
                        kib(afterEach[i].raw.rssBytes));
    }
    setBytes(state, "first_heap", afterEach.front().own.heapBytes);
    setBytes(state, "last_heap", afterEach.back().own.heapBytes);
    addBackGoal("ten storms: heap after the last against the first", afterEach.back(),
                afterEach.front(), kGrowthNoise, " (no growth)");
}

}  // namespace
}  // namespace com::vyr::plim::bench

int main(int argc, char** argv) {
    using namespace com::vyr::plim::bench;
    // One arena here too: the binder-only child forked from this process reads mallinfo2, which
    // sees only the main arena.
    mallopt(M_ARENA_MAX, 1);
    benchmark::Initialize(&argc, argv);

    DaemonProcess daemon;
    const std::string control = daemon.directory() + kControlSocketName;
    // mallinfo2 sees only the main arena: with one arena, that is every thread's heap.
    if (!daemon.start({"MALLOC_ARENA_MAX=1", "PLIM_MODEM_SIM_CONTROL=" + control})) {
        std::fprintf(stderr, "memory_bench: the daemon binary did not start\n");
        return 1;
    }
    DaemonMemory memory(daemon.pid(), control);
    GoalReporter reporter;
    session.memory = &memory;
    session.report = &reporter;
    reporter.addNote(
            "The daemon runs with MALLOC_ARENA_MAX=1: mallinfo2's main arena is then every "
            "thread's heap. Heap in use is");
    reporter.addNote(
            "uordblks + hblkhd, read inside the daemon by its simulated modem's `memory` "
            "command; \"call record emptied\": read");
    reporter.addNote(
            "again after `clear-calls`. The binder share is a process forked from this one "
            "that runs only the host binder.");
    reporter.addNote("A storm: " + std::to_string(kStormRequests) + " cheap requests from " +
                     std::to_string(kStormThreads) + " threads, answered to one callback.");
    reporter.addNote(
            "In use includes what the threads' tcaches hold; run with "
            "GLIBC_TUNABLES=glibc.malloc.tcache_count=0 (passed on) for without.");

    // The binder share first: its process is forked before this one has binder threads.
    for (auto [name, function] :
         {std::pair{"Memory/binder_share", BinderShare}, std::pair{"Memory/idle", Idle},
          std::pair{"Memory/storm", Storm}, std::pair{"Memory/ten_storms", StormsInARow}}) {
        benchmark::RegisterBenchmark(name, function)->Iterations(1)->UseRealTime();
    }
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    // Before the daemon goes: calls to a dead process's objects would only fail.
    session.storm.reset();
    session.modem.reset();
    return 0;
}
