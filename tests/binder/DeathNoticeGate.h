/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <android/binder_auto_utils.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace com::vyr::plim::test {

/**
 * Holds back the daemon's death notice for one proxy. Linked before anyone else links the proxy,
 * its part runs first within the notice and waits for release(), and so every later link's part
 * (the holders') waits too. This lets a test act between a client's death and the holders
 * hearing of it, which is otherwise a race.
 */
class DeathNoticeGate {
  public:
    explicit DeathNoticeGate(const ndk::SpAIBinder& proxy)
        : proxy_(proxy), recipient_(AIBinder_DeathRecipient_new(&DeathNoticeGate::onDied)) {
        linked_ = AIBinder_linkToDeath(proxy_.get(), recipient_.get(), this) == STATUS_OK;
        EXPECT_TRUE(linked_) << "the gate could not link to the proxy";
    }

    ~DeathNoticeGate() {
        release();
        // A dead object's notice is queued or running: it must be done with this gate first.
        if (linked_ && !AIBinder_isAlive(proxy_.get())) {
            EXPECT_TRUE(waitFor(finished_)) << "the held-back death notice never ran";
        }
    }

    /** Waits until the notice has reached the gate; false if it did not in time. */
    bool waitUntilNoticed() { return waitFor(noticed_); }
    void release() { set(released_); }

  private:
    static void onDied(void* cookie) {
        auto* gate = static_cast<DeathNoticeGate*>(cookie);
        gate->set(gate->noticed_);
        gate->waitFor(gate->released_);
        gate->set(gate->finished_);
    }

    void set(bool& flag) {
        std::lock_guard<std::mutex> lock(mutex_);
        flag = true;
        changed_.notify_all();
    }

    // Bounded, so that a lost wake-up fails the test instead of hanging it.
    bool waitFor(const bool& flag) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&flag] { return flag; });
    }

    const ndk::SpAIBinder proxy_;
    ndk::ScopedAIBinder_DeathRecipient recipient_;
    bool linked_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool noticed_ = false;
    bool released_ = false;
    bool finished_ = false;
};

}  // namespace com::vyr::plim::test
