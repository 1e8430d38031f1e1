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

namespace com::vyr::plim::test {

/**
 * A thread that prepares its looper and loops until stop(); tests post work to it and build
 * handlers on it (a Handler attaches to the looper of the thread that constructs it).
 * stop() quits the looper, joins the thread and returns loop()'s result.
 */
class LoopThread {
  public:
    LoopThread();
    ~LoopThread();

    /** Runs `task` on the loop thread, in queue order with every other message. */
    int post(std::function<void()> task);

    /** Builds an object on the loop thread and returns it once built. */
    template <typename T>
    std::shared_ptr<T> make(std::function<std::shared_ptr<T>()> factory) {
        std::promise<std::shared_ptr<T>> made;
        std::future<std::shared_ptr<T>> result = made.get_future();
        post([&] { made.set_value(factory()); });
        return result.get();
    }

    int stop();

    const std::shared_ptr<Looper>& looper() const { return looper_; }
    std::thread::id threadId() const { return threadId_; }

  private:
    std::thread thread_;
    std::thread::id threadId_;
    std::shared_ptr<Looper> looper_;
    std::shared_ptr<Handler> taskHandler_;
    int loopResult_ = -1;
};

}  // namespace com::vyr::plim::test
