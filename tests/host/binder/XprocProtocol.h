/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The transaction codes of the peer object (PeerObject.h): the object the tests' other process
// serves, whether that process is simulated in the test executable or a real one (XprocPeer).

#pragma once

#include <android/binder_ibinder.h>

namespace xproc {

// int32 v -> int32 v * 2, calling pid, calling uid, the server's own pid, whether it ran on a
// binder thread (0/1), whether AIBinder_isHandlingTransaction said so (0/1).
constexpr transaction_code_t kEcho = FIRST_CALL_TRANSACTION;
// binder b, int32 code, int32 v, int32 flags, int32 count, int32 threads: the server makes count
// calls code(v) to b, spread over threads threads -> int32 first failing status (or OK), int32
// the int32 answer of the last two-way call.
constexpr transaction_code_t kCallBack = FIRST_CALL_TRANSACTION + 1;
// binder b -> binder b, int32 whether b is the binder the first kBounce got (kept since).
constexpr transaction_code_t kBounce = FIRST_CALL_TRANSACTION + 2;
// int32 v, waits while the gate is closed, then appends (v, calling pid) to this object's record.
constexpr transaction_code_t kRecord = FIRST_CALL_TRANSACTION + 3;
// -> int32 count, int32 kRecord calls inside now, int32 whether two ran at once, then count x
// (int32 v, int32 calling pid) in arrival order.
constexpr transaction_code_t kRecorded = FIRST_CALL_TRANSACTION + 4;
// Closes / opens the gate of the server's process.
constexpr transaction_code_t kCloseGate = FIRST_CALL_TRANSACTION + 5;
constexpr transaction_code_t kOpenGate = FIRST_CALL_TRANSACTION + 6;
// -> binder: a new peer object with a record of its own.
constexpr transaction_code_t kNewObject = FIRST_CALL_TRANSACTION + 7;
// The rest of the request's bytes, copied into the reply.
constexpr transaction_code_t kMirror = FIRST_CALL_TRANSACTION + 8;
// int32 status, int32 exception: returns status, or replies with the exception (message "m").
constexpr transaction_code_t kFail = FIRST_CALL_TRANSACTION + 9;
// String name, int32 wait -> binder: the server's AServiceManager_checkService (or
// waitForService), int32 whether a second check gave the same binder.
constexpr transaction_code_t kLookUp = FIRST_CALL_TRANSACTION + 10;
// String name -> int32 exception of registering this object under name.
constexpr transaction_code_t kRegister = FIRST_CALL_TRANSACTION + 11;
// -> int32 work pending in the server's process, not counting this call.
constexpr transaction_code_t kPending = FIRST_CALL_TRANSACTION + 12;

}  // namespace xproc
