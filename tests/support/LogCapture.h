/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace com::vyr::plim::test {

/** One line as the daemon wrote it: priority, tag and the text with its prefix. */
struct LogLine {
    int priority;
    std::string tag;
    std::string text;
};

/**
 * Records every log line of the process while it exists (one at a time per process). Lines may
 * come from any thread; the accessors are thread-safe.
 */
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    /** Whether a line equals (priority, tag, text). */
    bool contains(int priority, const std::string& tag, const std::string& text) const;
    /** Lines of one tag, texts only, in order. */
    std::vector<std::string> texts(const std::string& tag) const;
    /** All lines, one per row, for assertion messages. */
    std::string dump() const;
    void clear();

  private:
    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
};

}  // namespace com::vyr::plim::test
