/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "PlimLoop.h"

#include <future>

namespace com::vyr::plim::bench {

namespace {
class SinkHandler : public Handler {
  public:
    explicit SinkHandler(Sink& sink) : sink_(sink) {}
    int handle(std::shared_ptr<Message> msg) override {
        consume(sink_, *static_cast<const BenchPayload*>(msg->getParam().get()));
        return 0;
    }

  private:
    Sink& sink_;
};
}  // namespace

PlimLoop::PlimLoop(Sink& sink) {
    std::promise<void> ready;
    thread_ = std::thread([&] {
        Looper::prepareThreadLocalLooper();
        looper_ = Looper::getThreadLocalLooper();
        handler_ = std::make_shared<SinkHandler>(sink);
        std::shared_ptr<Looper> looper = looper_;
        ready.set_value();
        looper->loop();
    });
    ready.get_future().wait();
}

PlimLoop::~PlimLoop() {
    looper_->quit();
    thread_.join();
}

}  // namespace com::vyr::plim::bench
