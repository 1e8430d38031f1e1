/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Bounded waits for tests: a lost wake-up or a condition that never comes fails the test instead
// of hanging the suite.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

// A one-shot gate: threads wait until it opens.
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

  private:
    std::mutex mMutex;
    std::condition_variable mCv;
    bool mOpen = false;
};

// Polls predicate until it holds; false if it did not within limit.
template <typename Predicate>
bool eventually(Predicate predicate, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!predicate()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
