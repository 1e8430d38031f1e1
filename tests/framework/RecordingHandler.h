/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <plim/Handler.h>
#include <plim/Message.h>
#include <plim/SerialIntParam.h>

namespace com::vyr::plim::test {

/** What a RecordingHandler saw of one message. */
struct Handled {
    int id;
    int value;  // the SerialIntParam's value, or -1 without one
    std::thread::id thread;
};

/** Records every message it handles; waits for a given count. */
class RecordingHandler : public Handler {
  public:
    int handle(std::shared_ptr<Message> msg) override {
        std::shared_ptr<Param> param = msg->getParam();
        int value = param && param->isType(SerialIntParam::RTTI_TYPE)
                            ? static_cast<SerialIntParam*>(param.get())->value
                            : -1;
        std::lock_guard<std::mutex> lock(mutex_);
        handled_.push_back({msg->getId(), value, std::this_thread::get_id()});
        changed_.notify_all();
        return 0;
    }

    bool waitForCount(size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return handled_.size() >= count; });
    }

    std::vector<Handled> handled() {
        std::lock_guard<std::mutex> lock(mutex_);
        return handled_;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Handled> handled_;
};

}  // namespace com::vyr::plim::test
