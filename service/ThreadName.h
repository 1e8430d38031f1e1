/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <string>

namespace com::vyr::plim::modem {

/**
 * Names the calling thread (as shown by ps and in tombstones). Returns OK, INVALID_ARGUMENT for a
 * name of 16 characters or more (the kernel keeps 15 and a terminator), or FAILED when the kernel
 * refuses.
 */
int setThreadName(const std::string& name);

}  // namespace com::vyr::plim::modem
