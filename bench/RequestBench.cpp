/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The round trip of one request from a client's proxy call until its response callback has run,
// through the host binder, the main looper and the simulated modem library: getOperatingMode,
// answered on the looper thread, and getBuildTime, answered from the library's reply thread.
// Beside them, in the same run, a bare futex ping-pong between two threads (the least any
// cross-thread round trip costs) and an echo service of the same interface that answers from its
// binder thread (the binder's own share). Each request's heap allocations are counted; those
// beyond the echo's are the daemon's and the modem library's, and the library's call is also
// counted alone, so that the daemon's own remain.

#include <android/log.h>
#include <benchmark/benchmark.h>
#include <modem_api.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "BenchDaemon.h"
#include "FutexFlag.h"
#include "RatioReporter.h"
#include "RoundTrips.h"

namespace com::vyr::plim::bench {
namespace {

void FutexPingPong(benchmark::State& state) {
    FutexFlag ping;
    FutexFlag pong;
    std::thread peer([&] {
        for (uint32_t i = 1; i <= SAMPLES; ++i) {
            ping.waitFor(i);
            pong.set(i);
        }
    });
    measure(state, [&](uint32_t i) {
        ping.set(i);
        pong.waitFor(i);
        return steadyNowNs();
    });
    peer.join();
}

/**
 * Round trips of `request(serial)` from the client of `daemon`, with the heap allocations per
 * request of the whole path (client, binder, daemon and modem library: all one process here).
 */
template <typename Request>
double requestRoundTrips(benchmark::State& state, BenchDaemon& daemon, Request request) {
    ndk::host::ProcessContext inClient(daemon.client());
    const uint64_t allocsBefore = AllocationCounter::count();
    // Ends when the response callback ran, as its client sees it; the wait only paces the loop.
    measure(state, [&](uint32_t serial) {
        request(static_cast<int32_t>(serial));
        daemon.answered.waitFor(serial);
        return daemon.answeredAtNs.load(std::memory_order_relaxed);
    });
    const double allocs = static_cast<double>(AllocationCounter::count() - allocsBefore) / SAMPLES;
    state.counters["allocs_per_request"] = allocs;
    return allocs;
}

/** Heap allocations per call of `call` (which returns once the library has answered). */
template <typename Call>
double libraryAllocsPerCall(Call call) {
    constexpr int kCalls = 1000;
    const uint64_t before = AllocationCounter::count();
    for (int i = 1; i <= kCalls; ++i) {
        call(static_cast<uint32_t>(i));
    }
    return static_cast<double>(AllocationCounter::count() - before) / kCalls;
}

/**
 * Heap allocations per request of the echo service answering `request` (with a response of the
 * same size as the daemon's): the binder's share, outside any timed run.
 */
template <typename Request>
double echoAllocsPerRequest(BenchDaemon& daemon, Request request) {
    ndk::host::ProcessContext inClient(daemon.client());
    return libraryAllocsPerCall([&](uint32_t serial) {
        request(static_cast<int32_t>(serial));
        daemon.answered.waitFor(serial);
    });
}

/**
 * A request through the daemon, with its allocations beyond the binder's own (`binderAllocs`, the
 * echo's), and beyond those too of the modem library's call that it makes (measured alone, from
 * this thread): what the daemon itself allocates.
 */
template <typename Request>
void daemonRoundTrips(benchmark::State& state, BenchDaemon& daemon, double binderAllocs,
                      double libraryAllocs, Request request) {
    const double allocs = requestRoundTrips(state, daemon, request);
    state.counters["allocs_beyond_binder"] = allocs - binderAllocs;
    state.counters["allocs_daemon_own"] = allocs - binderAllocs - libraryAllocs;
}

FutexFlag libraryAnswered;

void onLibraryAnswer(const void*, unsigned long, void* userData, modem_api_result_type) {
    libraryAnswered.set(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(userData)));
}

/** The benchmarks, on one daemon: the modem manager starts once per process. */
void registerBenchmarks(BenchDaemon& daemon) {
    auto add = [](const char* name, auto fn) {
        benchmark::RegisterBenchmark(name, fn)->Iterations(1)->UseRealTime();
    };
    add("RoundTrip/futex", FutexPingPong);
    add("RoundTrip/echo", [&daemon](benchmark::State& state) {
        requestRoundTrips(state, daemon, [&](int32_t s) { daemon.echo().getOperatingMode(s); });
    });
    add("RoundTrip/sync", [&daemon](benchmark::State& state) {
        const double library = libraryAllocsPerCall([](uint32_t) {
            int mode = 0;
            modem_get_operating_mode(&mode);
        });
        const double binder =
                echoAllocsPerRequest(daemon, [&](int32_t s) { daemon.echo().getOperatingMode(s); });
        daemonRoundTrips(state, daemon, binder, library,
                         [&](int32_t s) { daemon.modem().getOperatingMode(s); });
    });
    add("RoundTrip/async", [&daemon](benchmark::State& state) {
        const double library = libraryAllocsPerCall([](uint32_t i) {
            if (modem_get_build_time(reinterpret_cast<void*>(static_cast<uintptr_t>(i)),
                                     onLibraryAnswer) == MODEM_API_SUCCESS) {
                libraryAnswered.waitFor(i);
            }
        });
        const double binder =
                echoAllocsPerRequest(daemon, [&](int32_t s) { daemon.echo().getBuildTime(s); });
        daemonRoundTrips(state, daemon, binder, library,
                         [&](int32_t s) { daemon.modem().getBuildTime(s); });
    });
}

}  // namespace
}  // namespace com::vyr::plim::bench

int main(int argc, char** argv) {
    // Each request writes five info lines; on the host each is a write to stderr plus two id
    // lookups, which would measure the terminal instead of the request path. Warnings and
    // errors still show. PLIM_BENCH_LOG=1 keeps every line.
    if (getenv("PLIM_BENCH_LOG") == nullptr) {
        __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    }
    benchmark::Initialize(&argc, argv);
    com::vyr::plim::bench::BenchDaemon daemon;
    com::vyr::plim::bench::registerBenchmarks(daemon);
    com::vyr::plim::bench::RatioReporter reporter(
            {"futex", "futex ping-pong"},
            {{"sync", "getOperatingMode"}, {"async", "getBuildTime"}});
    reporter.addReference({"echo", "binder only (echo)"});
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
