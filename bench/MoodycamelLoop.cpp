/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "MoodycamelLoop.h"

namespace com::vyr::plim::bench {

MoodycamelLoop::MoodycamelLoop(Sink& sink) {
    thread_ = std::thread([this, &sink] {
        std::shared_ptr<BenchPayload> payload;
        for (;;) {
            queue_.wait_dequeue(payload);
            // An empty payload is the destructor's stop sign.
            if (!payload) {
                return;
            }
            consume(sink, *payload);
            payload.reset();
        }
    });
}

MoodycamelLoop::~MoodycamelLoop() {
    queue_.enqueue(nullptr);
    thread_.join();
}

}  // namespace com::vyr::plim::bench
