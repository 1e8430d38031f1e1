/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

// Clang's thread-safety attributes; other compilers see nothing. Checked with -Wthread-safety.
#if defined(__clang__)
#define PLIM_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define PLIM_THREAD_ATTRIBUTE(x)
#endif

#ifndef CAPABILITY
#define CAPABILITY(x) PLIM_THREAD_ATTRIBUTE(capability(x))
#endif
#ifndef SCOPED_CAPABILITY
#define SCOPED_CAPABILITY PLIM_THREAD_ATTRIBUTE(scoped_lockable)
#endif
#ifndef GUARDED_BY
#define GUARDED_BY(x) PLIM_THREAD_ATTRIBUTE(guarded_by(x))
#endif
#ifndef PT_GUARDED_BY
#define PT_GUARDED_BY(x) PLIM_THREAD_ATTRIBUTE(pt_guarded_by(x))
#endif
#ifndef REQUIRES
#define REQUIRES(...) PLIM_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#endif
#ifndef ACQUIRE
#define ACQUIRE(...) PLIM_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#endif
#ifndef RELEASE
#define RELEASE(...) PLIM_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#endif
#ifndef EXCLUDES
#define EXCLUDES(...) PLIM_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#endif
