/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Failures that tests switch on through the ABinderHost_* hooks, so that error paths a device
// takes (a refused pool size, a service the device will not register) can run on the host. They
// apply to every simulated process alike; a test sets them before the calls they are meant for.
//
// Threads: any thread.

#pragma once

#include <android/binder_status.h>

#include <atomic>

namespace hostbinder::injected {

inline std::atomic<bool> threadPoolMaxRefused{false};
// EX_NONE leaves AServiceManager_addService to succeed or fail on its own.
inline std::atomic<binder_exception_t> addServiceFailure{EX_NONE};

}  // namespace hostbinder::injected
