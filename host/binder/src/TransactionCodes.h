/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Transaction codes every binder answers, outside the range of user codes.

#pragma once

#include <android/binder_ibinder.h>

namespace hostbinder {

constexpr transaction_code_t packChars(char c1, char c2, char c3, char c4) {
    return (static_cast<transaction_code_t>(c1) << 24) |
           (static_cast<transaction_code_t>(c2) << 16) |
           (static_cast<transaction_code_t>(c3) << 8) | static_cast<transaction_code_t>(c4);
}

constexpr transaction_code_t kPingTransaction = packChars('_', 'P', 'N', 'G');
constexpr transaction_code_t kInterfaceTransaction = packChars('_', 'N', 'T', 'F');

constexpr bool isUserTransaction(transaction_code_t code) {
    return code >= FIRST_CALL_TRANSACTION && code <= LAST_CALL_TRANSACTION;
}

}  // namespace hostbinder
