/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <android/log.h>

namespace com::vyr::plim {

/**
 * Where liblog sends the process's lines on a host build: stderr, one write per line, in the
 * layout of liblog's own stderr logger ("tag P MM-DD hh:mm:ss  pid   tid text"). liblog's logger
 * asks the kernel for the pid and the thread id on every line, two of its three system calls;
 * this one remembers them per thread (again after a fork). Device builds keep liblog's logger.
 *
 * Threads: write() from any thread; install() once, from Log before its first line.
 */
class HostStderrLogger {
  public:
    HostStderrLogger() = delete;

    /** Makes write() liblog's logger for this process. */
    static void install();

    /** A liblog logger: writes one line for `message` to stderr. */
    static void write(const struct __android_logger_data* data, const char* message);
};

}  // namespace com::vyr::plim
