/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <chrono>
#include <cstdint>

namespace com::vyr::plim::bench {

/** Monotonic time in nanoseconds. */
inline int64_t steadyNowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
}

}  // namespace com::vyr::plim::bench
