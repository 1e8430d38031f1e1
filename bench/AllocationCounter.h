/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdint>

namespace com::vyr::plim::bench {

/** Counts every global operator new of the process (replaced in AllocationCounter.cpp). */
class AllocationCounter {
  public:
    static uint64_t count();
};

}  // namespace com::vyr::plim::bench
