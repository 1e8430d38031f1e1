/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Something a process's binder thread does: an incoming transaction or a death notification.
// Each holds a PendingWork token from the moment it is accepted until it is destroyed, so that
// tests can wait for quiet.

#pragma once

namespace hostbinder {

class Work {
  public:
    virtual ~Work() = default;
    // Runs on a binder thread of the process.
    virtual void run() = 0;
    // The process died before the work ran.
    virtual void cancel() = 0;
};

}  // namespace hostbinder
