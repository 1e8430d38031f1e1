/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Our Looper against Android's own android::Looper and a general-purpose blocking queue, in the
// same binary and the same run:
// throughput, one-way hand-off latency, backlog post and drain, and heap allocations per request.
// Each figure is printed at the end as a ratio to each reference.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "AndroidLoop.h"
#include "BenchPayload.h"
#include "MoodycamelLoop.h"
#include "PlimLoop.h"
#include "RatioReporter.h"

namespace com::vyr::plim::bench {
namespace {

constexpr uint64_t THROUGHPUT_MESSAGES = 1'000'000;
constexpr uint64_t MAX_IN_FLIGHT = 256;
constexpr int LATENCY_SAMPLES = 20'000;
constexpr uint64_t BACKLOG_MESSAGES = 10'000;

void waitForHandled(const Sink& sink, uint64_t count) {
    while (sink.handled.load(std::memory_order_acquire) < count) {
        std::this_thread::yield();
    }
}

template <typename Loop>
void Throughput(benchmark::State& state) {
    Sink sink;
    Loop loop(sink);
    double allocsPerMessage = 0;
    double nsPerMessage = 0;
    for (auto _ : state) {
        sink.handled.store(0);
        uint64_t allocsBefore = AllocationCounter::count();
        int64_t start = steadyNowNs();
        for (uint64_t posted = 0; posted < THROUGHPUT_MESSAGES; ++posted) {
            while (posted - sink.handled.load(std::memory_order_acquire) >= MAX_IN_FLIGHT) {
                std::this_thread::yield();
            }
            loop.post(std::make_shared<BenchPayload>(0));
        }
        waitForHandled(sink, THROUGHPUT_MESSAGES);
        nsPerMessage = static_cast<double>(steadyNowNs() - start) / THROUGHPUT_MESSAGES;
        allocsPerMessage = static_cast<double>(AllocationCounter::count() - allocsBefore) /
                           THROUGHPUT_MESSAGES;
    }
    state.SetItemsProcessed(state.iterations() * THROUGHPUT_MESSAGES);
    state.counters["ns_per_msg"] = nsPerMessage;
    state.counters["allocs_per_msg"] = allocsPerMessage;
}

template <typename Loop>
void HandOffLatency(benchmark::State& state) {
    Sink sink;
    std::vector<int64_t> latencies;
    latencies.reserve(LATENCY_SAMPLES);
    sink.latencies = &latencies;
    Loop loop(sink);
    for (auto _ : state) {
        latencies.clear();
        sink.handled.store(0);
        for (int i = 1; i <= LATENCY_SAMPLES; ++i) {
            loop.post(std::make_shared<BenchPayload>(steadyNowNs()));
            waitForHandled(sink, i);
        }
    }
    std::sort(latencies.begin(), latencies.end());
    state.counters["p50_ns"] = static_cast<double>(latencies[latencies.size() / 2]);
    state.counters["p99_ns"] = static_cast<double>(latencies[latencies.size() * 99 / 100]);
}

template <typename Loop>
void Backlog(benchmark::State& state) {
    Sink sink;
    Loop loop(sink);
    double postNs = 0;
    double drainNs = 0;
    for (auto _ : state) {
        sink.handled.store(0);
        sink.release.store(false);
        auto stall = std::make_shared<BenchPayload>(0);
        stall->stall = true;
        loop.post(stall);
        while (!sink.stalled.load()) {
            std::this_thread::yield();
        }
        int64_t start = steadyNowNs();
        for (uint64_t i = 0; i < BACKLOG_MESSAGES; ++i) {
            loop.post(std::make_shared<BenchPayload>(0));
        }
        int64_t posted = steadyNowNs();
        sink.release.store(true);
        waitForHandled(sink, BACKLOG_MESSAGES + 1);
        int64_t drained = steadyNowNs();
        postNs = static_cast<double>(posted - start) / BACKLOG_MESSAGES;
        drainNs = static_cast<double>(drained - posted) / BACKLOG_MESSAGES;
    }
    state.counters["post_ns"] = postNs;
    state.counters["drain_ns"] = drainNs;
}

// Each figure is the median of five repetitions, every repetition one full run of the figure.
template <typename Loop>
void registerLoop(const std::string& side) {
    auto add = [&](const char* figure, void (*fn)(benchmark::State&)) {
        benchmark::RegisterBenchmark((std::string(figure) + "/" + side).c_str(), fn)
                ->Iterations(1)
                ->Repetitions(5)
                ->ReportAggregatesOnly(true)
                ->UseRealTime();
    };
    add("Throughput", Throughput<Loop>);
    add("HandOffLatency", HandOffLatency<Loop>);
    add("Backlog", Backlog<Loop>);
}

}  // namespace
}  // namespace com::vyr::plim::bench

int main(int argc, char** argv) {
    using namespace com::vyr::plim::bench;
    benchmark::Initialize(&argc, argv);
    registerLoop<AndroidLoop>("android");
    registerLoop<MoodycamelLoop>("moodycamel");
    registerLoop<PlimLoop>("plim");
    RatioReporter reporter({"android", "android::Looper"}, {{"plim", "plim Looper"}});
    reporter.addReference({"moodycamel", "BlockingConcurrentQueue"});
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
