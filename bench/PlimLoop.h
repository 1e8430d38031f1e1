/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <memory>
#include <thread>

#include <plim/Handler.h>
#include <plim/Looper.h>
#include <plim/Message.h>

#include "BenchPayload.h"

namespace com::vyr::plim::bench {

/** Our looper on a thread of its own; post() is what a binder thread does for a request. */
class PlimLoop {
  public:
    explicit PlimLoop(Sink& sink);
    ~PlimLoop();

    void post(std::shared_ptr<BenchPayload> payload) {
        Message::obtain(0, handler_, std::move(payload), nullptr)->dispatch();
    }

  private:
    std::thread thread_;
    std::shared_ptr<Looper> looper_;
    std::shared_ptr<Handler> handler_;
};

}  // namespace com::vyr::plim::bench
