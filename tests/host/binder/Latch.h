/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A one-shot gate for tests: threads wait until it opens. Waits are bounded so that a lost
// wake-up fails the test instead of hanging the suite.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

class Latch {
  public:
    static constexpr std::chrono::seconds kTimeout{10};

    void open() {
        std::lock_guard<std::mutex> lock(mMutex);
        mOpen = true;
        mCv.notify_all();
    }
    // False if the latch did not open in time.
    bool wait() {
        std::unique_lock<std::mutex> lock(mMutex);
        return mCv.wait_for(lock, kTimeout, [this] { return mOpen; });
    }
    bool isOpen() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mOpen;
    }

  private:
    std::mutex mMutex;
    std::condition_variable mCv;
    bool mOpen = false;
};
