/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include <plim/Log.h>

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
    LogCapture() {
        Log::setCaptureHook([this](int priority, const char* tag, const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex_);
            lines_.push_back({priority, tag, text});
        });
    }

    ~LogCapture() { Log::setCaptureHook(nullptr); }

    std::vector<LogLine> lines() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return lines_;
    }

    bool contains(int priority, const std::string& tag, const std::string& text) const {
        const std::vector<LogLine> all = lines();
        return std::any_of(all.begin(), all.end(), [&](const LogLine& line) {
            return line.priority == priority && line.tag == tag && line.text == text;
        });
    }

    /** Lines of one tag, texts only, in order. */
    std::vector<std::string> texts(const std::string& tag) const {
        std::vector<std::string> result;
        for (const LogLine& line : lines()) {
            if (line.tag == tag) {
                result.push_back(line.text);
            }
        }
        return result;
    }

    /** All lines, one per row, for assertion messages. */
    std::string dump() const {
        std::string out;
        for (const LogLine& line : lines()) {
            out += std::to_string(line.priority) + " " + line.tag + ": " + line.text + "\n";
        }
        return out;
    }

    void clear() {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.clear();
    }

  private:
    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
};

}  // namespace com::vyr::plim::test
