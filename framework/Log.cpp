/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include <plim/Log.h>

#include <android/log.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>

#include <plim/Mutex.h>

namespace com::vyr::plim {

namespace {

// Lines are built in a stack buffer; longer ones fall back to the heap.
constexpr size_t STACK_FORMAT_SIZE = 512;

struct LogState {
    // Written by setPrefix() before other threads exist, read-only afterwards.
    std::string prefix;
    // The prefix with '%' doubled, ready to be put in front of a format.
    std::string escapedPrefix;

    Mutex hookMutex;
    Log::CaptureHook hook GUARDED_BY(hookMutex);
    std::atomic<bool> hasHook{false};
};

LogState& state() {
    static LogState* const instance = new LogState();  // never destroyed: logging may outlive exit
    return *instance;
}

std::string escapePercent(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (char c : text) {
        escaped += c;
        if (c == '%') {
            escaped += '%';
        }
    }
    return escaped;
}

void capture(LogState& s, int priority, const char* tag, const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    int length = vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string line(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0) {
        vsnprintf(line.data(), line.size() + 1, format, args);
    }
    MutexLock lock(s.hookMutex);
    if (s.hook) {
        s.hook(priority, tag, line);
    }
}

}  // namespace

void Log::printAndroidLog(int priority, const char* tag, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprint(priority, tag, format, args);
    va_end(args);
}

void Log::vprint(int priority, const char* tag, const char* format, va_list args) {
    LogState& s = state();
    // The prefix joins the caller's format, so that the line is still one __android_log_vprint.
    const size_t prefixLength = s.escapedPrefix.size();
    const size_t formatLength = strlen(format);
    char stackFormat[STACK_FORMAT_SIZE];
    std::string heapFormat;
    char* fullFormat = stackFormat;
    if (prefixLength + formatLength + 1 > sizeof(stackFormat)) {
        heapFormat.resize(prefixLength + formatLength);
        fullFormat = heapFormat.data();
    }
    memcpy(fullFormat, s.escapedPrefix.data(), prefixLength);
    memcpy(fullFormat + prefixLength, format, formatLength + 1);

    if (s.hasHook.load(std::memory_order_acquire)) {
        va_list copy;
        va_copy(copy, args);
        capture(s, priority, tag, fullFormat, copy);
        va_end(copy);
    }
    __android_log_vprint(priority, tag, fullFormat, args);
}

void Log::setPrefix(const std::string& prefix) {
    LogState& s = state();
    s.prefix = prefix;
    s.escapedPrefix = escapePercent(prefix);
}

std::string Log::getPrefix() {
    return state().prefix;
}

void Log::setCaptureHook(CaptureHook hook) {
    LogState& s = state();
    MutexLock lock(s.hookMutex);
    s.hasHook.store(static_cast<bool>(hook), std::memory_order_release);
    s.hook = std::move(hook);
}

}  // namespace com::vyr::plim
