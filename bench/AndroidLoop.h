/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <utils/Looper.h>

#include <atomic>
#include <memory>
#include <thread>

#include "BenchPayload.h"

namespace com::vyr::plim::bench {

/**
 * The reference: android::Looper on a thread of its own. A request's parameter rides in a
 * MessageHandler made for that message, the usual way to carry data with an android::Message.
 */
class AndroidLoop {
  public:
    explicit AndroidLoop(Sink& sink);
    ~AndroidLoop();

    void post(std::shared_ptr<BenchPayload> payload);

  private:
    Sink& sink_;
    std::thread thread_;
    android::sp<android::Looper> looper_;
    std::atomic<bool> stop_{false};
};

}  // namespace com::vyr::plim::bench
