/*
 * Copyright (C) 2026 The plim-modem developers
 */

// Wakes a thread when entries of a directory are added, replaced or removed (inotify), so that
// waiting for a service costs nothing until something changes. Without inotify it falls back to
// waking every few milliseconds.
//
// Threads: one thread at a time.

#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace hostbinder {

class DirectoryWatch {
  public:
    explicit DirectoryWatch(const std::string& directory);
    ~DirectoryWatch();
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;

    // Waits until the directory changed since the watch began or the last wait, or until the
    // deadline (none: no limit). False if the deadline passed first.
    bool wait(std::optional<std::chrono::steady_clock::time_point> deadline);

  private:
    int mFd = -1;
};

}  // namespace hostbinder
