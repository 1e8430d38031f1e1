/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "AndroidLoop.h"

#include <future>

namespace com::vyr::plim::bench {

namespace {
class PayloadHandler : public android::MessageHandler {
  public:
    PayloadHandler(Sink& sink, std::shared_ptr<BenchPayload> payload)
        : sink_(sink), payload_(std::move(payload)) {}
    void handleMessage(const android::Message&) override { consume(sink_, *payload_); }

  private:
    Sink& sink_;
    const std::shared_ptr<BenchPayload> payload_;
};
}  // namespace

AndroidLoop::AndroidLoop(Sink& sink) : sink_(sink) {
    std::promise<void> ready;
    thread_ = std::thread([&] {
        looper_ = android::Looper::prepare(0);
        ready.set_value();
        while (!stop_.load()) {
            looper_->pollOnce(-1);
        }
    });
    ready.get_future().wait();
}

AndroidLoop::~AndroidLoop() {
    stop_.store(true);
    looper_->wake();
    thread_.join();
}

void AndroidLoop::post(std::shared_ptr<BenchPayload> payload) {
    looper_->sendMessage(new PayloadHandler(sink_, std::move(payload)), android::Message(0));
}

}  // namespace com::vyr::plim::bench
