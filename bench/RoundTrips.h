/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "SteadyClock.h"

namespace com::vyr::plim::bench {

constexpr uint32_t SAMPLES = 20'000;

/**
 * Runs `samples` round trips `roundTrip(i)`, i from 1, each returning when it ended (steady
 * clock, ns); reports p50, p99 and their rate.
 */
template <typename RoundTrip>
void measure(benchmark::State& state, RoundTrip roundTrip, uint32_t samples = SAMPLES) {
    std::vector<int64_t> times;
    times.reserve(samples);
    int64_t totalNs = 0;
    for (auto _ : state) {
        int64_t begin = steadyNowNs();
        for (uint32_t i = 1; i <= samples; ++i) {
            int64_t start = steadyNowNs();
            times.push_back(roundTrip(i) - start);
        }
        totalNs = steadyNowNs() - begin;
    }
    std::sort(times.begin(), times.end());
    state.counters["p50_ns"] = static_cast<double>(times[times.size() / 2]);
    state.counters["p99_ns"] = static_cast<double>(times[times.size() * 99 / 100]);
    state.counters["per_second"] = static_cast<double>(times.size()) * 1e9 / totalNs;
}

}  // namespace com::vyr::plim::bench
