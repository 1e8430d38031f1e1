/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The simulated modem's locks are those every host stand-in shares, none of the daemon's.

#pragma once

#include <host_common/Mutex.h>

namespace modemsim {
using hostcommon::CondVar;
using hostcommon::Mutex;
using hostcommon::MutexLock;
}  // namespace modemsim
