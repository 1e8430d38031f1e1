/*
 * Copyright (C) 2026 The plim-modem developers
 */

// How a response is printed, and what it makes the exit status.

#pragma once

#include <cstdint>
#include <string>

#include "Commands.h"
#include "Response.h"

namespace com::vyr::plim::cli {

/** "OK", "FAILED", ... for the errors 0..5 the daemon sends; "UNKNOWN" for any other. */
const char* errorName(int32_t error);

/**
 * For people: "read-nv: error 0 (OK), result: 00 7f ff", newline-terminated. A list of texts
 * gives its count there, then one entry per line.
 */
std::string humanText(const Command& command, const Reply& reply);

/** For machines: one JSON object on one line; byte results as hex strings, no result as null. */
std::string jsonText(const Command& command, int32_t serial, const Reply& reply);

/** 0 for error 0, 10 + error for the modem's errors 1..5. */
int exitStatusOf(const Reply& reply);

}  // namespace com::vyr::plim::cli
