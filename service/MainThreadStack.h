/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstddef>

namespace com::vyr::plim::modem {

/**
 * Makes sure the main thread's stack can grow to `needed` bytes. The kernel grows the main
 * thread's stack on demand up to the soft RLIMIT_STACK (8 MiB by default, on a device's init
 * services as on a Linux host), checked as it grows; so a lower soft limit is raised here, up
 * to the hard one. OK, or FAILED (logged) when the hard limit is below `needed`. Main thread,
 * before anything runs on its looper.
 */
int ensureMainThreadStack(size_t needed);

}  // namespace com::vyr::plim::modem
