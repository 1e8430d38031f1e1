/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AStatus: the outcome of an AIDL method call, an exception code with an optional message and,
// for EX_SERVICE_SPECIFIC and EX_TRANSACTION_FAILED, an error code.

#pragma once

#include <android/binder_status.h>

#include <string>

struct AStatus {
    AStatus() = default;
    AStatus(binder_exception_t exception, int32_t errorCode, std::string message)
        : exception(exception), errorCode(errorCode), message(std::move(message)) {}

    // EX_NONE, or EX_TRANSACTION_FAILED carrying status.
    static AStatus fromStatus(binder_status_t status);

    std::string describe() const;

    binder_exception_t exception = EX_NONE;
    // The service's code for EX_SERVICE_SPECIFIC, the binder_status_t for EX_TRANSACTION_FAILED.
    int32_t errorCode = 0;
    std::string message;
};
