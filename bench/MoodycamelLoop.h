/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <concurrentqueue/blockingconcurrentqueue.h>

#include <memory>
#include <thread>

#include "BenchPayload.h"

namespace com::vyr::plim::bench {

/**
 * The general-purpose peer: a thread looping over a moodycamel::BlockingConcurrentQueue of the
 * same payloads, blocking while it is empty, as our looper does. post() from any thread.
 */
class MoodycamelLoop {
  public:
    explicit MoodycamelLoop(Sink& sink);
    ~MoodycamelLoop();

    void post(std::shared_ptr<BenchPayload> payload) { queue_.enqueue(std::move(payload)); }

  private:
    moodycamel::BlockingConcurrentQueue<std::shared_ptr<BenchPayload>> queue_;
    std::thread thread_;
};

}  // namespace com::vyr::plim::bench
