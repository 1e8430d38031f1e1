/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Host builds only: a device's liblog writes to logd, and its logger interface differs.
#ifndef __ANDROID__

#include "HostStderrLogger.h"

#include <errno.h>
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <string>

namespace com::vyr::plim {

namespace {

// Bumped in the child of a fork, whose threads must ask for their ids again.
std::atomic<unsigned> forkGeneration{0};

struct ThreadIds {
    unsigned generation = ~0u;
    pid_t pid = 0;
    pid_t tid = 0;
};

const ThreadIds& threadIds() {
    thread_local ThreadIds ids;
    const unsigned generation = forkGeneration.load(std::memory_order_relaxed);
    if (ids.generation != generation) {
        ids.pid = getpid();
        ids.tid = gettid();
        ids.generation = generation;
    }
    return ids;
}

char priorityLetter(int priority) {
    switch (priority) {
        case ANDROID_LOG_VERBOSE:
            return 'V';
        case ANDROID_LOG_DEBUG:
            return 'D';
        case ANDROID_LOG_INFO:
            return 'I';
        case ANDROID_LOG_WARN:
            return 'W';
        case ANDROID_LOG_ERROR:
            return 'E';
        default:
            return priority > ANDROID_LOG_ERROR ? 'F' : '?';
    }
}

void writeAll(const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(STDERR_FILENO, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;  // nowhere to report it
        data += n;
        size -= static_cast<size_t>(n);
    }
}

}  // namespace

void HostStderrLogger::install() {
    pthread_atfork(nullptr, nullptr,
                   [] { forkGeneration.fetch_add(1, std::memory_order_relaxed); });
    __android_log_set_logger(&HostStderrLogger::write);
}

void HostStderrLogger::write(const struct __android_logger_data* data, const char* message) {
    const time_t now = time(nullptr);
    struct tm local;
    char stamp[32] = "";
    if (localtime_r(&now, &local) != nullptr)
        strftime(stamp, sizeof(stamp), "%m-%d %H:%M:%S", &local);
    const ThreadIds& ids = threadIds();
    const char* tag = data->tag != nullptr ? data->tag : "";
    if (message == nullptr)
        message = "";
    char line[1024];
    const int length = std::snprintf(line, sizeof(line), "%s %c %s %5d %5d %s\n", tag,
                                     priorityLetter(data->priority), stamp,
                                     static_cast<int>(ids.pid), static_cast<int>(ids.tid), message);
    if (length < 0)
        return;
    if (static_cast<size_t>(length) < sizeof(line)) {
        writeAll(line, static_cast<size_t>(length));
        return;
    }
    std::string longLine(static_cast<size_t>(length), '\0');
    std::snprintf(longLine.data(), longLine.size() + 1, "%s %c %s %5d %5d %s\n", tag,
                  priorityLetter(data->priority), stamp, static_cast<int>(ids.pid),
                  static_cast<int>(ids.tid), message);
    writeAll(longLine.data(), longLine.size());
}

}  // namespace com::vyr::plim

#endif  // __ANDROID__
