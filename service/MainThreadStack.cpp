/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "MainThreadStack.h"

#include <sys/resource.h>

#include <cerrno>
#include <cstring>

#include <plim/Errno.h>
#include <plim/Log.h>

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-util";
}  // namespace

int ensureMainThreadStack(size_t needed) {
    static constexpr const char* FUNC = "ensureMainThreadStack";
    struct rlimit limit;
    if (getrlimit(RLIMIT_STACK, &limit) != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to get stack limit, error = %s", FUNC,
                             strerror(errno));
        return FAILED;
    }
    if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur >= needed) {
        return OK;
    }
    if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < needed) {
        Log::printAndroidLog(Log::ERROR, TAG,
                             "%s: stack limit = %llu, max = %llu, below the %zu bytes needed", FUNC,
                             static_cast<unsigned long long>(limit.rlim_cur),
                             static_cast<unsigned long long>(limit.rlim_max), needed);
        return FAILED;
    }
    Log::printAndroidLog(Log::WARN, TAG, "%s: raising stack limit from %llu to %zu bytes", FUNC,
                         static_cast<unsigned long long>(limit.rlim_cur), needed);
    limit.rlim_cur = needed;
    if (setrlimit(RLIMIT_STACK, &limit) != 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to set stack limit, error = %s", FUNC,
                             strerror(errno));
        return FAILED;
    }
    return OK;
}

}  // namespace com::vyr::plim::modem
