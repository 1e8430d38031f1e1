/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The round trip of one request from a client's proxy call until its response callback has run,
// through the host binder, the main looper and the simulated modem library: getOperatingMode,
// answered on the looper thread, and getBuildTime, answered from the library's reply thread.
// Beside them a bare futex ping-pong between two threads measured in the same run, the least any
// cross-thread round trip costs.

#include <android/log.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

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

/** Round trips of `request(serial)` from the client of `daemon`. */
template <typename Request>
void requestRoundTrips(benchmark::State& state, BenchDaemon& daemon, Request request) {
    ndk::host::ProcessContext inClient(daemon.client());
    // Ends when the response callback ran, as its client sees it; the wait only paces the loop.
    measure(state, [&](uint32_t serial) {
        request(daemon.modem(), static_cast<int32_t>(serial));
        daemon.answered.waitFor(serial);
        return daemon.answeredAtNs.load(std::memory_order_relaxed);
    });
}

/** The benchmarks, on one daemon: the modem manager starts once per process. */
void registerBenchmarks(BenchDaemon& daemon) {
    benchmark::RegisterBenchmark("RoundTrip/futex", FutexPingPong)->Iterations(1)->UseRealTime();
    benchmark::RegisterBenchmark("RoundTrip/sync",
                                 [&daemon](benchmark::State& state) {
                                     requestRoundTrips(state, daemon, [](auto& modem, int32_t s) {
                                         modem.getOperatingMode(s);
                                     });
                                 })
            ->Iterations(1)
            ->UseRealTime();
    benchmark::RegisterBenchmark("RoundTrip/async",
                                 [&daemon](benchmark::State& state) {
                                     requestRoundTrips(state, daemon, [](auto& modem, int32_t s) {
                                         modem.getBuildTime(s);
                                     });
                                 })
            ->Iterations(1)
            ->UseRealTime();
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
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
