/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: the binder thread pool of the calling thread's process. Same
// names and semantics as the NDK's header of the same name.
//
// ABinderProcess_startThreadPool starts one binder thread; up to the maximum thread count more
// are started lazily while transactions wait for a free thread. Incoming transactions and death
// notifications run on these threads (or on threads in ABinderProcess_joinThreadPool), never on
// the thread that sent them.
//
// Threads: any thread; each call acts on the calling thread's process.

#pragma once

#include <stdbool.h>
#include <stdint.h>

#include <android/binder_status.h>

#ifdef __cplusplus
extern "C" {
#endif

void ABinderProcess_startThreadPool(void);
// Threads started lazily besides the ones of startThreadPool and joinThreadPool; 15 unless set.
// Once the pool has started the maximum may be raised but not lowered: lowering it aborts, as on
// a device. Set it before ABinderProcess_startThreadPool.
bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads);
bool ABinderProcess_isThreadPoolStarted(void);
// The calling thread serves transactions; on the host it returns when its process dies.
void ABinderProcess_joinThreadPool(void);

#ifdef __cplusplus
}  // extern "C"
#endif
