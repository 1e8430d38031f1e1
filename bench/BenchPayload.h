/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

#include <plim/Param.h>

#include "SteadyClock.h"

namespace com::vyr::plim::bench {

/** Where the loop thread reports what it handled; shared by both loopers' handlers. */
struct Sink {
    std::atomic<uint64_t> handled{0};
    std::vector<int64_t>* latencies = nullptr;  // loop thread only, while a latency run lasts
    std::atomic<bool> stalled{false};
    std::atomic<bool> release{false};
};

/** The request parameter: a tagged Param, made with make_shared for each message. */
class BenchPayload : public Param {
  public:
    explicit BenchPayload(int64_t postedAtNs) : postedAtNs(postedAtNs) {}
    const int64_t postedAtNs;
    bool stall = false;
};

/** What both loopers' handlers do with a payload, on the loop thread. */
inline void consume(Sink& sink, const BenchPayload& payload) {
    if (sink.latencies != nullptr) {
        sink.latencies->push_back(steadyNowNs() - payload.postedAtNs);
    }
    if (payload.stall) {
        sink.stalled.store(true);
        while (!sink.release.load()) {
            std::this_thread::yield();
        }
        sink.stalled.store(false);
    }
    sink.handled.fetch_add(1, std::memory_order_release);
}

}  // namespace com::vyr::plim::bench
