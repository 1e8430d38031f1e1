/*
 * Copyright (C) 2026 The plim-modem developers
 */

#include "DirectoryWatch.h"

#include <errno.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

namespace hostbinder {

namespace {

constexpr std::chrono::milliseconds kFallbackInterval(10);

}  // namespace

DirectoryWatch::DirectoryWatch(const std::string& directory)
    : mFd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    // A link replaced by rename arrives as IN_MOVED_TO; a new one as IN_CREATE.
    if (mFd >= 0 && inotify_add_watch(mFd, directory.c_str(),
                                      IN_CREATE | IN_MOVED_TO | IN_DELETE | IN_ATTRIB) < 0) {
        close(mFd);
        mFd = -1;
    }
}

DirectoryWatch::~DirectoryWatch() {
    if (mFd >= 0)
        close(mFd);
}

bool DirectoryWatch::wait(std::optional<std::chrono::steady_clock::time_point> deadline) {
    using namespace std::chrono;
    const auto now = steady_clock::now();
    if (deadline && now >= *deadline)
        return false;
    const milliseconds left = deadline ? ceil<milliseconds>(*deadline - now) : milliseconds(-1);
    if (mFd < 0) {
        std::this_thread::sleep_for(deadline ? std::min(left, kFallbackInterval)
                                             : kFallbackInterval);
        return true;
    }
    pollfd entry{mFd, POLLIN, 0};
    int ready;
    do {
        // Capped so that a wait with no deadline still fits poll's int.
        ready = poll(&entry, 1,
                     deadline ? static_cast<int>(std::min<milliseconds::rep>(left.count(), 1 << 30))
                              : -1);
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0)
        return ready < 0;  // an error is reported as a change: the caller looks again
    char events[4096];
    while (read(mFd, events, sizeof(events)) > 0) {
    }
    return true;
}

}  // namespace hostbinder
