/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The fuzzers' checks: a violated one aborts, which libFuzzer reports with the input.

#pragma once

#include <cstdio>
#include <cstdlib>

#define CHECK(cond)                                                                       \
    do {                                                                                  \
        if (!(cond)) {                                                                    \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                                 \
        }                                                                                 \
    } while (0)
