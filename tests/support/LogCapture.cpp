/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "LogCapture.h"

#include <algorithm>

#include <plim/Log.h>

namespace com::vyr::plim::test {

LogCapture::LogCapture() {
    Log::setCaptureHook([this](int priority, const char* tag, const std::string& text) {
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back({priority, tag, text});
    });
}

LogCapture::~LogCapture() {
    Log::setCaptureHook(nullptr);
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
}

bool LogCapture::contains(int priority, const std::string& tag, const std::string& text) const {
    std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(), [&](const LogLine& line) {
        return line.priority == priority && line.tag == tag && line.text == text;
    });
}

std::vector<std::string> LogCapture::texts(const std::string& tag) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::string> result;
    for (const LogLine& line : lines_) {
        if (line.tag == tag) {
            result.push_back(line.text);
        }
    }
    return result;
}

std::string LogCapture::dump() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string out;
    for (const LogLine& line : lines_) {
        out += std::to_string(line.priority) + " " + line.tag + ": " + line.text + "\n";
    }
    return out;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
}

}  // namespace com::vyr::plim::test
