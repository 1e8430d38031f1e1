/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "LoopThread.h"

#include <plim/Message.h>
#include <plim/Param.h>

namespace com::vyr::plim::test {

namespace {

class TaskParam : public Param {
  public:
    explicit TaskParam(std::function<void()> task) : task(std::move(task)) {}
    const std::function<void()> task;
};

class TaskHandler : public Handler {
  public:
    int handle(std::shared_ptr<Message> msg) override {
        static_cast<TaskParam*>(msg->getParam().get())->task();
        return 0;
    }
};

}  // namespace

LoopThread::LoopThread() {
    std::promise<void> ready;
    thread_ = std::thread([this, &ready] {
        Looper::prepareThreadLocalLooper();
        threadId_ = std::this_thread::get_id();
        looper_ = Looper::getThreadLocalLooper();
        taskHandler_ = std::make_shared<TaskHandler>();
        std::shared_ptr<Looper> looper = looper_;
        ready.set_value();
        loopResult_ = looper->loop();
    });
    ready.get_future().wait();
}

LoopThread::~LoopThread() {
    stop();
}

int LoopThread::post(std::function<void()> task) {
    return Message::obtain(0, taskHandler_, std::make_shared<TaskParam>(std::move(task)), nullptr)
            ->dispatch();
}

int LoopThread::stop() {
    if (thread_.joinable()) {
        looper_->quit();
        thread_.join();
    }
    return loopResult_;
}

}  // namespace com::vyr::plim::test
