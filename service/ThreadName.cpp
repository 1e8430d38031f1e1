/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "ThreadName.h"

#include <sys/prctl.h>

#include <cerrno>
#include <cstring>

#include <plim/Errno.h>
#include <plim/Log.h>

namespace com::vyr::plim::modem {

namespace {
constexpr const char* TAG = "modem-util";
constexpr size_t MAX_THREAD_NAME_LENGTH = 15;
}  // namespace

int setThreadName(const std::string& name) {
    static constexpr const char* FUNC = "setThreadName";
    if (name.size() > MAX_THREAD_NAME_LENGTH) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: {%s} is too long for a thread name", FUNC,
                             name.c_str());
        return INVALID_ARGUMENT;
    }
    if (prctl(PR_SET_NAME, name.c_str()) < 0) {
        Log::printAndroidLog(Log::ERROR, TAG, "%s: failed to set thread name to {%s}, error = %s",
                             FUNC, name.c_str(), strerror(errno));
        return FAILED;
    }
    return OK;
}

}  // namespace com::vyr::plim::modem
