/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The object the tests' other process serves (codes in XprocProtocol.h): it answers, records,
// blocks at a gate and calls back, so that one test body can drive a simulated process and a
// real one alike.

#pragma once

#include <android/binder_auto_utils.h>

namespace xproc {

// A new peer object owned by the calling thread's process.
ndk::SpAIBinder newPeerObject();

}  // namespace xproc
