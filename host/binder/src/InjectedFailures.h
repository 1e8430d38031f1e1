/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Failures that tests switch on through the ABinderHost_* hooks, so that error paths a device
// takes (a refused pool size, a service the device will not register) can run on the host. They
// apply to every simulated process alike.
//
// Threads: any thread.

#pragma once

#include <android/binder_status.h>

namespace hostbinder {

class InjectedFailures {
  public:
    InjectedFailures() = delete;

    static bool threadPoolMaxRefused();
    static void setThreadPoolMaxRefused(bool refused);

    // EX_NONE when addService is left to succeed or fail on its own.
    static binder_exception_t addServiceFailure();
    static void setAddServiceFailure(binder_exception_t exception);
};

}  // namespace hostbinder
