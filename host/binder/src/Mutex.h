/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The host binder's locks are those every host stand-in shares.

#pragma once

#include <host_common/Mutex.h>

namespace hostbinder {
using hostcommon::CondVar;
using hostcommon::Mutex;
using hostcommon::MutexLock;
}  // namespace hostbinder
