/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What the cross-process tests and their peer process (XprocPeer.cpp) say to each other: the
// transaction codes of the peer's test object.

#pragma once

#include <android/binder_ibinder.h>

namespace xproc {

// int32 v -> int32 v * 2, calling pid, calling uid, the server's own pid.
constexpr transaction_code_t kEcho = FIRST_CALL_TRANSACTION;
// binder callback, int32 v -> the int32 callback answered to a two-way kEcho(v) of its own.
constexpr transaction_code_t kCallBack = FIRST_CALL_TRANSACTION + 1;
// binder b -> the same binder b.
constexpr transaction_code_t kBounce = FIRST_CALL_TRANSACTION + 2;
// Oneway, int32 v: appended to the record.
constexpr transaction_code_t kRecord = FIRST_CALL_TRANSACTION + 3;
// -> int32 count, then the recorded values in arrival order.
constexpr transaction_code_t kRecorded = FIRST_CALL_TRANSACTION + 4;

}  // namespace xproc
