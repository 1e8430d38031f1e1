/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdio>
#include <cstdlib>

namespace hostbinder {

/**
 * The object a call needs. A null one is a caller's bug that ends the process on a device as
 * well: say which call and what was null, instead of crashing on the pointer or going on quietly
 * where a device would not.
 */
template <typename T>
T& required(T* pointer, const char* function, const char* what) {
    if (pointer == nullptr) {
        std::fprintf(stderr, "binder: %s called with a null %s\n", function, what);
        std::abort();
    }
    return *pointer;
}

}  // namespace hostbinder
