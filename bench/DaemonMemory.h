/*
 * Copyright (C) 2026 The plim-modem developers
 */

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace com::vyr::plim::bench {

/**
 * Reads a running daemon's memory: its resident set from /proc, and its heap from inside, through
 * the `memory` command of its simulated modem's control channel (one connection, kept open).
 */
class DaemonMemory {
  public:
    struct Reading {
        uint64_t rssBytes = 0;   // VmRSS
        uint64_t heapBytes = 0;  // in use: the main arena's plus the blocks mapped apart
        uint64_t arenaBytes = 0;
        uint64_t mmappedBytes = 0;
        uint64_t freeBytes = 0;  // held by the main arena unused: its free lists and top
    };

    DaemonMemory(pid_t pid, std::string controlSocket);
    ~DaemonMemory();
    DaemonMemory(const DaemonMemory&) = delete;
    DaemonMemory& operator=(const DaemonMemory&) = delete;

    /** Nothing if the process or its channel is gone, or the channel's reply was not understood. */
    std::optional<Reading> read();
    /**
     * Empties the simulated modem's record of library calls: up to 4096 calls on the daemon's
     * heap that belong to the simulator, not the daemon. False if the channel refused.
     */
    bool clearCallRecord();

  private:
    bool connect();
    std::optional<std::string> ask(const std::string& line);

    const std::string statusPath_;
    const std::string controlSocket_;
    int fd_ = -1;
    std::string pending_;
};

}  // namespace com::vyr::plim::bench
