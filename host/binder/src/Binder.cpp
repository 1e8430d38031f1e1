/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "Binder.h"

#include <cstdio>
#include <cstdlib>

#include "LocalBinder.h"
#include "RemoteBinder.h"

void AIBinder::decStrong() {
    const int32_t before = mStrong.fetch_sub(1, std::memory_order_acq_rel);
    if (before <= 0) {
        std::fprintf(stderr, "binder: AIBinder_decStrong on a binder with no strong reference\n");
        std::abort();
    }
    if (before == 1) {
        onLastStrongRef();
        decWeak();
    }
}

bool AIBinder::tryIncStrong() {
    int32_t count = mStrong.load(std::memory_order_relaxed);
    while (count > 0) {
        if (mStrong.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) {
            return true;
        }
    }
    return false;
}

void AIBinder::decWeak() {
    if (mWeak.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

hostbinder::LocalBinder& AIBinder::asLocal() {
    return static_cast<hostbinder::LocalBinder&>(*this);
}

hostbinder::RemoteBinder& AIBinder::asRemote() {
    return static_cast<hostbinder::RemoteBinder&>(*this);
}
