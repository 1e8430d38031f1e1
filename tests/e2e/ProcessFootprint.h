/*
 * Copyright (C) 2026 The plim-modem developers
 */

// What a process holds of the machine, as /proc shows it: its open file descriptors and its
// resident memory.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace com::vyr::plim::e2e {

struct ProcessFootprint {
    int fds = -1;           // entries in /proc/<pid>/fd; -1 if unreadable
    int64_t rssKib = -1;    // VmRSS in /proc/<pid>/status; -1 if unreadable
    std::string fdTargets;  // what the descriptors point at, one per line: for messages

    static ProcessFootprint of(pid_t pid, bool withTargets = false);
};

}  // namespace com::vyr::plim::e2e
