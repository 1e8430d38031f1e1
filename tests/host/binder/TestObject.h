/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The binder objects of the tests. A class whose transactions go to a std::function, with helpers
// to call one and to move a binder between simulated processes the way an application would
// (through the service manager). On it, the peer object that the tests' other process serves,
// whether that process is simulated in the test executable or a real one (XprocPeer): it
// answers, records, blocks at a gate and calls back, so that one test body can drive a simulated
// process and a real one alike.

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_host.h>
#include <android/binder_ibinder.h>

#include <functional>
#include <string>
#include <vector>

namespace testobject {

using Handler = std::function<binder_status_t(transaction_code_t, const AParcel*, AParcel*)>;

constexpr const char* kDescriptor = "plim.test.IObject";

// The class of test objects (descriptor kDescriptor).
const AIBinder_Class* objectClass();

// A new local test object, owned by the calling thread's process, running handler.
ndk::SpAIBinder create(Handler handler);

// binder as seen from process: registered under a fresh name in the calling thread's process,
// looked up from process, and associated with the test class.
ndk::SpAIBinder sendTo(ABinderHost_Process* process, const ndk::SpAIBinder& binder);

// A two-way or oneway call with the given int32 arguments (after first, if any); *reply (if
// any) gets the reply.
binder_status_t callWith(const ndk::SpAIBinder& binder, transaction_code_t code,
                         const std::vector<int32_t>& args, ndk::ScopedAParcel* reply = nullptr,
                         binder_flags_t flags = 0, AIBinder* first = nullptr);

// The same with one int32 argument; *result gets the int32 of the reply.
binder_status_t callInt(const ndk::SpAIBinder& binder, transaction_code_t code, int32_t value,
                        int32_t* result = nullptr, binder_flags_t flags = 0);

}  // namespace testobject

// The peer object's transaction codes.
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
// int32 n (a multiple of 4, at least 4) -> a reply of exactly n bytes: a byte[] filling it.
constexpr transaction_code_t kSizedReply = FIRST_CALL_TRANSACTION + 13;

// A new peer object owned by the calling thread's process.
ndk::SpAIBinder newPeerObject();

}  // namespace xproc
