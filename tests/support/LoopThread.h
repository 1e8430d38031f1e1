/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <functional>
#include <future>
#include <memory>
#include <thread>

#include <plim/Handler.h>
#include <plim/Looper.h>
#include <plim/Message.h>
#include <plim/Param.h>

namespace com::vyr::plim::test {

/**
 * A thread that prepares its looper and loops until stop(); tests post work to it and build
 * handlers on it (a Handler attaches to the looper of the thread that constructs it).
 * stop() quits the looper, joins the thread and returns loop()'s result.
 */
class LoopThread {
  public:
    LoopThread() {
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

    ~LoopThread() { stop(); }

    /** Runs `task` on the loop thread, in queue order with every other message. */
    int post(std::function<void()> task) {
        return Message::obtain(0, taskHandler_, std::make_shared<TaskParam>(std::move(task)),
                               nullptr)
                ->dispatch();
    }

    /**
     * Runs `fn` on the loop thread, waits for it and returns its result (a default one if the
     * looper refused the task).
     */
    template <typename Fn>
    auto call(Fn fn) -> decltype(fn()) {
        std::packaged_task<decltype(fn())()> task(std::move(fn));
        std::future<decltype(fn())> result = task.get_future();
        if (post([&task] { task(); }) != 0) {
            return decltype(fn())();
        }
        return result.get();
    }

    int stop() {
        if (thread_.joinable()) {
            looper_->quit();
            thread_.join();
        }
        return loopResult_;
    }

    const std::shared_ptr<Looper>& looper() const { return looper_; }
    std::thread::id threadId() const { return threadId_; }

  private:
    struct TaskParam : public Param {
        explicit TaskParam(std::function<void()> task) : task(std::move(task)) {}
        const std::function<void()> task;
    };

    struct TaskHandler : public Handler {
        int handle(std::shared_ptr<Message> msg) override {
            static_cast<TaskParam*>(msg->getParam().get())->task();
            return 0;
        }
    };

    std::thread thread_;
    std::thread::id threadId_;
    std::shared_ptr<Looper> looper_;
    std::shared_ptr<Handler> taskHandler_;
    int loopResult_ = -1;
};

}  // namespace com::vyr::plim::test
