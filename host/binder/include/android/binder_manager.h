/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host build of the binder NDK: the service manager. Same names and semantics as the NDK's
// header of the same name. There is one service manager for all simulated processes; a lookup
// returns the service as seen from the calling thread's process (the object itself in its own
// process, a proxy anywhere else). A service whose process dies is removed.
//
// Threads: every function may be called from any thread.

#pragma once

#include <android/binder_ibinder.h>
#include <android/binder_status.h>

#ifdef __cplusplus
extern "C" {
#endif

// EX_NONE on success; EX_ILLEGAL_ARGUMENT for a null binder or an invalid name (1 to 127
// characters of [A-Za-z0-9_./-]); on the host also a failure injected with
// ABinderHost_setAddServiceFailure. Does not take ownership of binder. Replaces an earlier
// service of the same name.
__attribute__((warn_unused_result)) binder_exception_t AServiceManager_addService(
        AIBinder* binder, const char* instance);
// The service with one strong reference, or null at once if it is not registered.
__attribute__((warn_unused_result)) AIBinder* AServiceManager_checkService(const char* instance);
// Like checkService, but waits up to a couple of seconds for the service to be registered.
__attribute__((warn_unused_result)) AIBinder* AServiceManager_getService(const char* instance);
// Waits as long as it takes for the service to be registered.
__attribute__((warn_unused_result)) AIBinder* AServiceManager_waitForService(const char* instance);

#ifdef __cplusplus
}  // extern "C"
#endif
