/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Clang thread-safety attributes for the simulated modem's own locks; other compilers see
// nothing. The library keeps its own so that it depends on nothing of the daemon's.

#pragma once

#if defined(__clang__)
#define MS_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define MS_THREAD_ATTRIBUTE(x)
#endif

#define MS_CAPABILITY(x) MS_THREAD_ATTRIBUTE(capability(x))
#define MS_SCOPED_CAPABILITY MS_THREAD_ATTRIBUTE(scoped_lockable)
#define MS_GUARDED_BY(x) MS_THREAD_ATTRIBUTE(guarded_by(x))
#define MS_REQUIRES(...) MS_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define MS_EXCLUDES(...) MS_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define MS_ACQUIRE(...) MS_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define MS_RELEASE(...) MS_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
