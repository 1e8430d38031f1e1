/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Names of status and exception codes, for descriptions and logs, and which codes are known.

#pragma once

#include <android/binder_status.h>

#include <string>

namespace hostbinder {

std::string statusName(binder_status_t status);
std::string exceptionName(binder_exception_t exception);

// Whether the NDK names the code; others are pruned as a device prunes them.
bool isKnownStatus(binder_status_t status);
bool isKnownException(binder_exception_t exception);

}  // namespace hostbinder
