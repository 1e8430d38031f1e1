/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Clang thread-safety attributes for the host binder's own locks (libstdc++'s std::mutex carries
// none). Other compilers see empty macros.

#pragma once

#if defined(__clang__)
#define HB_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define HB_THREAD_ANNOTATION(x)
#endif

#define HB_CAPABILITY(x) HB_THREAD_ANNOTATION(capability(x))
#define HB_SCOPED_CAPABILITY HB_THREAD_ANNOTATION(scoped_lockable)
#define HB_GUARDED_BY(x) HB_THREAD_ANNOTATION(guarded_by(x))
#define HB_PT_GUARDED_BY(x) HB_THREAD_ANNOTATION(pt_guarded_by(x))
#define HB_REQUIRES(...) HB_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define HB_EXCLUDES(...) HB_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define HB_ACQUIRE(...) HB_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define HB_RELEASE(...) HB_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define HB_NO_THREAD_SAFETY_ANALYSIS HB_THREAD_ANNOTATION(no_thread_safety_analysis)
