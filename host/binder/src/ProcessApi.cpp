/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The NDK's ABinderProcess_* functions, for the calling thread's process.

#include <android/binder_process.h>

#include "Process.h"
#include "ThreadContext.h"

using hostbinder::ThreadContext;

void ABinderProcess_startThreadPool() {
    ThreadContext::current().process().startThreadPool();
}

bool ABinderProcess_setThreadPoolMaxThreadCount(uint32_t numThreads) {
    return ThreadContext::current().process().setMaxThreadCount(numThreads);
}

bool ABinderProcess_isThreadPoolStarted() {
    return ThreadContext::current().process().isThreadPoolStarted();
}

void ABinderProcess_joinThreadPool() {
    ThreadContext::current().process().joinThreadPool();
}
