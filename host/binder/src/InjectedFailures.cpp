/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "InjectedFailures.h"

#include <atomic>

namespace hostbinder {

namespace {

// Plain flags: a test sets them before the calls they are meant to affect.
std::atomic<bool> gThreadPoolMaxRefused{false};
std::atomic<binder_exception_t> gAddServiceFailure{EX_NONE};

}  // namespace

bool InjectedFailures::threadPoolMaxRefused() {
    return gThreadPoolMaxRefused.load();
}

void InjectedFailures::setThreadPoolMaxRefused(bool refused) {
    gThreadPoolMaxRefused.store(refused);
}

binder_exception_t InjectedFailures::addServiceFailure() {
    return gAddServiceFailure.load();
}

void InjectedFailures::setAddServiceFailure(binder_exception_t exception) {
    gAddServiceFailure.store(exception);
}

}  // namespace hostbinder
