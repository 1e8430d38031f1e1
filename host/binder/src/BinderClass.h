/*
 * Copyright (C) 2026 The plim-modem developers
 */

// AIBinder_Class: an interface's descriptor and the callbacks of its local objects.
//
// Threads: defined once (usually during static initialisation), then read-only.

#pragma once

#include <android/binder_ibinder.h>

#include <string>

struct AIBinder_Class {
    AIBinder_Class(const char* descriptor, AIBinder_Class_onCreate onCreate,
                   AIBinder_Class_onDestroy onDestroy, AIBinder_Class_onTransact onTransact)
        : descriptor(descriptor),
          onCreate(onCreate),
          onDestroy(onDestroy),
          onTransact(onTransact) {}

    const std::string descriptor;
    const AIBinder_Class_onCreate onCreate;
    const AIBinder_Class_onDestroy onDestroy;
    const AIBinder_Class_onTransact onTransact;
    // Transactions start with the interface token, checked before onTransact runs.
    bool writeHeader = true;
};
