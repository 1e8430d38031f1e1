/*
 * Copyright (C) 2026 The plim-modem developers
 */

// A binder class for tests whose transactions go to a std::function, and helpers to move a
// binder between simulated processes the way an application would (through the service
// manager).

#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_host.h>
#include <android/binder_ibinder.h>

#include <functional>
#include <string>

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

// A two-way (or oneway) call with an int32 argument; *result gets the int32 of the reply.
binder_status_t callInt(const ndk::SpAIBinder& binder, transaction_code_t code, int32_t value,
                        int32_t* result = nullptr, binder_flags_t flags = 0);

}  // namespace testobject
