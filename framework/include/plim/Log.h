/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <cstdarg>
#include <functional>
#include <string>

namespace com::vyr::plim {

/**
 * The process's logger: every line goes to the Android log (__android_log_vprint) under its tag
 * and priority, with the process-wide prefix in front of the text.
 *
 * printAndroidLog() may be called from any thread at any time. setPrefix() is meant to be called
 * once, before other threads exist. Tests can also receive every line through a capture hook,
 * because many behaviours of the daemon are defined by their exact log lines.
 */
class Log {
  public:
    /** Android log priorities used by the daemon. */
    static constexpr int DEBUG = 3;
    static constexpr int INFO = 4;
    static constexpr int WARN = 5;
    static constexpr int ERROR = 6;

    /** Receives (priority, tag, line) for each line; the line includes the prefix. */
    using CaptureHook = std::function<void(int priority, const char* tag, const std::string& line)>;

    /** Formats the text printf-style, puts the prefix in front and writes it under `tag`. */
    static void printAndroidLog(int priority, const char* tag, const char* format, ...)
            __attribute__((format(printf, 3, 4)));

    /** Sets the prefix of every later line. Call before other threads exist. */
    static void setPrefix(const std::string& prefix);

    /** The current prefix. */
    static std::string getPrefix();

    /**
     * Installs (or, with an empty hook, removes) the capture hook. Safe while other threads log:
     * once this returns, the previous hook is no longer running and will not be called again.
     * The hook is called under a lock, one line at a time; it must not log itself.
     */
    static void setCaptureHook(CaptureHook hook);

  private:
    static void vprint(int priority, const char* tag, const char* format, va_list args);
};

}  // namespace com::vyr::plim
