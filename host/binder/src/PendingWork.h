/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Counts one piece of work as pending in its process (and in the whole executable) for as long
// as it lives. See WorkTracker.

#pragma once

#include <memory>

namespace hostbinder {

class Process;

class PendingWork {
  public:
    explicit PendingWork(std::shared_ptr<Process> process);
    ~PendingWork();
    PendingWork(const PendingWork&) = delete;
    PendingWork& operator=(const PendingWork&) = delete;

  private:
    const std::shared_ptr<Process> mProcess;
};

}  // namespace hostbinder
