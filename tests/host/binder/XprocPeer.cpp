/*
 * Copyright (C) 2026 The plim-modem developers
 */

// The other process of the tests' Socket rows (OtherProcess.h), started with
// PLIM_BINDER_SOCKET_DIR set: registers a peer object under the name it is given and serves until
// killed.

#include <android/binder_manager.h>
#include <android/binder_process.h>

#include <cstdio>

#include "OtherProcess.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <name>\n", argv[0]);
        return 1;
    }
    ABinderProcess_setThreadPoolMaxThreadCount(4);
    ABinderProcess_startThreadPool();
    ndk::SpAIBinder object = xproc::newPeerObject();
    if (AServiceManager_addService(object.get(), argv[1]) != EX_NONE) {
        std::fprintf(stderr, "xproc peer: cannot register %s\n", argv[1]);
        return 2;
    }
    ABinderProcess_joinThreadPool();
    return 0;
}
