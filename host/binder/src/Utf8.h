/*
 * Copyright (C) 2026 The plim-modem developers
 */

// UTF-8 validation for parcel strings.

#pragma once

#include <cstddef>
#include <cstdint>

namespace hostbinder {

// Whether bytes is well-formed UTF-8: no overlong forms, surrogates, code points past U+10FFFF,
// stray continuation bytes or truncated sequences.
bool isValidUtf8(const uint8_t* bytes, size_t size);

}  // namespace hostbinder
