/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Counts the jobs queued or running on the library's threads, so that a test can wait until
// the simulated modem is quiet. A job that queues another does so before it counts as done,
// so a count of zero means quiet for good.

#pragma once

#include <chrono>
#include <cstddef>

#include "Mutex.h"

namespace modemsim {

class WorkCounter {
  public:
    void add() HOST_EXCLUDES(mLock);
    void done() HOST_EXCLUDES(mLock);
    /** False if work was still pending at `deadline`. */
    bool waitUntilIdle(std::chrono::steady_clock::time_point deadline) HOST_EXCLUDES(mLock);

  private:
    Mutex mLock;
    CondVar mIdle;
    size_t mPending HOST_GUARDED_BY(mLock) = 0;
};

}  // namespace modemsim
